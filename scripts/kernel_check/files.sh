# Files of 300000 digits, both ways, in reports of several sizes: a packet is up to a hundred reports.

modprobe vhci_hcd
head -c 150000 /dev/urandom >/tmp/sent
cp /pdalink/PDAConfigure.ini /tmp/ini
for reply in '' REPLY=whole; do
    (cat /tmp/ini && echo $reply) >/pdalink/PDAConfigure.ini
    for size in 32 64 512; do
        echo "{\"name\": \"reports\", \"device\": {\"reportSize\": $size},
            \"files\": [{\"command\": 1, \"path\": \"sent\"}]}" >/tmp/scenario.json
        start pdasim usbip --scenario /tmp/scenario.json
        pdactl file send /tmp/sent --command 1 >/tmp/sending 2>&1
        check "a file is sent, in reports of $size bytes $reply" 0 $?
        rm -f /tmp/fetched
        pdactl file fetch /tmp/fetched --command 1 >/tmp/fetching 2>&1
        check "and fetched" "$(md5sum </tmp/sent)" "$(md5sum </tmp/fetched)"
        end
    done
done
cp /tmp/ini /pdalink/PDAConfigure.ini
