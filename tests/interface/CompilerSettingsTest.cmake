# cmake -DSOURCE=<source tree> -DPROCESSOR=<processor> -DSCRATCH=<directory> -P CompilerSettingsTest.cmake
#
# Configures the sanitizer preset with each compiler, compiles a file, and checks how.
cmake_minimum_required(VERSION 3.25)

set(expected -Werror -fstack-protector-strong -fstack-clash-protection)
if(PROCESSOR STREQUAL "x86_64")
    list(APPEND expected -fcf-protection)
endif()

include(${CMAKE_CURRENT_LIST_DIR}/../cmake/Run.cmake)

foreach(compilers IN ITEMS "gcc g++" "clang clang++")
    string(REPLACE " " ";" compilers ${compilers})
    list(GET compilers 0 c)
    list(GET compilers 1 cxx)
    set(build ${SCRATCH}/${c})
    file(REMOVE_RECURSE ${build})
    run("configuring with ${cxx}" ${CMAKE_COMMAND} --preset asan -B ${build} -DBUILD_TESTING=OFF
        -DPDALINK_SIMULATOR=OFF -DPDALINK_TOOLS=OFF -DCMAKE_C_COMPILER=${c} -DCMAKE_CXX_COMPILER=${cxx}
        WORKING_DIRECTORY ${SOURCE})
    run("compiling with ${cxx}" ${CMAKE_COMMAND} --build ${build} --target
        CMakeFiles/pdalink_objects.dir/util/HexCodec.cpp.o examples/CMakeFiles/first_call.dir/first_call.c.o)
    file(STRINGS ${build}/compile_commands.json commands REGEX "\"command\"")
    foreach(command IN LISTS commands)
        foreach(option IN LISTS expected)
            string(FIND "${command}" " ${option} " position)
            if(position EQUAL -1)
                message(SEND_ERROR "no ${option}: ${command}")
            endif()
        endforeach()
    endforeach()
endforeach()
file(REMOVE_RECURSE ${SCRATCH})
