# What the scripts share: the Debian packages that they need, cross builds, the headings of their steps. To be sourced.

build_packages=(
    g++ cmake ninja-build pkg-config
    qtbase5-dev rapidjson-dev libudev-dev
    libumockdev-dev umockdev libcli11-dev nlohmann-json3-dev
)
test_packages=(
    libgtest-dev libgmock-dev libbenchmark-dev
    clang clang-format clang-tidy
    binutils git python3 python3-jsonschema zsh fish groff-base man-db openjdk-17-jdk-headless libjna-java libgoogle-gson-java
    udev usbip chromium
)
release_packages=(
    clang lld binutils qemu-user-static
    abigail-tools arch-test debhelper binutils-aarch64-linux-gnu lintian mmdebstrap systemd xz-utils
)

# Debian 12 of any architecture, for scripts/sysroot.sh: what library, programs and examples are built against, and
# what those need to run.
bookworm_packages=(
    libc6 libc6-dev libcrypt1 linux-libc-dev libgcc-s1 libgcc-12-dev libstdc++6 libstdc++-12-dev
    libqt5core5a libqt5network5 qtbase5-dev qtbase5-dev-tools qt5-qmake qt5-qmake-bin libudev1 libudev-dev
    rapidjson-dev libcli11-dev nlohmann-json3-dev umockdev libumockdev0 libumockdev-dev libglib2.0-0 libglib2.0-dev
    libffi-dev libpcre2-dev zlib1g-dev libmount-dev libblkid-dev libselinux1-dev libsepol-dev
    libblkid1 libcap2 libcom-err2 libdbus-1-3 libdouble-conversion3 libffi8 libgcrypt20 libgpg-error0 libgssapi-krb5-2
    libicu72 libk5crypto3 libkeyutils1 libkrb5-3 libkrb5support0 liblz4-1 liblzma5 libmount1 libpcap0.8 libpcre2-16-0
    libpcre2-8-0 libselinux1 libsystemd0 libzstd1 zlib1g
)

# Installs those of the named packages that are missing; asks the package servers only then.
install_packages() {
    local missing=() package as_root=()
    for package in "$@"; do
        dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q ' installed$' || missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null || {
            echo "Missing packages: ${missing[*]}. Run this script as root, or install sudo." >&2
            return 1
        }
        as_root=(sudo)
    fi
    echo "== installing: ${missing[*]}"
    "${as_root[@]}" apt-get -qq -o DPkg::Lock::Timeout=300 update
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -qq -o DPkg::Lock::Timeout=300 \
        install --yes --no-install-recommends "${missing[@]}" >/dev/null
}

# Says what comes now, and how long the script has run.
step() { printf '\n== %d:%02d %s\n' $((SECONDS / 60)) $((SECONDS % 60)) "$*"; }

# Starts the script once more, with the arguments given, where all mounts are its own and end with it.
with_own_mounts() {
    [ -z "${PDALINK_OWN_MOUNTS-}" ] || return 0
    unshare --mount true || {
        echo "$0: this system permits no mounts, as in most containers" >&2
        exit 1
    }
    PDALINK_OWN_MOUNTS=yes exec unshare --mount "scripts/$(basename "$0")" "$@"
}

# rerun_failed BUILD [OPTION...]: runs the tests that failed in this build folder once more, one at a time, with options
# of ctest's. By their names: ctest's own option takes them by numbers, which are other tests' when some were left out
# before.
rerun_failed() {
    local names build=$1
    shift
    names=$(sed 's#^[0-9]*:##; s#[^[:alnum:]_/-]#\\&#g' "$build/Testing/Temporary/LastTestsFailed.log" | paste -sd '|')
    ctest --test-dir "$build" --output-on-failure --no-tests=error "$@" --tests-regex "^($names)\$"
}

# The processors of Debian's architectures.
declare -A machines=([amd64]=x86_64 [arm64]=aarch64)

# cross_configure ARCHITECTURE BUILD SYSROOT [OPTION...]: a release build against a folder of scripts/sysroot.sh, which
# runs on systems as old as the one in that folder. Needs release_packages.
cross_configure() {
    cmake -S . -B "$2" -G Ninja --log-level=WARNING -D CMAKE_BUILD_TYPE=Release \
        -D CMAKE_TOOLCHAIN_FILE="$PWD/cmake/Sysroot.cmake" -D PDALINK_SYSROOT="$3" \
        -D PDALINK_MACHINE="${machines[$1]}" -D CMAKE_COMPILE_WARNING_AS_ERROR=ON -D PDALINK_BENCH=OFF "${@:4}"
}

# The kernel is to start the emulator for Arm programs until unregister_emulator, which a script calls at its end. With
# F it opens the emulator now, so that it need not be in the root folder.
register_emulator() {
    local place=/proc/sys/fs/binfmt_misc magic mask
    # The head of a program or shared library: ELF, 64 bits, little-endian, AArch64.
    magic='\x7fELF\x02\x01\x01\x00\x00\x00\x00\x00\x00\x00\x00\x00\x02\x00\xb7\x00'
    mask='\xff\xff\xff\xff\xff\xff\xff\x00\xff\xff\xff\xff\xff\xff\xff\xff\xfe\xff\xff\xff'
    { [ -e $place/register ] || mount -t binfmt_misc none $place; } &&
        echo ":pdalink-$$:M::$magic:$mask:/usr/bin/qemu-aarch64-static:F" >$place/register || {
        echo "this kernel starts no emulators: none can be registered at $place" >&2
        return 1
    }
}

unregister_emulator() {
    [ ! -e /proc/sys/fs/binfmt_misc/pdalink-$$ ] || echo -1 >/proc/sys/fs/binfmt_misc/pdalink-$$
}
