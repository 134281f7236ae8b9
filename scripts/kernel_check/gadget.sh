# The terminal as a USB gadget, on the simulated controller dummy_hcd.

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
check_soon 'and it goes' '' 'nodes; ls /sys/kernel/config/usb_gadget'
# From here on reports may take longer than the protocol waits for the rest of a reply.
echo 'REPLY=whole' >>/pdalink/PDAConfigure.ini
start pdasim gadget --user
check_soon 'again' /dev/hidraw0 nodes
work_a_day
check 'a working day with a gadget' 0 $?
end

# A board of two HID interfaces. The library uses the one that is listed last.
keyboard='\005\001\011\006\241\001\005\007\031\340\051\347\025\000\045\001\165\001\225\010\201\002\300'
pdasim gadget --script >/tmp/one.sh
sed "/^ln -s/i mkdir \"\$g/functions/hid.usb1\"\\
echo 8 >\"\$g/functions/hid.usb1/report_length\"\\
printf '$keyboard' >\"\$g/functions/hid.usb1/report_desc\"\\
ln -s \"\$g/functions/hid.usb1\" \"\$g/configs/c.1/\"" /tmp/one.sh >/tmp/two.sh
sh /tmp/two.sh >/dev/null
start pdasim gadget --node /dev/hidg0
check_soon 'a device of two interfaces has two nodes' '/dev/hidraw0
/dev/hidraw1' nodes
check 'its host gets an answer' "$answer" "$(ask)"
end
cd /sys/kernel/config/usb_gadget/pdasim.dummy_udc.0
echo >UDC
rm configs/c.1/hid.usb1
rmdir functions/hid.usb1
cd /
pdasim gadget --script --remove | sh
check_soon 'it goes' '' nodes

# A board on which nobody serves takes a few messages, and then no more: the kernel gives the write up after five seconds.
not_written='response  {"pBleVersion":"","pPDAVersion":"","pRetCode":"","pSN":"","transCode":"600002"}'
not_answered=$(echo "$not_written" | sed 's/"pRetCode":""/"pRetCode":"000060"/')
sh /tmp/one.sh >/dev/null
check_soon 'a board on which nobody serves' /dev/hidraw0 nodes
set --
for each in 1 2 3 4 5 6; do set -- "$@" '{"transCode":"600002"}'; done
first_call "$@" 2>/dev/null | grep '^response' >/tmp/responses
check 'does not reply to the first message' "$not_answered" "$(head -n 1 /tmp/responses)"
check 'and does not take the last one' "$not_written" "$(tail -n 1 /tmp/responses)"
pdasim gadget --script --remove | sh
check_soon 'it goes' '' nodes

# The same board goes while a write waits.
taken=$(grep -c 000060 /tmp/responses)
sh /tmp/one.sh >/dev/null
check_soon 'it is back' /dev/hidraw0 nodes
start_host
for each in $(seq "$taken"); do request '"transCode":"600002"'; done
check 'takes as many messages as before' 5_000060 "$reply"
begin=$(cut -d. -f1 /proc/uptime)
(sleep 2 && pdasim gadget --script --remove | sh) &
request '"transCode":"600002"'
waited=$(($(cut -d. -f1 /proc/uptime) - begin))
check 'and the write that waits fails when it goes' '4_, at once' "$reply, $([ $waited -lt 4 ] && echo at once || echo $waited s)"
check_soon 'it is gone' '' nodes
end_host

# A terminal that stalls: the kernel is told to send messages as control requests, which it does not take.
modprobe -r usbhid
modprobe usbhid quirks=0x1209:0x0001:0x40000
start pdasim gadget
check_soon 'a terminal that stalls' /dev/hidraw0 nodes
check 'takes no message' "$not_written" "$(ask)"
end
modprobe -r usbhid
modprobe usbhid
start pdasim gadget
check_soon 'one that does not' "$answer" ask
end
