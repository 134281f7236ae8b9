#!/usr/bin/env bash
# Builds the library as it is released, for machines much older than the one that builds: against an older Debian, for
# each architecture. Checks that it needs nothing above the floor, and loads it there.
#
# usage: scripts/release.sh [ARCHITECTURE...]     amd64 and arm64 unless named
#
# What is installed is in build/release-ARCHITECTURE/install afterwards.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/common.sh

[ "$(id -u)" -eq 0 ] || {
    echo "scripts/release.sh: run it as root, because it runs the library in another system's root folder" >&2
    exit 1
}
[ $# -gt 0 ] || set -- amd64 arm64
suite=bullseye
# To build against, and what those need to run.
sysroot_packages=(
    libc6 libc6-dev libcrypt1 linux-libc-dev libgcc-s1 libgcc-10-dev libstdc++6 libstdc++-10-dev
    libqt5core5a qtbase5-dev qtbase5-dev-tools qt5-qmake qt5-qmake-bin libudev1 libudev-dev rapidjson-dev
    libdouble-conversion3 libglib2.0-0 libicu67 libpcre2-16-0 libpcre3 libzstd1 zlib1g
)

# Runs the example host inside the older system. Without a terminal it is answered that nothing came.
load() {
    local architecture=$1 sysroot=$2 installed=$3 emulator=() response
    local requests=('{"transCode":"600099"}' '{"transCode":"600002"}')
    mkdir -p "$sysroot/host"
    cp "$installed"/lib/libpdalink.so.? packaging/PDAConfigure.ini "build/release-$architecture/bin/first_call" "$sysroot/host"
    if [ "$architecture" != "$(dpkg --print-architecture)" ]; then
        cp "/usr/bin/qemu-${machines[$architecture]}-static" "$sysroot/emulator"
        emulator=(/emulator)
    fi
    response=$(LD_LIBRARY_PATH=/host chroot "$sysroot" "${emulator[@]}" /host/first_call "${requests[@]}" | grep '^response')
    echo "$response"
    [ "$response" = 'response  {}
response  {"pBleVersion":"","pPDAVersion":"","pRetCode":"","pSN":"","transCode":"600002"}' ]
    grep 'SendData pre: 0001128001QEV' "$sysroot/host/log/PDA.log"
}

install_packages "${build_packages[@]}" "${release_packages[@]}"
for architecture; do
    build=build/release-$architecture
    sysroot=$PWD/$build/sysroot
    step "$architecture: the older system"
    rm -rf "$sysroot"
    scripts/sysroot.sh $suite "$architecture" "$sysroot" "${sysroot_packages[@]}"

    step "$architecture: build"
    cross_configure "$architecture" "$build" "$sysroot" \
        -D BUILD_TESTING=OFF -D PDALINK_SIMULATOR=OFF -D PDALINK_TOOLS=OFF -D CMAKE_INSTALL_LIBDIR=lib
    cmake --build "$build" -- --quiet
    cmake --install "$build" --strip --prefix "$build/install" >/dev/null

    step "$architecture: the floor"
    scripts/floor.py "$build/install/lib/libpdalink.so"
    load "$architecture" "$sysroot" "$build/install"
done
step "end"
