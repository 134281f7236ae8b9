#!/usr/bin/env bash
# Sets up what the demo needs, builds, and lets the examples talk to a simulated terminal: a small host in C, looked at
# closely, and one for each task of a working day. Ends with an error when an answer is not the expected one.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/common.sh

build=build/demo
out=$build/demo-output

# The host's requests, and what each must be answered with.
requests=(
    '{"transCode":"600002"}'
    '{"transCode":"600001","pdaNumber":"PDA-07","pFactory":"ACME"}'
)
purposes=(
    'who are you?'
    'work under this number, for this factory'
)
expected=(
    '{"pBleVersion":"BLE-1.4.2","pPDAVersion":"PDA-2.0.7","pRetCode":"000000","pSN":"860123456789012","transCode":"600002"}'
    '{"pRetCode":"000000","pSN":"860123456789012","pVender":"SIMULATED","transCode":"600001"}'
)

build_all() {
    install_packages "${build_packages[@]}"
    step "building into $build"
    cmake --preset demo --log-level=WARNING
    cmake --build --preset demo -- --quiet
    rm -rf $build/lib/log $out
    mkdir -p $out
}

run_host() {
    step "running the host examples/first_call.c against a simulated terminal"
    LD_LIBRARY_PATH=$build/lib $build/bin/pdasim run --ini $build/lib/PDAConfigure.ini --trace $out/wire.txt -- \
        $build/bin/first_call "${requests[@]}" >$out/host.txt 2>$out/debug.txt || {
        cat $out/host.txt $out/debug.txt
        echo "the host or the simulated terminal failed, see above" >&2
        return 1
    }
}

# Shows one exchange: what the host asked, what went over the wire, what the host got.
show_exchange() {
    local number=$1 response
    response=$(sed -n 's/^response  //p' $out/host.txt | sed -n "$((number + 1))p")
    printf '\n%d. The host asks the terminal: %s\n' $((number + 1)) "${purposes[number]}"
    printf '   request    %s\n' "${requests[number]}"
    sed -n "$((2 * number + 1)),$((2 * number + 2))p" $out/wire.txt | sed 's/^/   wire       /'
    printf '   response   %s\n' "$response"
    if [ "$response" != "${expected[number]}" ]; then
        printf '   EXPECTED   %s\n' "${expected[number]}" >&2
        return 1
    fi
    printf '   as expected\n'
}

work_a_day() {
    step "a working day: an example for each task, with a simulated user at the terminal"
    # The library prints some lines between the examples' own.
    LD_LIBRARY_PATH=$build/lib $build/bin/pdasim run --user --ini $build/lib/PDAConfigure.ini -- bash -ec '
        for task in labels inventory handover "files packaging/PDAConfigure.ini $1/fetched" locks; do
            echo "examples/${task%% *}.cpp"
            "$0"/$task
        done' $build/bin $out 2>$out/day.txt | sed -E '/^([*+ ]|Device |.*libpdalink)/d; /^examples/!s/^/   /' || {
        cat $out/day.txt >&2
        echo "the working day failed, see above" >&2
        return 1
    }
}

show_log() {
    step "the last lines of the library's log, $build/lib/log/PDA.log"
    tail -n 8 $build/lib/log/PDA.log | cut -c 1-160
}

build_all
run_host
failures=0
for number in "${!requests[@]}"; do
    show_exchange "$number" || failures=$((failures + 1))
done
work_a_day || failures=$((failures + 1))
show_log
step "done: $failures things were not as expected"
[ "$failures" -eq 0 ]
