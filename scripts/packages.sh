# Debian packages that the scripts need, and their installation. To be sourced.

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
release_packages=(clang lld binutils qemu-user-static)

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
