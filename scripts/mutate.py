#!/usr/bin/env python3
"""Puts one fault after the other into a copy of the sources and runs the tests.

The faults are those of tests/mutants, or drawn ones: one operator, number or statement of the library, of the simulated
terminal's core or of pdactl's reading of logs changed. Prints what became of each. Exits with 1 when a fault was not
noticed, or when the sources have no place for it any more.
"""

import argparse
import itertools
import os
import pathlib
import random
import re
import subprocess
import sys
import typing

ROOT = pathlib.Path(__file__).resolve().parent.parent
COPY = ROOT / "build/mutants/source"
BUILD = ROOT / "build/mutants/build"
MAX_TIME = 600  # s
HANGS = 124


class Stage(typing.NamedTuple):
    """What can notice a fault: targets to build, and the tests of a folder that have a label, or the simulation."""
    name: str
    targets: tuple
    folder: str = "."
    label: str = "."


SIMULATION = Stage("the simulation", ("pdalink_simulation",))
LIBRARY = Stage(
    "the library's tests",
    tuple(f"tests/{folder}/all" for folder in ("util", "device", "analysis", "interface", "simulation")),
    label="library|threads")
PROGRAMS = Stage("the programs' tests", ("all",), label="programs")
SIMULATOR = Stage("the simulator's tests", ("tests/simulator/all",), "tests/simulator")
LOGS = Stage("the tests of logs", ("tests/tools/log/all",), "tests/tools/log")
# Those for a file whose path begins so, the fastest first.
STAGES = {
    "simulator/core": (SIMULATION, SIMULATOR, PROGRAMS),
    "tools/pdactl/log": (LOGS, PROGRAMS),
    "simulator": (PROGRAMS,),
    "tools": (PROGRAMS,),
    "": (SIMULATION, LIBRARY)}
# The folders whose files faults are drawn for.
FOLDERS = ("util", "device", "analysis", "interface", "simulator/core", "simulator/core/messages", "tools/pdactl/log")
# What is drawn: a pattern in a line, and what takes its place.
CHANGES = [(re.compile(pattern), new) for pattern, new in (
    (" == ", " != "), (" != ", " == "), (" < ", " <= "), (" <= ", " < "), (" > ", " >= "), (" >= ", " > "),
    (" && ", " || "), (r" \|\| ", " && "), (r"\(!", "("), (r"if \((?!!)", "if (!"), (r" \+ 1\b", ""), (r" - 1\b", ""),
    (r"\btrue\b", "false"), (r"\bfalse\b", "true"), (r"(?<=[ (])\d+\b", lambda number: str(int(number[0]) + 1)),
    (r"^ +[\w:.>-]+\(.*\);$", ""), (r"^ +\w[\w.>-]* = .*;$", ""))]


class Fault(typing.NamedTuple):
    path: str
    old: str
    new: str

    def stages(self):
        return next(stages for folder, stages in STAGES.items() if self.path.startswith(folder))

    def is_placed(self, root):
        return (root / self.path).read_text(encoding="utf-8").count(self.old) == 1


def tabled(word):
    for table in sorted((ROOT / "tests/mutants").glob("*.tsv")):
        for line in table.read_text(encoding="utf-8").splitlines():
            if not line.startswith("#") and word in line:
                yield Fault(*(column.replace("\\n", "\n") for column in line.split("\t")))


def drawn(word, count, seed):
    """Faults that the seed decides, of all that there can be in files whose path has the word."""
    possible = []
    for path in sorted(itertools.chain.from_iterable((ROOT / folder).glob("*.cpp") for folder in FOLDERS)):
        if word not in str(path.relative_to(ROOT)):
            continue
        text = path.read_text(encoding="utf-8")
        lines = text.splitlines()
        for before, line in zip(lines, lines[1:]):
            old = f"{before}\n{line}\n"
            if text.count(old) > 1 or re.search(r'^\s*(//|#|static_assert)|"', line):
                continue
            possible += [Fault(str(path.relative_to(ROOT)), old, f"{before}\n{line[:place.start()]}"
                               f"{place.expand(new) if isinstance(new, str) else new(place)}{line[place.end():]}\n")
                         for pattern, new in CHANGES for place in pattern.finditer(line)]
    return random.Random(seed).sample(possible, min(count, len(possible)))


