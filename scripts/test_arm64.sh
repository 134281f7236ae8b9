#!/usr/bin/env bash
# Builds everything for 64-bit Arm against Debian 12 and runs the tests there, in an emulator: QEMU's, which the kernel
# starts for every Arm program (binfmt_misc), in a root folder of that Debian, as a program that starts itself again
# needs it.
#
# usage: scripts/test_arm64.sh [OPTION...]     options for ctest, for example --tests-regex Exchange
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/common.sh

build=build/arm64
sysroot=$PWD/$build/sysroot
# What the tests are built against, and what they call.
sysroot_packages=(
    "${bookworm_packages[@]}" libgtest-dev libgmock-dev
    bash binutils binutils-aarch64-linux-gnu coreutils dash findutils grep python3-minimal python3.11-minimal sed
    util-linux libacl1 libattr1 libbinutils libcap-ng0 libctf-nobfd0 libexpat1 libgmp10 libpython3.11-minimal
    libpython3.11-stdlib libtinfo6
)
# What CMake, compilers and interpreters of the build machine do does not depend on the processor, nor does the rest,
# which takes long.
excluded='^(Installed(Tree|Headers)|SourceTree|CompilerSettings|Layering|Scripts|LargestFile)\.'
excluded+='|^pdasim\.ScenariosKeepToTheirSchema|^Completion\.IsInstalledByACrossBuild'
excluded+='|^LongSimulation\.|^Secrets\.AreInNoOutputInWhateverFormTheyWereLogged|^Docs\.|^Documents\.|^(Python|Java)Binding\.'

fail() {
    echo "scripts/test_arm64.sh: $*" >&2
    exit 1
}

# Everything is in the root folder at the paths that it has outside.
mount_root() {
    mkdir -p "$sysroot"/{dev,proc,sys,tmp} "$sysroot$PWD"
    chmod 1777 "$sysroot/tmp"
    cp /etc/passwd /etc/group "$sysroot/etc"
    mount --bind "$PWD" "$sysroot$PWD"
    mount --rbind /dev "$sysroot/dev"
    mount --rbind /sys "$sysroot/sys"
    mount -t proc none "$sysroot/proc"
}

[ "$(dpkg --print-architecture)" != arm64 ] || fail "this is such a machine: run scripts/test.sh"
[ "$(id -u)" -eq 0 ] || fail "run it as root, because it mounts a root folder and registers an emulator with the kernel"
with_own_mounts "$@"

install_packages "${build_packages[@]}" "${release_packages[@]}" python3
step "Debian for Arm"
! grep -q " $sysroot/" /proc/self/mountinfo || fail "unmount what is mounted in $sysroot, which is to be removed"
rm -rf "$sysroot"
scripts/sysroot.sh bookworm arm64 "$sysroot" "${sysroot_packages[@]}"

step "build"
# Several files at a time, which takes half as long.
cross_configure arm64 $build "$sysroot" -D CMAKE_CROSSCOMPILING_EMULATOR="chroot;$sysroot" \
    -D Python3_EXECUTABLE=/usr/bin/python3 -D CMAKE_UNITY_BUILD=ON -D CMAKE_UNITY_BUILD_BATCH_SIZE=16
cmake --build $build -- --quiet

step "test"
trap unregister_emulator EXIT
register_emulator
mount_root
ulimit -c 0 # the emulator leaves cores of its own
unset TMPDIR
failed=0
ctest --test-dir "$build" --output-on-failure --exclude-regex "$excluded" --parallel $(($(nproc) * 4)) \
    --output-junit results.xml "$@" || {
    # A reply has 100 ms to arrive: what failed beside other tests must pass by itself.
    step "failed above, once more, one at a time"
    rerun_failed "$build" || failed=1
}
step "skipped tests"
scripts/skips.py arm64 $build/results.xml scripts/permitted_skips.txt || failed=1
step "end"
exit $failed
