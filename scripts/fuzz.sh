#!/usr/bin/env bash
# Fuzzes for some seconds, which the targets share: scripts/fuzz.sh SECONDS [TARGET...]
#
# Begins with the inputs in fuzz/corpus and with those that earlier runs have left in build/fuzz/corpus. Prints for each
# target how many inputs have run and how much code they reach. Fails when one stops a target, and leaves it in
# build/fuzz/findings.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/common.sh

seconds=${1-}
all=$(cd fuzz/corpus && echo *)
if ! [[ $seconds =~ ^[1-9][0-9]*$ ]]; then
    echo "usage: scripts/fuzz.sh SECONDS [TARGET...]; targets: $all" >&2
    exit 64
fi
shift
[ $# -gt 0 ] || set -- $all
for target in "$@"; do
    [ -d "fuzz/corpus/$target" ] || {
        echo "There is no target '$target'. Targets: $all" >&2
        exit 64
    }
done

install_packages "${build_packages[@]}" libgtest-dev libgmock-dev python3 clang
cmake --preset fuzz --log-level=WARNING >/dev/null
cmake --build --preset fuzz --target "${@/#/fuzz_}" -- --quiet >&2

failed=0
for target in "$@"; do
    work=build/fuzz/corpus/$target
    findings=build/fuzz/findings/$target
    mkdir -p "$work" "$findings"
    status=0
    patience=60
    [ "$target" != HostCalls ] || patience=0 # its clock is its own, and ends waits without an end
    "build/fuzz/bin/fuzz_$target" -max_total_time=$(((seconds + $# - 1) / $#)) -timeout=$patience -artifact_prefix="$findings/" \
        "$work" "fuzz/corpus/$target" >"$work.log" 2>&1 || status=$?
    printf '%-16s %s\n' "$target" "$(grep -oE '^#[0-9]+.*cov: [0-9]+' "$work.log" | tail -n 1 |
        sed -E 's/#([0-9]+).*cov: ([0-9]+)/\1 inputs, \2 edges covered/')"
    if [ "$status" -ne 0 ]; then
        failed=1
        grep -aE -A 12 'not so: |ERROR: |runtime error: |terminate called' "$work.log" | head -n 40 || tail -n 20 "$work.log"
        echo "The input is in $findings; replay it with: build/fuzz/bin/fuzz_$target FILE"
    fi
done
exit "$failed"
