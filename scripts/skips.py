#!/usr/bin/env python3
"""Lists the tests that a run of ctest has skipped: skips.py PRESET RESULTS PERMITTED

RESULTS is what ctest --output-junit has written. Exits with 1 when a skipped test is not permitted to be.
"""

import os
import re
import sys
import xml.etree.ElementTree


def permitted(preset, path):
    places = {preset, "anywhere"} | ({"user"} if os.geteuid() != 0 else set())
    with open(path, encoding="utf-8") as lines:
        for place, name in (line.split() for line in lines if line.strip() and not line.startswith("#")):
            if places.intersection(place.split("|")):
                yield re.compile(name)


def main():
    preset, results, permitted_file = sys.argv[1:]
    patterns = list(permitted(preset, permitted_file))
    tests = xml.etree.ElementTree.parse(results).getroot().iter("testcase")
    refused = 0
    for name in (test.get("name") for test in tests if test.get("status") in ("notrun", "disabled")):
        is_permitted = any(pattern.fullmatch(name) for pattern in patterns)
        refused += not is_permitted
        print(f"skipped{'' if is_permitted else ', which is not permitted'}: {name}")
    return 1 if refused else 0


if __name__ == "__main__":
    sys.exit(main())
