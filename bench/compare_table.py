#!/usr/bin/env python3
"""Prints what compare.sh has measured: one line a figure, minimum and median of both builds and their ratios."""

import json
import pathlib
import statistics
import sys

COUNTERS = ("wake_ups", "took_ms", "bare_ms")


def figures(report):
    """(name, value) of each benchmark: its CPU time, which channels measure themselves, and its counters."""
    for run in report["benchmarks"]:
        is_channel = "wake_ups" in run
        yield f"{run['name']}, {run['time_unit']}", run["real_time" if is_channel else "cpu_time"]
        for counter in COUNTERS if is_channel else ():
            yield f"{run['name']}: {counter}", run[counter]


def collect(results, side):
    collected = {}
    for path in sorted(pathlib.Path(results).glob(f"{side}.*.json")):
        for name, value in figures(json.loads(path.read_text())):
            collected.setdefault(name, []).append(value)
    return collected


def ratio(b, a):
    return f"{b / a:8.3f}" if a > 0 else "       -"


def main():
    a, b = collect(sys.argv[1], 0), collect(sys.argv[1], 1)
    print(f"  {'':46}{'A min':>10}{'median':>10}  {'B min':>10}{'median':>10}  {'B/A min':>8}{'median':>8}")
    for name in (name for name in a if name in b):
        least, middle = [min(side[name]) for side in (a, b)], [statistics.median(side[name]) for side in (a, b)]
        print(f"  {name:46}{least[0]:10.3f}{middle[0]:10.3f}  {least[1]:10.3f}{middle[1]:10.3f}"
              f"  {ratio(*reversed(least))}{ratio(*reversed(middle))}")


main()
