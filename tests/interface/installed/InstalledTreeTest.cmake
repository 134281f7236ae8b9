# cmake -DBUILD=<build tree> -DLIBRARY_DIRECTORY=<lib> -DINCLUDE_DIRECTORY=<include> -DDATA_DIRECTORY=<share>
#       -DC_COMPILER=<cc> -DCXX_COMPILER=<c++> -DFLAGS=<compiler flags> -DCONSUMER=<consumer's sources>
#       -DVERSION=<version> -DSCRATCH=<directory> -P InstalledTreeTest.cmake
#
# Installs the library into a directory of its own, and builds and runs customers' programs against it.
cmake_minimum_required(VERSION 3.25)

set(prefix ${SCRATCH}/prefix)
set(libraries ${prefix}/${LIBRARY_DIRECTORY})
set(headers ${prefix}/${INCLUDE_DIRECTORY})
set(ini ${prefix}/${DATA_DIRECTORY}/pdalink/PDAConfigure.ini)

include(${CMAKE_CURRENT_LIST_DIR}/ConsumerRun.cmake)

function(expect_files)
    foreach(file IN LISTS ARGN)
        if(NOT EXISTS ${file})
            message(SEND_ERROR "not installed: ${file}")
        endif()
    endforeach()
endfunction()

file(REMOVE_RECURSE ${SCRATCH})
run("the installation" ${CMAKE_COMMAND} --install ${BUILD} --prefix ${prefix})

# ---- what is there
expect_files(
    ${libraries}/libpdalink.so ${libraries}/libpdalink.so.1
    ${libraries}/pkgconfig/pdalink.pc ${libraries}/cmake/pdalink/pdalinkConfig.cmake ${ini}
    ${prefix}/${DATA_DIRECTORY}/pdalink/bindings/python/pdalink.py
    ${prefix}/${DATA_DIRECTORY}/pdalink/bindings/java/pdalink/Library.java)
file(GLOB_RECURSE installed RELATIVE ${headers} ${headers}/*)
list(SORT installed)
set(expected
    pdalink.h
    pdalink/analysis/PDAXMLAnalysis.h pdalink/analysis/ResultStores.h
    pdalink/device/HIDDevice.h pdalink/device/UsbDiscovery.h
    pdalink/util/Export.h pdalink/util/FileLog.h pdalink/util/LockConfig.h pdalink/util/Util.h
    pdalink/util/cgetconfigval.h pdalink/util/mutexlock.h)
list(SORT expected)
if(NOT installed STREQUAL expected)
    message(SEND_ERROR "installed headers: ${installed}\nexpected: ${expected}")
endif()
file(COPY ${ini} DESTINATION ${libraries})

# ---- with CMake
run("configuring the consumer" ${CMAKE_COMMAND} -G Ninja -S ${CONSUMER} -B ${SCRATCH}/build
    -DCMAKE_PREFIX_PATH=${prefix} -DHEADERS=${headers}
    -DCMAKE_C_COMPILER=${C_COMPILER} -DCMAKE_CXX_COMPILER=${CXX_COMPILER}
    "-DCMAKE_C_FLAGS=${FLAGS}" "-DCMAKE_CXX_FLAGS=${FLAGS}")
run("building the consumer" ${CMAKE_COMMAND} --build ${SCRATCH}/build)
run_c_consumer(${SCRATCH}/build/c_consumer)
run_cpp_consumer(${SCRATCH}/build/cpp_consumer)
file(READ ${libraries}/log/PDA.log log)
if(NOT log MATCHES "MESSAGE  : consumer 1\n$")
    message(SEND_ERROR "the log does not end in the consumer's line:\n${log}")
endif()

# ---- with pkg-config
function(pkg_config result)
    run("pkg-config" ${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${libraries}/pkgconfig pkg-config ${ARGN})
    separate_arguments(flags UNIX_COMMAND "${output}")
    set(${result} ${flags} PARENT_SCOPE)
endfunction()

separate_arguments(given_flags UNIX_COMMAND "${FLAGS}")
set(with_libraries ${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${libraries})
pkg_config(flags --cflags --libs pdalink)
if(flags MATCHES "[Qq]t")
    message(SEND_ERROR "a consumer in C is told of Qt: ${flags}")
endif()
run("building in C" ${C_COMPILER} -std=c11 ${given_flags} ${CONSUMER}/consumer.c -o ${SCRATCH}/c_consumer ${flags})
run_c_consumer(${with_libraries} ${SCRATCH}/c_consumer)
pkg_config(flags --cflags --libs pdalink Qt5Core)
run("building in C++" ${CXX_COMPILER} -std=c++17 -fPIC ${given_flags} ${CONSUMER}/consumer.cc
    -o ${SCRATCH}/cpp_consumer ${flags})
run_cpp_consumer(${with_libraries} ${SCRATCH}/cpp_consumer)

pkg_config(version --modversion pdalink)
if(NOT version STREQUAL "${VERSION}")
    message(SEND_ERROR "pkg-config states version ${version}")
endif()
file(REMOVE_RECURSE ${SCRATCH})
