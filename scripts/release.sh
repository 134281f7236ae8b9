#!/usr/bin/env bash
# Makes a release, for each architecture: a tarball that runs from wherever it is unpacked, and Debian packages. The
# library is built against a Debian much older than the one that builds it, the programs against Debian 12.
# Checks that the library needs nothing above the floor, loads there and breaks no host of the last release; that the
# packages can be installed, upgraded and removed.
#
# usage: scripts/release.sh [--twice | --unchecked] [ARCHITECTURE...]     amd64 and arm64 unless named
#
# What is released is in build/dist afterwards. --twice makes it once more in another folder and compares; --unchecked
# makes it, and leaves the checks out.
set -euo pipefail
umask 022
cd "$(dirname "$0")/.."
source scripts/common.sh

[ "$(id -u)" -eq 0 ] || {
    echo "scripts/release.sh: run it as root, because it runs programs in another system's root folder" >&2
    exit 1
}
checks=once
case "${1-}" in --twice | --unchecked)
    checks=${1#--}
    shift
    ;;
esac
[ $# -gt 0 ] || set -- amd64 arm64
version=$(sed -n 's/^project(pdalink VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
# Nothing of what is made tells when and where: it is the same, byte for byte, whoever makes it of the same commit.
export SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$(git log -1 --format=%ct)}
export CFLAGS=-ffile-prefix-map=$PWD=. CXXFLAGS=-ffile-prefix-map=$PWD=.
export CCACHE_DISABLE=1 # an object of another folder's build may name that folder
dist=$PWD/build/dist
abi=packaging/abi/libpdalink-amd64.abi.xz
# To build the library against, and what those need to run.
bullseye_packages=(
    libc6 libc6-dev libcrypt1 linux-libc-dev libgcc-s1 libgcc-10-dev libstdc++6 libstdc++-10-dev
    libqt5core5a qtbase5-dev qtbase5-dev-tools qt5-qmake qt5-qmake-bin libudev1 libudev-dev rapidjson-dev
    libdouble-conversion3 libglib2.0-0 libicu67 libpcre2-16-0 libpcre3 libzstd1 zlib1g
)

# build PART SUITE OPTIONS...: this part of the tree against this Debian.
build() {
    # What CMake replaces in a program when it installs it is as long as the path of the build tree would be.
    cross_configure "$architecture" "$build/$1" "$PWD/$build/$2" -D BUILD_TESTING=OFF \
        -D CMAKE_BUILD_RPATH_USE_ORIGIN=ON "${@:3}"
    cmake --build "$build/$1" -- --quiet
}

# lay_out FOLDER OPTIONS...: installs what was built. The library that runs on older systems replaces the other.
lay_out() {
    local folder=$1 tree
    shift
    for tree in "$build/programs" "$build/library"; do
        cmake "$tree" --log-level=WARNING "$@" >/dev/null
        cmake --install "$tree" --strip --prefix "$folder" >/dev/null
    done
}

# Runs the example host inside the older system. Without a terminal it is answered that nothing came.
load() {
    local sysroot=$build/bullseye emulator=() response
    local requests=('{"transCode":"600099"}' '{"transCode":"600002"}')
    mkdir -p "$sysroot/host"
    cp "$tarball"/lib/{libpdalink.so.?,PDAConfigure.ini} "$build/library/bin/first_call" "$sysroot/host"
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

# Compares with the last release what a host's compiler has seen of the library. Each new release gets a new dump:
# scripts/release.sh amd64 && xz -9 <build/release-amd64/new.abi >packaging/abi/libpdalink-amd64.abi.xz
check_abi() {
    local same=(abidiff --no-show-locs --no-added-syms) break
    abidw --no-show-locs --no-corpus-path --no-comp-dir-path --drop-private-types \
        --headers-dir "$tarball/include" --out-file "$build/new.abi" "$build/library/lib/libpdalink.so.1"
    xz --decompress <"$abi" >"$build/last.abi"
    "${same[@]}" "$build/last.abi" "$build/new.abi"
    # The check must see a function that is gone, one that takes something else, and a class that has grown.
    for break in 's/PDA_CommonCall/PDA_FormerCall/' \
        "/mangled-name='PDA_CommonCall'/,/<return/s/\(<parameter type-id='\)[^']*/\1type-id-1/" \
        "s/\(<class-decl name='CFileLog' size-in-bits='\)[0-9]*/\199992/"; do
        sed "$break" "$build/last.abi" >"$build/broken.abi"
        ! "${same[@]}" "$build/broken.abi" "$build/new.abi" >/dev/null || {
            echo "scripts/release.sh: abidiff does not notice: $break" >&2
            return 1
        }
    done
}

make_tarball() {
    lay_out "$tarball" -D CMAKE_INSTALL_LIBDIR=lib -D PDALINK_LIBRARY_FOLDER=lib -D CMAKE_SKIP_INSTALL_RPATH=OFF
    mv "$tarball/share/pdalink/PDAConfigure.ini" "$tarball/lib"
    notices >"$tarball/share/doc/pdalink/copyright"
    tar --create --sort=name --mtime="@$SOURCE_DATE_EPOCH" --owner=0 --group=0 --numeric-owner \
        --directory="$build" "$(basename "$tarball")" | xz -9 >"$dist/$(basename "$tarball").tar.xz"
}

# The conditions, those of what is compiled into the programs included.
notices() {
    local part
    cat packaging/debian/copyright
    for part in rapidjson-dev libcli11-dev nlohmann-json3-dev; do
        printf '\n== %s\n\n' "$part"
        cat "$build/bookworm/usr/share/doc/$part/copyright"
    done
}

# The sample of a service, with a program that is there: systemd only warns of what it does not know.
check_unit() {
    local complaints
    sed 's,^ExecStart=.*,ExecStart=/bin/true,' packaging/pdalink-host.service >build/pdalink-host.service
    complaints=$(systemd-analyze verify build/pdalink-host.service 2>&1 || echo failed)
    [ -z "$complaints" ] || {
        echo "packaging/pdalink-host.service: $complaints" >&2
        return 1
    }
}

make_packages() {
    local package=$build/package triplet=${machines[$architecture]}-linux-gnu
    local usr=$PWD/$package/installed/usr
    rm -rf "$package"
    mkdir -p "$package"
    cp -r packaging/debian "$package"
    notices >"$package/debian/copyright"
    printf 'pdalink (%s-1) stable; urgency=medium\n\n  * See changelog.gz of libpdalink1.\n\n -- %s  %s\n' "$version" \
        "$(sed -n 's/^Maintainer: //p' packaging/debian/control)" "$(date --utc -Rd "@$SOURCE_DATE_EPOCH")" \
        >"$package/debian/changelog"
    lay_out "$usr" -D CMAKE_INSTALL_LIBDIR="lib/$triplet" -D PDALINK_LIBRARY_FOLDER="lib/$triplet/pdalink" \
        -D CMAKE_SKIP_INSTALL_RPATH=ON
    install -D -m 644 "$usr/share/pdalink/PDAConfigure.ini" "$usr/../etc/pdalink/PDAConfigure.ini"
    find "$package" -exec touch --no-dereference --date="@$SOURCE_DATE_EPOCH" {} +
    (cd "$package" && DEB_BUILD_OPTIONS=nocheck SYSROOT=$PWD/../bookworm \
        dpkg-architecture -a "$architecture" -c debian/rules binary >/dev/null)
    mv "$build"/*.deb "$dist"
}

install_packages "${build_packages[@]}" "${release_packages[@]}"
rm -rf "$dist"
mkdir -p "$dist"
for architecture; do
    build=build/release-$architecture
    tarball=$build/pdalink-$version-$architecture
    step "$architecture: the systems to build against"
    rm -rf "$tarball" "$build"/{bullseye,bookworm}
    scripts/sysroot.sh bullseye "$architecture" "$build/bullseye" "${bullseye_packages[@]}"
    scripts/sysroot.sh bookworm "$architecture" "$build/bookworm" "${bookworm_packages[@]}"

    step "$architecture: build"
    CXXFLAGS="$CXXFLAGS -g" build library bullseye -D PDALINK_SIMULATOR=OFF -D PDALINK_TOOLS=OFF
    build programs bookworm -D PDALINK_EXAMPLES=OFF -D PDALINK_UNITY_LIBRARY=ON \
        -D CMAKE_UNITY_BUILD=ON -D CMAKE_UNITY_BUILD_BATCH_SIZE=16
    make_tarball
    make_packages

    [ "$checks" != unchecked ] || continue
    step "$architecture: the library"
    scripts/floor.py "$tarball/lib/libpdalink.so"
    load
    [ "$architecture" != amd64 ] || check_abi
done
(cd "$dist" && sha256sum -- * >SHA256SUMS)

if [ "$checks" != unchecked ]; then
    step "the packages"
    check_unit
    # No bug of Debian's asks for these packages.
    lintian --allow-root --fail-on error,warning --suppress-tags initial-upload-closes-no-bugs "$dist"/*.deb
    for architecture; do
        scripts/try_packages.sh "$architecture" "$dist"/*"_$architecture.deb"
    done
fi
if [ "$checks" = twice ]; then
    step "the same elsewhere"
    copy=$(mktemp -d)
    git ls-files -z --cached --others --exclude-standard | xargs -0 cp --parents -t "$copy"
    "$copy/scripts/release.sh" --unchecked "$@"
    diff "$dist/SHA256SUMS" "$copy/build/dist/SHA256SUMS"
    rm -rf "$copy"
fi
step "end"
