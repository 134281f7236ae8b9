# What a host can ask, at the kernel's node: every code, the longest message, more reports than the kernel keeps, a host
# that runs for long.

modprobe vhci_hcd
head -c 150000 /dev/urandom >/tmp/sent
echo '{"name": "large reports", "device": {"reportSize": 512},
    "files": [{"command": 7, "size": 4000}], "tellers": {"registered": "T0815"}}' >/tmp/scenario.json
start pdasim usbip --control /tmp/control --scenario /tmp/scenario.json
start_host
while read -r code expected members; do
    request "\"transCode\":\"$code\"$members"
    check "$code" "$expected" "$reply"
done <<'EOF'
600001 0_000000 ,"pFactory":"ACME"
600002 0_000000
600003 0_000000 ,"pBagNumber":"B1","pAttrOrg":"1","pBagType":"1"
600004 0_000000 ,"pCmdType":"1"
600005 0_
600006 0_000000 ,"pTaskID":"T1","pTotal":1,"pLabelList":"B1;"
600007 0_
600008 0_000000 ,"pTaskID":"T2","pTaskType":1,"pRoad":"R","pExcgTime":"20260102153000","pOrgNum":"1","pOrgNm":"C","pTotal":1,"pLabel":"B1;","pAName":"a","pBName":"b"
600009 0_ ,"pTaskID":"T2"
600010 0_000000 ,"pTaskID":"T3","pOrgNb":"1","pTime":"20260102153000","pOrgNm":"C","pBatchNb":"N1","pTotal":1,"pLabel":"B1;","pBagNumber":""
600011 0_ ,"pTaskID":"T3"
600012 0_000000 ,"pKey":"0011","CheckVal":"22"
600013 0_000000
600014 0_000000 ,"pEncKey":"11","pMacKey":"22","pEncChkVal":"33","pMacChkVal":"44"
600015 0_000000 ,"pCmdEx":7,"pInfoEx":"i","file":"/tmp/sent"
600016 0_000000 ,"pCmdEx":7,"pInfEx":"i","file":"/tmp/received"
600017 0_000000
600018 0_000000 ,"pAuthRet":"000000;"
600019 0_000000 ,"pTellerNo":"T;"
EOF

# Each open file of the kernel's keeps 63 reports, and a scanned label is one. Nobody reads while the host is stopped.
told() { grep -c '"event":"scanned label"' /tmp/answers; }
labels() { seq -w 1000 | sed "s/^/B/; $1q"; }
kill -STOP $host
# shellcheck disable=SC2046 # words
pdasim ctl --control /tmp/control scan $(labels 63) >/dev/null
sleep 1
kill -CONT $host
check_soon '63 reports wait for a host that does not read' 63 told
kill -STOP $host
# shellcheck disable=SC2046 # words
pdasim ctl --control /tmp/control scan $(labels 70) >/dev/null
sleep 1 # as long as the bus may take
kill -CONT $host
check_soon 'and of 70 the kernel keeps as many' 126 told
request '"transCode":"600002"'
check 'the next exchange is a good one' 0_000000 "$reply"

# Nothing grows in a host that runs for long. What the C library keeps for reuse is there after the first requests.
resources() {
    echo "$(ls /proc/$host/fd | wc -l) descriptors, $(sed -n 's/^Threads:[^0-9]*//p' /proc/$host/status) threads"
}
resident() { sed -n 's/^VmRSS:[^0-9]*\([0-9]*\) kB/\1/p' /proc/$host/status; }
exchange_many() {
    first=$((number + 1))
    number=$((number + $1))
    for each in $(seq $first $number); do echo "{\"id\":$each,\"transCode\":\"600002\"}" >&5; done
    until grep -q "\"id\":$number," /tmp/answers; do usleep 500000; done
    failed=$((failed + $1 - $(sed -n "/\"id\":$first,/,\$p" /tmp/answers | grep -c '"exitCode":0')))
}
failed=0
exchange_many 200
before=$(resources) memory=$(resident)
exchange_many 2000
check '2200 exchanges work' 0 $failed
check 'descriptors and threads are as many as before' "$before" "$(resources)"
check 'and memory has not grown by 128 KiB' yes "$([ $(($(resident) - memory)) -lt 128 ] && echo yes || resident)"
end_host

# The kernel takes 16384 bytes in one write.
rest=$((16384 + 1 - $(pdactl init --factory F --dry-run | tr -d '\n' | wc -c)))
factory=$(head -c $rest /dev/zero | tr '\0' F)
check 'a message of 16384 bytes arrives' 1 \
    "$(first_call "{\"transCode\":\"600001\",\"pdaNumber\":\"00000001\",\"pFactory\":\"$factory\"}" | grep -c '^response.*"000000"')"
check 'one more byte is one too many' 'response  {"pRetCode":"","pSN":"","pVender":"","transCode":"600001"}' \
    "$(first_call "{\"transCode\":\"600001\",\"pdaNumber\":\"00000001\",\"pFactory\":\"F$factory\"}" | grep '^response')"
end
