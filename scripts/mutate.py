#!/usr/bin/env python3
"""Puts one fault after the other into a copy of the sources and runs the tests: mutate.py [--check] [WORD]

The faults are in tests/mutants; with WORD only those whose line has it. Prints what became of each. Exits with 1 when
a fault was not noticed, or when the sources have no place for it any more; with --check nothing else is looked at.
"""

import os
import pathlib
import subprocess
import sys
import typing

ROOT = pathlib.Path(__file__).resolve().parent.parent
COPY = ROOT / "build/mutants/source"
BUILD = ROOT / "build/mutants/build"
LIBRARY = (["tests/util/all", "tests/device/all", "tests/analysis/all", "tests/interface/all", "tests/simulation/all"],
           "library|threads")
PROGRAMS = (["all"], "programs")


class Fault(typing.NamedTuple):
    path: str
    old: str
    new: str

    def scope(self):
        """What is to be built and which tests are to be run."""
        return PROGRAMS if self.path.startswith(("simulator/", "tools/")) else LIBRARY

    def is_placed(self, root):
        return (root / self.path).read_text(encoding="utf-8").count(self.old) == 1


def faults(word):
    for table in sorted((ROOT / "tests/mutants").glob("*.tsv")):
        for line in table.read_text(encoding="utf-8").splitlines():
            if not line.startswith("#") and word in line:
                yield Fault(*(column.replace("\\n", "\n") for column in line.split("\t")))


def succeeds(*command):
    return subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=False).returncode == 0


def prepare():
    if COPY.exists():
        subprocess.run(["git", "-C", ROOT, "worktree", "remove", "--force", COPY], check=True)
    subprocess.run(["git", "-C", ROOT, "worktree", "add", "--quiet", "--detach", COPY, "HEAD"], check=True)
    subprocess.run(["cmake", "--preset", "release", "--log-level=WARNING", "-S", COPY, "-B", BUILD,
                    "-D", "PDALINK_BENCH=OFF", "-D", "CMAKE_UNITY_BUILD=ON", "-D", "CMAKE_UNITY_BUILD_BATCH_SIZE=16",
                    "-D", "CMAKE_COMPILE_WARNING_AS_ERROR=OFF"],  # a fault may leave something unused
                   cwd=COPY, check=True, stdout=subprocess.DEVNULL)
    subprocess.run(["cmake", "--build", BUILD, "--", "--quiet"], check=True)


def is_noticed(labels):
    """Whether a test fails, and fails again by itself."""
    ctest = ["ctest", "--test-dir", BUILD]
    for _ in range(3): # what fails beside other tests only tells nothing, and stops the others
        if succeeds(*ctest, "--label-regex", labels, "--parallel", "24", "--stop-on-failure"):
            return False
        if not succeeds(*ctest, "--rerun-failed"):
            return True
    return False


def outcome(fault):
    targets, labels = fault.scope()
    source = COPY / fault.path
    text = source.read_text(encoding="utf-8")
    source.write_text(text.replace(fault.old, fault.new), encoding="utf-8")
    try:
        if not succeeds("cmake", "--build", BUILD, "--target", *targets, "--", "--quiet"):
            return "does not compile"
        return "noticed" if is_noticed(labels) else "NOT NOTICED"
    finally:
        source.write_text(text, encoding="utf-8")


def main():
    arguments = sys.argv[1:]
    is_check = "--check" in arguments
    words = [argument for argument in arguments if argument != "--check"]
    chosen = list(faults(words[0] if words else ""))
    misplaced = [fault for fault in chosen if not fault.is_placed(ROOT)]
    for fault in misplaced:
        print(f"no longer there, or more than once: {fault.path}: {fault.old!r}")
    if is_check or misplaced:
        return 1 if misplaced or not chosen else 0
    os.environ["GTEST_COLOR"] = "no"
    prepare()
    results = []
    for fault in chosen:
        results.append(outcome(fault))
        print(f"{results[-1]:16} {fault.path}: {fault.old!r} -> {fault.new!r}", flush=True)
    print(f"{results.count('noticed')} of {len(results)} noticed")
    return 0 if results and all(result == "noticed" for result in results) else 1


if __name__ == "__main__":
    sys.exit(main())
