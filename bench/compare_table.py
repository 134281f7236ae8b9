#!/usr/bin/env python3
"""Prints what compare.sh has measured: one line a figure, minimum and median of both builds and their ratios."""

import json
import pathlib
import statistics
import sys

CHANNEL_FIGURES = (("cpu_ms", "CPU, ms"), ("wake_ups", "wake-ups"), ("extra_time_ms", "time beyond, ms"))


def library_figures(report):
    """(name, value) of each benchmark: its CPU time in its own unit."""
    for run in report["benchmarks"]:
        if run["run_type"] != "iteration":
            continue
        if run.get("error_occurred"):
            sys.exit(f"{run['name']}: {run['error_message']}")
        yield f"{run['name']}, {run['time_unit']}", run["cpu_time"]


def channel_figures(report, whose):
    for measurement in report["measurements"]:
        for key, label in CHANNEL_FIGURES:
            for value in measurement[whose].get(key, ()):
                yield f"{measurement['description']}: {label}", value


def collect(results, side, program, figures):
    """All values of each figure in the order of the rounds."""
    collected = {}
    for path in sorted(pathlib.Path(results).glob(f"{side}.{program}.*.json")):
        for name, value in figures(json.loads(path.read_text())):
            collected.setdefault(name, []).append(value)
    return collected


def ratio(b, a):
    return f"{b / a:8.3f}" if a > 0 else "       -"


def print_table(title, a, b):
    print(f"\n{title}")
    print(f"  {'':46}{'A min':>10}{'median':>10}  {'B min':>10}{'median':>10}  {'B/A min':>8}{'median':>8}")
    for name in a:
        if name not in b:
            continue
        least_a, least_b = min(a[name]), min(b[name])
        middle_a, middle_b = statistics.median(a[name]), statistics.median(b[name])
        print(f"  {name:46}{least_a:10.3f}{middle_a:10.3f}  {least_b:10.3f}{middle_b:10.3f}"
              f"  {ratio(least_b, least_a)}{ratio(middle_b, middle_a)}")


def main():
    results = sys.argv[1]

    def both(program, figures):
        return collect(results, "a", program, figures), collect(results, "b", program, figures)

    print_table("Single operations, CPU time", *both("library_benchmarks", library_figures))
    for program, node in (("channel_cost", "a pseudo-terminal"), ("channel_cost_simulated", "the simulated terminal")):
        a, b = both(program, lambda report: channel_figures(report, "library"))
        if not a:
            continue
        print_table(f"Channel on {node}", a, b)
        print_table("  The bare program beside it: the same in both builds, its ratios are chance",
                    *both(program, lambda report: channel_figures(report, "bare")))


main()
