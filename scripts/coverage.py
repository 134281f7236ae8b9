#!/usr/bin/env python3
"""Adds up what gcovr has found, by folder: coverage.py COVERAGE.JSON REASONS

Prints the library's lines that nothing reaches and REASONS does not name, and those that it names for nothing; then exits
with 1. REASONS has a line for each: a file, a blank, and the source line without the blanks around it. Comments say why.
"""

import collections
import json
import pathlib
import sys

LIBRARY = ("util", "device", "analysis", "interface")


def share(reached, total):
    return f"{reached:6} of {total:6} {100 * reached / max(total, 1):6.1f} %"


def main():
    files = json.loads(pathlib.Path(sys.argv[1]).read_text(encoding="utf-8"))["files"]
    reasons = {line for line in pathlib.Path(sys.argv[2]).read_text(encoding="utf-8").splitlines()
               if line and not line.startswith("#")}
    sums = collections.defaultdict(lambda: [0, 0, 0, 0])
    missed = {}
    for file in files:
        folders = file["file"].split("/")[:-1]
        source = pathlib.Path(file["file"]).read_text(encoding="utf-8").splitlines()
        for line in (each for each in file["lines"] if not each.get("gcovr/noncode")):
            branches = [branch["count"] > 0 for branch in line["branches"]]
            for folder in ["/".join(folders)] + ["library"] * (folders[0] in LIBRARY):
                counted = (line["count"] > 0, 1, sum(branches), len(branches))
                sums[folder] = [a + b for a, b in zip(sums[folder], counted)]
            if folders[0] in LIBRARY and line["count"] == 0:
                missed[f"{file['file']} {source[line['line_number'] - 1].strip()}"] = line["line_number"]
    print(f"{'':26}{'lines':>22}{'branches':>27}")
    for folder, (lines, all_lines, branches, all_branches) in sorted(sums.items()):
        print(f"{folder:24}{share(lines, all_lines)}  {share(branches, all_branches)}")
    unknown = sorted(set(missed) - reasons)
    for line in unknown:
        print(f"not reached, without a reason: {line} (line {missed[line]})")
    for line in sorted(reasons - set(missed)):
        print(f"reached, or not there any more: {line}")
    return 1 if unknown or reasons - set(missed) else 0


sys.exit(main())
