# What goes wrong at the node: the host's call fails, and works again once the cause is gone.

modprobe vhci_hcd
echo '{"name": "loose plug", "rules": [
    {"on": "8015", "from": 3, "times": 1, "do": {"disconnect": "before", "reconnect": 500}},
    {"on": "8016", "from": 3, "times": 1, "do": {"disconnect": "after", "reconnect": 500}},
    {"on": "8016", "from": 9, "times": 1, "do": {"disconnect": "before", "reconnect": 500}}],
    "files": [{"command": 1, "size": 60000}]}' >/tmp/scenario.json
start pdasim usbip --control /tmp/control --scenario /tmp/scenario.json
start_host

# The first call after the plug was pulled fails, and the second one opens the node anew.
gone() {
    check_soon "$1: the node goes" '' nodes
    request '"transCode":"600002"'
    check 'and a call fails' 4_ "$reply"
}
back() {
    check_soon "$1: a node is there" 1 "nodes | wc -l"
    request '"transCode":"600002"'
    [ "$reply" = 0_000000 ] || request '"transCode":"600002"'
    check 'and the host has its answer' 0_000000 "$reply"
}
back plugged
device=$(device) interface=$(interface)
echo 0 >"/sys/bus/usb/devices/$device/authorized"
gone deauthorised
echo 1 >"/sys/bus/usb/devices/$device/authorized"
back authorised
echo "$interface" >/sys/bus/usb/drivers/usbhid/unbind
gone 'unbound from its driver'
echo "$interface" >/sys/bus/usb/drivers/usbhid/bind
back bound
usbreset 1209:0001 >/dev/null
back reset
pdasim ctl --control /tmp/control unplug
gone unplugged
pdasim ctl --control /tmp/control replug
back 'plugged in'

request '"transCode":"600003","pBagNumber":"B-UNPLUG","pAttrOrg":"1","pBagType":"1"'
check 'unplugged while a reply is waited for' 5_000060 "$reply"
back 'plugged in'
request '"transCode":"600003","pBagNumber":"B-SILENT","pAttrOrg":"1","pBagType":"1"'
check 'a terminal that is silent' 5_000060 "$reply"
back 'it speaks'
head -c 30000 /dev/zero >/tmp/sent
request '"transCode":"600015","pCmdEx":1,"pInfoEx":"","file":"/tmp/sent"'
# What a transfer notices first, it reports: a failed write (4), silence (5), or a packet that is not there (8).
failed() { case $reply in 4_* | 5_* | 8_*) echo failed ;; *) echo "$reply" ;; esac; }
check 'unplugged while a file is sent' failed "$(failed)"
back 'plugged in'
rm -f /tmp/received
for each in 1 2; do
    request '"transCode":"600016","pCmdEx":1,"pInfEx":"","file":"/tmp/received"'
    check 'unplugged while a file is fetched' 'failed, no file' "$(failed), $(ls /tmp/received 2>/dev/null || echo no file)"
    back 'plugged in'
done
end_host
end
