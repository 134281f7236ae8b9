# The terminal attached through USB/IP.

# Nothing of the kernel's is there at first: each complaint names the command that gets a step further.
complaint=$(pdasim usbip 2>&1)
check 'without the module usbip ends with 71' 71 $?
eval "$(echo "$complaint" | remedy)"
check 'and names the command that loads it' vhci_hcd.0 "$(basename /sys/devices/platform/vhci_hcd.0*)"
complaint=$(as_user clerk 'pdasim usbip' 2>&1)
check 'without the permission it ends with 71' 71 $?
eval "$(echo "$complaint" | remedy)"

start su -s /bin/sh clerk -c 'exec pdasim usbip --trace /tmp/trace'
check 'after the second command an ordinary user can attach a terminal' \
    '# terminal 1 at /dev/hidraw0, USB id 1209:0001' "$(echo "$output" | head -n 1)"
check 'its host gets an answer' "$answer" "$(ask)"
check 'once more' "$answer" "$(ask)"
check 'which took two messages' 2 "$(grep -c 'host -> terminal' /tmp/trace)"
check 'the kernel knows its texts' 'Simulated terminals, Handheld terminal, SIM0000001' \
    "$(cd -P /sys/class/hidraw/hidraw0/device/../.. && echo "$(cat manufacturer), $(cat product), $(cat serial)")"
end
check_soon 'and it goes' '' nodes

start pdasim usbip --user --control /tmp/control --terminals 2
check 'two terminals have two nodes' '# terminal 1 at /dev/hidraw0, USB id 1209:0001
# terminal 2 at /dev/hidraw1, USB id 1209:0002' "$(echo "$output" | head -n 2)"
work_a_day
check 'a working day' 0 $?
pdasim ctl --control /tmp/control unplug
check_soon 'pdasim ctl unplugs the first' /dev/hidraw1 nodes
pdasim ctl --control /tmp/control replug
check_soon 'and plugs it in again' "$answer" ask
end

start pdasim usbip --listen
check 'usbip offers it on its port' '# terminal 1 at busid 1-1 of 127.0.0.1:3240, USB id 1209:0001' \
    "$(echo "$output" | head -n 1)"
offered() { usbip list -r 127.0.0.1 2>/dev/null | grep -c '1-1: .*(1209:0001)'; }
check 'the stock tool lists it' 1 "$(offered)"
usbip attach -r 127.0.0.1 -b 1-1
check_soon 'and attaches it' "$answer" ask
check 'then it is not offered any more' 0 "$(offered)"
usbip detach -p 0 >/dev/null 2>&1
check_soon 'until it has been detached' 1 offered
end
