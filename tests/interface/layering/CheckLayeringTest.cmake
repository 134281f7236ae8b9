# cmake -DCHECK=<CheckLayering.cmake> -DSCRATCH=<directory> -P CheckLayeringTest.cmake
#
# Proves that the layering check passes a tree in order and fails on each single include that breaks the order.
cmake_minimum_required(VERSION 3.25)

function(write_tree)
    file(REMOVE_RECURSE ${SCRATCH})
    file(WRITE ${SCRATCH}/util/Util.h "#pragma once\n#include \"Export.h\"\n#include <string>\n")
    file(WRITE ${SCRATCH}/util/Export.h "#pragma once\n")
    file(WRITE ${SCRATCH}/util/Util.cpp "#include \"util/Util.h\"\n\n#include <vector>\n#include <sys/time.h>\n")
    file(WRITE ${SCRATCH}/device/Device.h "#pragma once\n#include \"../util/Export.h\"\n")
    file(WRITE ${SCRATCH}/device/Device.cpp "#include \"device/Device.h\"\n#include \"util/Util.h\"\n")
    file(WRITE ${SCRATCH}/analysis/Analysis.cpp
        "#include \"device/Device.h\"\n// #include \"interface/pdalink.h\"\n#include <rapidjson/document.h>\n")
    file(WRITE ${SCRATCH}/interface/pdalink.h "/* no includes */\n")
    file(WRITE ${SCRATCH}/interface/Entry.cpp
        "#include \"interface/pdalink.h\"\n#include \"pdalink.h\"\n#include \"analysis/Analysis.h\"\n")
    file(WRITE ${SCRATCH}/simulator/core/Terminal.h "#pragma once\n#include <util.h>\n#include <string>\n")
    file(WRITE ${SCRATCH}/simulator/Terminal.cpp "#include \"core/Terminal.h\"\n#include \"interface.h\"\n")
    file(WRITE ${SCRATCH}/tests/Test.cpp "#include \"util/Util.h\"\n#include \"simulator/core/Terminal.h\"\n")
endfunction()

function(run_check result)
    execute_process(COMMAND ${CMAKE_COMMAND} -DROOT=${SCRATCH} -P ${CHECK}
        RESULT_VARIABLE code OUTPUT_VARIABLE output ERROR_VARIABLE output)
    set(${result} ${code} PARENT_SCOPE)
    set(output "${output}" PARENT_SCOPE)
endfunction()

function(expect_pass)
    run_check(code)
    if(NOT code EQUAL 0)
        message(SEND_ERROR "a tree in order was refused:\n${output}")
    endif()
endfunction()

# The check has to fail, and to name the file, when the line is added to it.
function(expect_failure file line)
    write_tree()
    file(APPEND ${SCRATCH}/${file} "${line}\n")
    run_check(code)
    if(code EQUAL 0)
        message(SEND_ERROR "${file} was passed with: ${line}")
    elseif(NOT output MATCHES "${file}")
        message(SEND_ERROR "${file} was not named for: ${line}\n${output}")
    endif()
endfunction()

write_tree()
expect_pass()

expect_failure(util/Util.cpp "#include \"device/Device.h\"")
expect_failure(util/Util.cpp "#include \"analysis/Analysis.h\"")
expect_failure(util/Util.cpp "#include \"interface/pdalink.h\"")
expect_failure(device/Device.cpp "#include \"analysis/Analysis.h\"")
expect_failure(device/Device.cpp "#include \"interface/pdalink.h\"")
expect_failure(analysis/Analysis.cpp "#include \"interface/pdalink.h\"")

# Written in other ways.
expect_failure(util/Util.h "#include \"../analysis/Analysis.h\"")
expect_failure(util/Util.h "#include \"../analysis/x.h\"")
expect_failure(util/deeper/File.cpp "#include \"../../device/Device.h\"")
expect_failure(device/Device.h "#include \"../util/../analysis/Analysis.h\"")
expect_failure(device/Device.h "#include \"./../analysis/Analysis.h\"")
expect_failure(util/Util.cpp "#include <device/Device.h>")
expect_failure(util/Util.cpp "  #  include\t\"device/Device.h\" // why")
expect_failure(util/Util.cpp "#include\"device/Device.h\"")
expect_failure(analysis/Analysis.cpp "#include \"pdalink.h\"")
expect_failure(analysis/Analysis.cpp "#include <pdalink.h>")
expect_failure(util/new.hpp "#include \"device/Device.h\"")
expect_failure(util/new.c "#include \"device/Device.h\"")
expect_failure(util/Util.cpp "#include HEADER_OF_DEVICE")

# The library and what is beside it.
expect_failure(interface/Entry.cpp "#include \"simulator/core/Terminal.h\"")
expect_failure(device/Device.cpp "#include \"../simulator/core/Terminal.h\"")
expect_failure(interface/Entry.cpp "#include \"tests/support/Harness.h\"")
expect_failure(util/Util.cpp "#include \"../tests/support/Harness.h\"")
expect_failure(simulator/Terminal.cpp "#include \"util/Util.h\"")
expect_failure(simulator/core/Terminal.h "#include \"../../analysis/Analysis.h\"")
expect_failure(simulator/Terminal.cpp "#include \"device/Device.h\"")
expect_failure(simulator/Terminal.cpp "#include \"pdalink.h\"")
expect_failure(simulator/Terminal.cpp "#include \"tests/support/Harness.h\"")

# A folder that is not looked at would pass anything.
foreach(folder IN ITEMS util device analysis interface simulator)
    write_tree()
    file(REMOVE_RECURSE ${SCRATCH}/${folder})
    run_check(code)
    if(code EQUAL 0)
        message(SEND_ERROR "a tree without ${folder}/ was passed")
    endif()
endforeach()

file(REMOVE_RECURSE ${SCRATCH})
