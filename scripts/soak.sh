#!/usr/bin/env bash
# Lets hosts run for long: scripts/soak.sh [SECONDS [SEED]], 600 seconds without a number
#
# A host in real time under the address and undefined-behaviour sanitizers, one under the thread sanitizer, and beside them
# more than an hour of virtual time under the former. Prints what each says in the end; all of it is in build/soak.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/common.sh

seconds=${1-600}
seed=${2-$RANDOM}
if ! [[ $seconds =~ ^[0-9]+$ && $seed =~ ^[0-9]+$ ]]; then
    echo "usage: scripts/soak.sh [SECONDS [SEED]]" >&2
    exit 64
fi

install_packages "${build_packages[@]}" libgtest-dev libgmock-dev python3
declare -A targets=([asan]="pdalink_soak pdalink_simulation" [tsan]="pdalink_soak")
for preset in asan tsan; do
    step "$preset: build"
    cmake --preset "$preset" --log-level=WARNING
    # shellcheck disable=SC2086 # words
    cmake --build --preset "$preset" --target ${targets[$preset]} -- --quiet
done

step "$seconds s of real time under each sanitizer, beside them virtual time, with seed $seed"
mkdir -p build/soak
declare -A processes=()
run() {
    "${@:2}" >"build/soak/$1.out" 2>"build/soak/$1.log" &
    processes[$1]=$!
}
run asan build/asan/bin/pdalink_soak "$seconds" "$seed"
run tsan build/tsan/bin/pdalink_soak "$seconds" "$seed"
run virtual build/asan/bin/pdalink_simulation --calls 40000 --seed "$seed"

failed=0
for name in asan tsan virtual; do
    status=0
    wait "${processes[$name]}" || status=$?
    step "$name"
    tail -n 3 "build/soak/$name.log"
    [ "$name" != virtual ] || cat build/soak/virtual.out
    [ "$status" -eq 0 ] || { failed=1 && echo "failed with $status: see build/soak/$name.log"; }
done
exit "$failed"
