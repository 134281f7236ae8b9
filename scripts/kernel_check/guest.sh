#!/bin/busybox sh
# The first process of the machine that kernel_check.sh boots. Runs the parts that the kernel's command line names, one
# file beside this one each. Every line that begins with CHECK is a result.
/bin/busybox --install -s /bin 2>/dev/null
export PATH=/bin LD_LIBRARY_PATH=/pdalink
mount -t proc none /proc
mount -t sysfs none /sys
mount -t devtmpfs none /dev
mkdir -p /dev/shm /run /etc
# Where the kernel looks for it when it needs a module.
ln -s /bin /sbin
echo 'root:x:0:0::/:/bin/sh
clerk:x:1000:1000::/:/bin/sh
guest:x:1001:1001::/:/bin/sh' >/etc/passwd
echo 'root:x:0:
clerk:x:1000:
guest:x:1001:
pdalink:x:46:clerk' >/etc/group
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

# Ends it. It must have seen no host that broke the protocol.
end() {
    kill -TERM $process
    wait $process
    ended=$?
    check 'no violation' 0 $ended
    [ $ended = 0 ] || tail -n 3 /tmp/errors
    exec 3<&-
}

# Starts a host that stays. Its requests go to file 5, its answers to /tmp/answers.
start_host() {
    rm -f /tmp/requests
    mkfifo /tmp/requests
    pdactl serve </tmp/requests >/tmp/answers 2>/tmp/host-errors &
    host=$!
    exec 5>/tmp/requests
    number=0
}

# Makes a request there and waits for its answer: EXITCODE_RESULTCODE, without what is not there.
request() {
    number=$((number + 1))
    echo "{\"id\":$number,$1}" >&5
    until grep -q "\"id\":$number[,}]" /tmp/answers; do usleep 20000; done
    reply=$(grep "\"id\":$number[,}]" /tmp/answers | sed 's/.*"exitCode":\([0-9]*\).*/\1_&/; s/_.*"pRetCode":"\([^"]*\)".*/_\1/; s/_{.*/_/')
}

end_host() {
    exec 5>&-
    wait $host
    check 'the host ends well' 0 $?
}

# Everything that a host does in a day; its last words if it is not content.
work_a_day() {
    for task in labels inventory handover 'files /init /tmp/fetched' locks; do
        $task >/tmp/day 2>&1 || { tail -n 3 /tmp/day; return 1; }
    done
}

nodes() { ls /dev/hidraw* 2>/dev/null; }
# Of the terminal at /dev/hidraw0: its USB interface, and its USB device.
interface() { basename "$(cd -P /sys/class/hidraw/hidraw0/device/.. && pwd)"; }
device() { basename "$(cd -P /sys/class/hidraw/hidraw0/device/../.. && pwd)"; }

# The command that a complaint of pdasim names, without what makes it root's.
remedy() { sed -n 's/^pdasim: .*: sudo \(.*\)$/\1/p'; }
as_user() { su -s /bin/sh "$1" -c "LD_LIBRARY_PATH=/pdalink $2"; }

for part in $(sed 's/.*parts=\([^ ]*\).*/\1/; s/,/ /g' /proc/cmdline); do
    echo "CHECK part $part"
    # shellcheck source=/dev/null
    . "/checks/$part.sh"
done
[ "$failures" = 0 ] && echo 'CHECK all is well'
poweroff -f
