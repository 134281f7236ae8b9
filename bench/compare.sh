#!/usr/bin/env bash
# Compares what the library costs in two builds, which are measured in turn: bench/compare.sh BUILD_A BUILD_B
set -euo pipefail

usage() {
    echo "Usage: compare.sh [--rounds N] [--moment] BUILD_A BUILD_B"
    echo "  --rounds N  how often to measure each build (3)"
    echo "  --moment    measure next to nothing, to see that the script works"
}

rounds=3
channel=()
library=()
while [ $# -gt 0 ]; do
    case $1 in
    --rounds)
        rounds=${2:-}
        shift 2 || { usage >&2; exit 2; }
        ;;
    --moment)
        rounds=1
        channel=(--seconds=0.1 --exchanges=1 "--measure=idle,exchange")
        library=(--benchmark_min_time=0.001)
        shift
        ;;
    --help)
        usage
        exit 0
        ;;
    *) break ;;
    esac
done
if [ $# -ne 2 ] || ! [[ $rounds =~ ^[1-9][0-9]*$ ]]; then
    usage >&2
    exit 2
fi

declare -A build=([a]=$1 [b]=$2)
programs=(library_benchmarks channel_cost)
for side in a b; do
    for program in "${programs[@]}"; do
        [ -x "${build[$side]}/bin/$program" ] || {
            echo "${build[$side]}/bin/$program is missing: build it first" >&2
            exit 1
        }
    done
done
if [ -x "$1/bin/channel_cost_simulated" ] && [ -x "$2/bin/channel_cost_simulated" ]; then
    programs+=(channel_cost_simulated)
fi

results=$(mktemp -d)
trap 'rm -rf "$results"' EXIT

# measure SIDE PROGRAM ROUND
measure() {
    local json="$results/$1.$2.$3.json" options
    if [ "$2" = library_benchmarks ]; then
        options=("${library[@]}" "--benchmark_out=$json" --benchmark_out_format=json)
    else
        options=("${channel[@]}" --rounds=1 "--json=$json")
    fi
    echo "round $3 of $rounds: $2 of ${build[$1]}" >&2
    "${build[$1]}/bin/$2" "${options[@]}" >"$results/output" 2>&1 || {
        cat "$results/output" >&2
        exit 1
    }
}

# The builds take turns in going first.
for ((round = 1; round <= rounds; ++round)); do
    order=(a b)
    ((round % 2 == 1)) || order=(b a)
    for program in "${programs[@]}"; do
        for side in "${order[@]}"; do
            measure "$side" "$program" "$round"
        done
    done
done

echo "A: $1"
echo "B: $2"
"$(dirname "$0")/compare_table.py" "$results"