def status(*command):
    """The exit code; HANGS for a command that was ended with all that it had started."""
    return subprocess.run(["timeout", str(MAX_TIME), *command], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                          check=False, cwd=ROOT).returncode


def succeeds(*command):
    return status(*command) == 0


def build(*targets):
    return succeeds("cmake", "--build", BUILD, "--target", *targets, "--", "--quiet")


def prepare():
    if COPY.exists():
        subprocess.run(["git", "-C", ROOT, "worktree", "remove", "--force", COPY], check=True)
    subprocess.run(["git", "-C", ROOT, "worktree", "add", "--quiet", "--detach", COPY, "HEAD"], check=True)
    subprocess.run(["cmake", "--preset", "release", "--log-level=WARNING", "-S", COPY, "-B", BUILD,
                    "-D", "PDALINK_BENCH=OFF", "-D", "CMAKE_UNITY_BUILD=ON", "-D", "CMAKE_UNITY_BUILD_BATCH_SIZE=16",
                    "-D", "CMAKE_COMPILE_WARNING_AS_ERROR=OFF"],  # a fault may leave something unused
                   cwd=COPY, check=True, stdout=subprocess.DEVNULL)
    subprocess.run(["cmake", "--build", BUILD, "--", "--quiet"], check=True)


def is_noticed_by(stage):
    """Whether a test fails, and fails again by itself."""
    if stage is SIMULATION:
        return not succeeds(BUILD / "bin/pdalink_simulation", "--calls", "4000")
    folder = BUILD / stage.folder
    for _ in range(3): # what fails beside other tests only tells nothing, and stops the others
        code = status("ctest", "--test-dir", folder, "--label-regex", stage.label, "--parallel", "24",
                      "--stop-on-failure")
        if code in (0, HANGS):
            return code == HANGS
        if not succeeds("bash", "-c", 'source scripts/common.sh && rerun_failed "$0" --stop-on-failure', folder):
            return True
    return False


def outcome(fault):
    source = COPY / fault.path
    text = source.read_text(encoding="utf-8")
    source.write_text(text.replace(fault.old, fault.new), encoding="utf-8")
    try:
        for stage in fault.stages():
            if not build(*stage.targets):
                return "does not compile"
            if is_noticed_by(stage):
                return f"noticed by {stage.name}"
        return "NOT NOTICED"
    finally:
        source.write_text(text, encoding="utf-8")


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--check", action="store_true", help="only look whether each fault has its place")
    parser.add_argument("--draw", type=int, metavar="COUNT", help="draw this many faults instead of those of the table")
    parser.add_argument("--seed", type=int, default=1, help="decides which are drawn")
    parser.add_argument("word", nargs="?", default="",
                        help="only faults of the table whose line has it; drawn ones of files whose path has it")
    arguments = parser.parse_args()
    chosen = drawn(arguments.word, arguments.draw, arguments.seed) if arguments.draw else list(tabled(arguments.word))
    misplaced = [fault for fault in chosen if not fault.is_placed(ROOT)]
    for fault in misplaced:
        print(f"no longer there, or more than once: {fault.path}: {fault.old!r}")
    if arguments.check or misplaced:
        return 1 if misplaced or not chosen else 0
    os.environ["GTEST_COLOR"] = "no"
    prepare()
    results = []
    for fault in chosen:
        results.append(outcome(fault))
        print(f"{results[-1]:32} {fault.path}: {fault.old!r} -> {fault.new!r}", flush=True)
    compiled = [result for result in results if arguments.draw is None or result != "does not compile"]
    missed = sum(not result.startswith("noticed") for result in compiled)
    print(f"{len(compiled) - missed} of {len(compiled)} noticed")
    return 1 if missed or not compiled else 0


if __name__ == "__main__":
    sys.exit(main())
