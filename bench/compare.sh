#!/usr/bin/env bash
# Compares what the library costs in two builds, which are measured in turn: bench/compare.sh BUILD_A BUILD_B [ROUNDS]
# Further arguments are options of the benchmarks.
set -euo pipefail

if [ $# -lt 2 ]; then
    echo "usage: compare.sh BUILD_A BUILD_B [ROUNDS [--benchmark_...]]" >&2
    exit 64
fi
builds=("$1" "$2")
rounds=${3:-3}
shift $(($# < 3 ? 2 : 3))

results=$(mktemp -d)
trap 'rm -rf "$results"' EXIT
for ((round = 1; round <= rounds; ++round)); do
    for program in library_benchmarks channel_benchmarks; do
        for turn in 0 1; do
            side=$(((round + turn) % 2)) # the builds take turns in going first
            echo "round $round of $rounds: $program of ${builds[side]}" >&2
            "${builds[side]}/bin/$program" "$@" --benchmark_out_format=json \
                --benchmark_out="$results/$side.$program.$round.json" >"$results/output" 2>&1 || {
                cat "$results/output" >&2
                exit 1
            }
        done
    done
done
echo "A: ${builds[0]}"
echo "B: ${builds[1]}"
"$(dirname "$0")/compare_table.py" "$results"
