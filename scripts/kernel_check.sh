#!/usr/bin/env bash
# Boots Debian's kernel in QEMU and lets hosts drive terminals of "pdasim usbip" and "pdasim gadget" there: real USB
# devices with real hidraw nodes, which the simulated node of "pdasim run" is to be like.
#
#     scripts/kernel_check.sh [BUILD [PART...]]
#
# Takes the programs from the build folder (build/release); the parts are the files in scripts/kernel_check, all of them
# unless named. Needs no privileges but for installing packages.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/common.sh

build=$(realpath "${1:-build/release}")
shift $(($# > 0))
place=build/kernel-check
root=$place/root
packages=(busybox-static usbip usbutils udev)
modules=(
    drivers/hid/{hid.ko,hid-generic.ko,usbhid}
    drivers/usb/{common,core,usbip}
    drivers/usb/gadget/{libcomposite.ko,function/usb_f_hid.ko,udc/dummy_hcd.ko,udc/udc-core.ko}
    fs/configfs
)

# The newest kernel of the distribution and these packages; unpacked, not installed.
fetch() {
    local kernel
    rm -rf "$place"
    kernel=$(apt-cache depends linux-image-amd64 | sed -n 's/.*Depends: \(linux-image-6[^ ]*\)/\1/p')
    mkdir -p "$place/packages"
    (cd "$place/packages" && apt-get -qq download "$kernel" "${packages[@]}" 2>/dev/null)
    for package in "$place"/packages/*.deb; do
        dpkg -x "$package" "$place/unpacked"
    done
    echo "${packages[@]}" >"$place/fetched"
}

# A program and the libraries that it is linked with, at the same paths.
add_program() {
    local file
    install -D "$1" "$root/$2"
    ldd "$1" | grep -o '/[^ ]*' | while read -r file; do
        [ -e "$root/$file" ] || install -D "$(realpath "$file")" "$root/$file"
    done
}

make_root() {
    local version each
    version=$(basename "$place"/unpacked/lib/modules/*)
    rm -rf "$root"
    mkdir -p "$root"/{bin,dev,proc,sys,tmp,lib/modules/"$version"}
    install -D "$place/unpacked/bin/busybox" "$root/bin/busybox"
    for each in "${modules[@]}"; do
        mkdir -p "$root/lib/modules/$version/kernel/$(dirname "$each")"
        cp -r "$place/unpacked/lib/modules/$version/kernel/$each" "$root/lib/modules/$version/kernel/$each"
    done
    touch "$root/lib/modules/$version"/modules.{order,builtin}
    for each in pdasim pdactl first_call labels inventory handover files locks; do
        LD_LIBRARY_PATH=$build/lib add_program "$build/bin/$each" "bin/$each"
    done
    add_program "$place/unpacked/usr/sbin/usbip" bin/usbip
    add_program "$place/unpacked/usr/bin/usbreset" bin/usbreset
    add_program "$place/unpacked/bin/udevadm" bin/systemd-udevd # which it is under this name
    # The library reads its ini from its own folder.
    mkdir -p "$root/pdalink"
    cp -L "$build"/lib/libpdalink.so.1 packaging/PDAConfigure.ini "$root/pdalink/"
    cp -r scripts/kernel_check "$root/checks"
    ln -s checks/guest.sh "$root/init"
    (cd "$root" && find . | ../unpacked/bin/busybox cpio -o -H newc 2>/dev/null) | gzip -1 >"$place/initrd"
}

# The guest's clock counts instructions: whatever keeps this machine busy, nothing in there comes too late, and its waits
# take no time.
boot() {
    local parts=$1
    timeout 600 qemu-system-x86_64 -machine pc -accel tcg -icount shift=2,sleep=off -rtc clock=vm -cpu max -m 768 \
        -kernel "$place"/unpacked/boot/vmlinuz-* -initrd "$place/initrd" \
        -append "console=ttyS0 panic=-1 quiet mitigations=off parts=$parts" -nographic -no-reboot </dev/null |
        tr -d '\r' | tee "$place/console-$parts" | sed -n '/CHECK /,$p'
    grep -q '^CHECK all is well$' "$place/console-$parts"
}

step "packages"
install_packages qemu-system-x86
[ "$(cat "$place/fetched" 2>/dev/null)" = "${packages[*]}" ] || fetch
step "the guest's files"
make_root
step "the guest"
if [ $# -gt 0 ]; then
    boot "$(IFS=, && echo "$*")"
else
    # Two of them, on a core each.
    boot exchanges,faults,permissions >"$place/second" 2>&1 &
    boot usbip,gadget,files
    wait $! || failed=$?
    cat "$place/second"
    exit "${failed-0}"
fi
