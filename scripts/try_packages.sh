#!/usr/bin/env bash
# Installs, upgrades, removes and purges the Debian packages in a Debian 12 that has nothing but what they need, and
# looks each time at what is there. For another architecture, in an emulator.
#
# usage: scripts/try_packages.sh ARCHITECTURE PACKAGE...
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/common.sh

with_own_mounts "$@"
architecture=$1
shift
root=$(mktemp -d)
at_end() {
    ! mountpoint --quiet "$root/dev" || umount --recursive "$root/dev" "$root/proc"
    rm -rf --one-file-system "$root"
    unregister_emulator
}
trap at_end EXIT
private=/usr/lib/${machines[$architecture]}-linux-gnu/pdalink
ini=/etc/pdalink/PDAConfigure.ini

inside() {
    chroot "$root" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive "$@"
}

# expect WHAT COMMAND...: it succeeds.
expect() {
    "${@:2}" >"$root/tmp/output" 2>&1 || {
        cat "$root/tmp/output"
        echo "scripts/try_packages.sh: not as expected: $1" >&2
        return 1
    }
}

# The same packages with version 0.1.0, as they could have been before.
make_older() {
    local package
    for package; do
        dpkg-deb --raw-extract "$package" "$root/tmp/older"
        sed -i "s/^Version: .*/Version: 0.1.0/; s/(= [^)]*)/(= 0.1.0)/" "$root/tmp/older/DEBIAN/control"
        dpkg-deb --build "$root/tmp/older" "$root/tmp/$(basename "${package%%_*}")_0.1.0.deb" >/dev/null
        rm -r "$root/tmp/older"
    done
}

# What has to be so with the packages installed, of whichever version.
look() {
    expect "the group" inside getent group pdalink
    expect "the log's directory" [ "$(inside stat -c '%a %U:%G' /var/log/pdalink)" = "2770 root:pdalink" ]
    expect "the cache" inside sh -c "ldconfig -p | grep '=> $private/libpdalink.so.1$'"
    expect "no ini without a link" [ "$(inside readlink -f "$private"/PDAConfigure.ini)" = $ini ]
    expect "what hosts are built against" inside [ -e "$(PKG_CONFIG_PATH=$root${private%/*}/pkgconfig \
        pkg-config --variable=libdir pdalink | sed "s,^$root,,")/libpdalink.so" ]
    inside pdactl doctor >"$root/tmp/doctor" || true
    expect "pdactl finds library, ini and log" inside sh -ec "cat /tmp/doctor
        grep '^ok  *$private/libpdalink.so.' /tmp/doctor
        grep '^ok  *$private/PDAConfigure.ini says $1$' /tmp/doctor
        grep '^ok  *$private/log/PDA.log can be written' /tmp/doctor"
}

# A member of the group asks a simulated terminal, through the links; another user reads nothing.
ask() {
    local group
    group=$(inside getent group pdalink | cut -d: -f3)
    expect "an answer" inside setpriv --reuid 1234 --regid 1234 --groups "$group" pdasim run --ini $ini -- pdactl info
    expect "the log" [ "$(inside stat -Lc '%a %u %G' "$private"/log/PDA.log)" = "640 1234 pdalink" ]
    expect "nothing for others" inside sh -c '! setpriv --reuid 4321 --regid 4321 --clear-groups ls /var/log/pdalink/'
}

# A log that is full is rotated in the directory behind the link.
rotate() {
    inside sh -c 'head -c 600000 /dev/zero | tr "\0" x >>/var/log/pdalink/PDA.log'
    ask
    expect "the rotated log" [ -s "$root/var/log/pdalink/PDA.log.1" ]
}

step "$architecture: a system for the packages"
[ "$architecture" = "$(dpkg --print-architecture)" ] || register_emulator
mmdebstrap --quiet --architectures="$architecture" --variant=essential --include="$(printf %s \
    systemd-standalone-sysusers,systemd-standalone-tmpfiles, \
    libqt5core5a,libqt5network5,libudev1,umockdev)" bookworm "$root"
mount -t proc proc "$root/proc"
mount --rbind --make-rslave /dev "$root/dev"
make_older "$@"

step "$architecture: install, upgrade, remove, purge"
expect "the older version is installed" inside sh -c 'dpkg --install /tmp/*_0.1.0.deb'
look 1209:0001
ask
inside sed -i 's/^PID=.*/PID=0x00C1/' $ini
cp "$@" "$root/tmp"
expect "the new version is installed" inside sh -c "dpkg --install /tmp/*_$architecture.deb"
look 1209:00C1
ask
rotate

expect "the packages are removed" inside dpkg --remove libpdalink1 libpdalink-dev pdalink-tools pdalink-simulator
expect "the ini is kept" inside grep -x 'PID=0x00C1' $ini
expect "the log is kept" [ -s "$root/var/log/pdalink/PDA.log.1" ]
expect "nothing else is left" [ -z "$(find "$root/usr" -name '*pda[lcs]*')" ]
expect "the cache forgets" inside sh -c '! ldconfig -p | grep pdalink'
expect "the packages are purged" inside dpkg --purge libpdalink1 libpdalink-dev pdalink-tools pdalink-simulator
expect "nothing is left" [ -z "$(find "$root/usr" "$root/etc" "$root"/var/{log,lib} -name '*pda[lcs]*')" ]
