# Whose node it is: root's, until the rule that pdactl prints gives it to the hosts' group.

modprobe vhci_hcd
may_use() { as_user "$1" 'pdactl --json info' 2>/dev/null | sed -n 's/.*"exitCode": \([0-9]*\).*/\1/p'; }
problems() { as_user "$1" 'pdactl doctor' 2>/dev/null | grep -c "^problem .*$2"; }
start pdasim usbip
check "without a rule the node is root's" '600 root' "$(stat -c '%a %G' /dev/hidraw0)"
check 'another user cannot write to it' 4 "$(may_use clerk)"
check 'and doctor names the rule' 1 "$(problems clerk 'you may not read and write /dev/hidraw0: no udev rule gives it to you')"
end
check_soon 'it goes' '' nodes
mkdir -p /etc/udev/rules.d
pdactl udev-rule >/etc/udev/rules.d/70-pdalink.rules
systemd-udevd --daemon
start pdasim usbip
check_soon "the rule gives it to the hosts' group" '660 pdalink' "stat -c '%a %G' /dev/hidraw0"
check 'whose members may use it' 0 "$(may_use clerk)"
check 'and nobody else' 4 "$(may_use guest)"
end
