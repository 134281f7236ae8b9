# cmake -DBUILD=<build tree> -DCOMPILER=<c++> -DINCLUDE_DIRECTORY=<include> -DSCRATCH=<directory> -P HeadersTest.cmake
#
# Installs the library into a directory of its own and compiles each of its headers with nothing in front of it as
# C++11, and all of them as the later standards.
cmake_minimum_required(VERSION 3.25)

set(prefix ${SCRATCH}/prefix)
set(headers ${prefix}/${INCLUDE_DIRECTORY})

include(${CMAKE_CURRENT_LIST_DIR}/../../cmake/Run.cmake)

file(REMOVE_RECURSE ${SCRATCH})
run("the installation" ${CMAKE_COMMAND} --install ${BUILD} --prefix ${prefix})
run("pkg-config" pkg-config --cflags Qt5Core)
string(REPLACE "-I" "-isystem" qt_flags "${output}") # what Qt's own headers are warned about is not looked at
separate_arguments(qt_flags UNIX_COMMAND "${qt_flags}")

file(GLOB_RECURSE installed RELATIVE ${headers} ${headers}/*.h)
if(NOT "pdalink.h" IN_LIST installed OR NOT "pdalink/device/HIDDevice.h" IN_LIST installed)
    message(FATAL_ERROR "installed headers: ${installed}")
endif()
function(compile what standard)
    run("${what} as C++${standard}" ${COMPILER} -std=c++${standard} -Wall -Wextra -Wpedantic -Werror
        -fPIC -fsyntax-only -I ${headers} ${qt_flags} ${SCRATCH}/header.cpp)
endfunction()

foreach(header IN LISTS installed)
    file(WRITE ${SCRATCH}/header.cpp "#include <${header}>\n")
    compile(${header} 11)
endforeach()
list(TRANSFORM installed REPLACE "(.+)" "#include <\\1>\n" OUTPUT_VARIABLE all)
list(JOIN all "" all)
file(WRITE ${SCRATCH}/header.cpp "${all}")
foreach(standard IN ITEMS 14 17 20)
    compile("all headers" ${standard})
endforeach()
file(REMOVE_RECURSE ${SCRATCH})
