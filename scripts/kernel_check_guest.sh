#!/bin/busybox sh
# The first process of the machine that kernel_check.sh boots. Every line that begins with CHECK is a result.
/bin/busybox --install -s /bin 2>/dev/null
export PATH=/bin LD_LIBRARY_PATH=/pdalink
mount -t proc none /proc
mount -t sysfs none /sys
mount -t devtmpfs none /dev
mkdir -p /dev/shm /etc
# Where the kernel looks for it when it needs a module.
ln -s /bin /sbin
echo 'root:x:0:0::/:/bin/sh
clerk:x:1000:1000::/:/bin/sh' >/etc/passwd
echo 'root:x:0:
clerk:x:1000:' >/etc/group
chmod 1777 /tmp
ifconfig lo 127.0.0.1 up
depmod -a 2>/dev/null
modprobe usbhid
modprobe hid-generic

failures=0
check() {
    if [ "$2" = "$3" ]; then
        echo "CHECK ok: $1"
    else
        echo "CHECK FAILED: $1"
        echo "   expected: $2"
        echo "   found:    $3"
        failures=$((failures + 1))
    fi
}

# The same of what a command prints, which may take a while to be so.
check_soon() {
    tries=100
    while found=$(eval "$3"); [ "$2" != "$found" ] && [ $tries -gt 0 ]; do
        tries=$((tries - 1))
        usleep 100000
    done
    check "$1" "$2" "$found"
}

# What a host gets that asks the terminal who it is.
answer='response  {"pBleVersion":"BLE-1.4.2","pPDAVersion":"PDA-2.0.7","pRetCode":"000000"'
answer="$answer"',"pSN":"860123456789012","transCode":"600002"}'
ask() { first_call '{"transCode":"600002"}' 2>/dev/null | grep '^response' | tail -n 1; }

# Starts pdasim and waits for its last line. Its output stays open as file 3.
start() {
    rm -f /tmp/pipe
    mkfifo /tmp/pipe
    "$@" >/tmp/pipe 2>/tmp/errors &
    process=$!
    exec 3</tmp/pipe
    output=
    while read -r line <&3; do
        output="$output$line
"
        case $line in '# ready'*) return 0 ;; esac
    done
    return 1
}

end() {
    kill -TERM $process
    wait $process
    exitCode=$?
    exec 3<&-
}

# Everything that a host does in a day; its last words if it is not content.
work_a_day() {
    for task in labels inventory handover 'files /init /tmp/fetched' locks; do
        $task >/tmp/day 2>&1 || { tail -n 3 /tmp/day; return 1; }
    done
}

nodes() { ls /dev/hidraw* 2>/dev/null; }

# The command that a complaint of pdasim names, without what makes it root's.
remedy() { sed -n 's/^pdasim: .*: sudo \(.*\)$/\1/p'; }
as_clerk() { su -s /bin/sh clerk -c "LD_LIBRARY_PATH=/pdalink $1"; }

# Nothing of the kernel's is there at first: each complaint names the command that gets a step further.
complaint=$(pdasim usbip 2>&1)
check 'without the module usbip ends with 71' 71 $?
eval "$(echo "$complaint" | remedy)"
check 'and names the command that loads it' vhci_hcd.0 "$(basename /sys/devices/platform/vhci_hcd.0*)"
complaint=$(as_clerk 'pdasim usbip' 2>&1)
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
check 'no violation' 0 "$exitCode"
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
check 'no violation' 0 "$exitCode"

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
check 'no violation' 0 "$exitCode"

complaint=$(pdasim gadget 2>&1)
check 'without configfs gadget ends with 71' 71 $?
eval "$(echo "$complaint" | remedy)"
complaint=$(pdasim gadget 2>&1)
check 'without a controller too' 71 $?
eval "$(echo "$complaint" | remedy)"
check 'and both name the command that helps' dummy_udc.0 "$(ls /sys/class/udc)"
start pdasim gadget --control /tmp/control --trace /tmp/trace
check 'a gadget on a controller' '# terminal 1 at /dev/hidg0 of dummy_udc.0, USB id 1209:0001' \
    "$(echo "$output" | head -n 1)"
check_soon 'its host gets an answer' "$answer" ask
check 'once more' "$answer" "$(ask)"
pdasim ctl --control /tmp/control unplug
check_soon 'pdasim ctl unplugs it' '' nodes
pdasim ctl --control /tmp/control replug
check_soon 'and plugs it in again' "$answer" ask
complaint=$(pdasim gadget 2>&1)
check 'a second one finds no free controller' 71 $?
end
check 'no violation' 0 "$exitCode"
check_soon 'and it goes' '' 'nodes; ls /sys/kernel/config/usb_gadget'
# From here on reports may take longer than the protocol waits for the rest of a reply.
echo 'REPLY=whole' >>/pdalink/PDAConfigure.ini
start pdasim gadget --user
check_soon 'again' /dev/hidraw0 nodes
work_a_day
check 'a working day with a gadget' 0 $?
end
check 'no violation' 0 "$exitCode"

# A file's packet is up to a hundred reports.
for size in 32 64 512; do
    echo "{\"name\": \"reports\", \"device\": {\"reportSize\": $size}, \"files\": [{\"command\": 1, \"size\": 150000}]}" >/tmp/scenario.json
    start pdasim usbip --scenario /tmp/scenario.json
    pdactl file fetch "/tmp/fetched-$size" --command 1 >/tmp/fetching 2>&1 || tail -n 3 /tmp/fetching
    check "a file of 300000 digits in reports of $size bytes" 150000 "$(wc -c <"/tmp/fetched-$size")"
    end
    check 'no violation' 0 "$exitCode"
done

[ "$failures" = 0 ] && echo 'CHECK all is well'
poweroff -f
