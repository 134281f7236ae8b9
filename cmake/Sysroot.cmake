# Toolchain: clang, against a folder that scripts/sysroot.sh has made. PDALINK_SYSROOT is that folder, PDALINK_MACHINE
# its processor (x86_64 or aarch64). What the folder needs for everything but benchmarks and tests is bookworm_packages
# in scripts/common.sh.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES PDALINK_SYSROOT PDALINK_MACHINE)
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR ${PDALINK_MACHINE})
set(CMAKE_SYSROOT ${PDALINK_SYSROOT})
set(CMAKE_LIBRARY_ARCHITECTURE ${PDALINK_MACHINE}-linux-gnu)

set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_C_COMPILER_TARGET ${CMAKE_LIBRARY_ARCHITECTURE})
set(CMAKE_CXX_COMPILER_TARGET ${CMAKE_LIBRARY_ARCHITECTURE})
add_link_options(-fuse-ld=lld)
# With relative paths, which this makes ccache print, CMake misreads the compiler's list of its own header folders.
unset(ENV{CCACHE_BASEDIR})

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${CMAKE_SYSROOT})
set(ENV{PKG_CONFIG_LIBDIR} ${CMAKE_SYSROOT}/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/pkgconfig:${CMAKE_SYSROOT}/usr/share/pkgconfig)
