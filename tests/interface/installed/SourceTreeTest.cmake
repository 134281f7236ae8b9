# cmake -DSOURCE=<source tree> -DFROM=<add_subdirectory|FetchContent> -DC_COMPILER=<cc> -DCXX_COMPILER=<c++>
#       -DCONSUMER=<consumer's sources> -DSCRATCH=<directory> -P SourceTreeTest.cmake
#
# Builds and runs customers' programs in a project that builds the library as a part of itself. FetchContent adds the
# same subdirectory, so that the library is compiled for one of the two only.
cmake_minimum_required(VERSION 3.25)
include(${CMAKE_CURRENT_LIST_DIR}/ConsumerRun.cmake)

set(build ${SCRATCH}/build)
set(tree ${build}/pdalink)
if(FROM STREQUAL "FetchContent")
    set(tree ${build}/_deps/pdalink-build)
endif()
set(libraries ${tree}/lib)

file(REMOVE_RECURSE ${SCRATCH})
run("configuring the consumer" ${CMAKE_COMMAND} -G Ninja -S ${CONSUMER} -B ${build}
    -DPDALINK_FROM=${FROM} -DPDALINK_SOURCE=${SOURCE} -DHEADERS=${tree}/include
    -DCMAKE_C_COMPILER=${C_COMPILER} -DCMAKE_CXX_COMPILER=${CXX_COMPILER} -DCMAKE_EXPORT_COMPILE_COMMANDS=ON)
if(FROM STREQUAL "FetchContent")
    run("building the consumer" ${CMAKE_COMMAND} --build ${build})
    run_c_consumer(${build}/c_consumer)
    run_cpp_consumer(${build}/cpp_consumer)
else()
    run("compiling the consumer" ${CMAKE_COMMAND} --build ${build} --target
        headers CMakeFiles/c_consumer.dir/consumer.c.o CMakeFiles/cpp_consumer.dir/consumer.cc.o)
endif()

# Whatever compiler a customer uses: a warning in the library does not end the build.
file(READ ${build}/compile_commands.json commands)
string(REGEX MATCH "\"command\": \"[^\n]*/util/Util\\.cpp\"" command "${commands}")
if(NOT command OR command MATCHES "-Werror")
    message(SEND_ERROR "how the library is compiled: ${command}")
endif()
file(REMOVE_RECURSE ${SCRATCH})
