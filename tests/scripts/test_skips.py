"""test_skips.py SOURCES SCRATCH"""

import pathlib
import subprocess
import sys
import unittest

SOURCES = pathlib.Path(sys.argv[1])
SCRATCH = pathlib.Path(sys.argv[2])
RESULTS = """<testsuite>
<testcase name="Run.Passes" status="run"/>
<testcase name="Skipped.InBoth/One  # GetParam() = 1" status="notrun"><skipped message=""/></testcase>
<testcase name="Disabled.Altogether" status="disabled"/>
</testsuite>
"""


def run(preset, permitted):
    SCRATCH.mkdir(parents=True, exist_ok=True)
    (SCRATCH / "results.xml").write_text(RESULTS)
    (SCRATCH / "permitted.txt").write_text("# why\n\n" + permitted)
    command = [SOURCES / "scripts/skips.py", preset, SCRATCH / "results.xml", SCRATCH / "permitted.txt"]
    result = subprocess.run(command, capture_output=True, text=True, check=False)
    return result.returncode, result.stdout


class Skips(unittest.TestCase):
    def test_fail_without_permission(self):
        self.assertEqual(
            run("asan", ""),
            (
                1,
                "skipped, which is not permitted: Skipped.InBoth/One  # GetParam() = 1\n"
                "skipped, which is not permitted: Disabled.Altogether\n",
            ),
        )

    def test_are_listed_with_permission(self):
        listed = "skipped: Skipped.InBoth/One  # GetParam() = 1\nskipped: Disabled.Altogether\n"
        self.assertEqual(run("asan", "asan|tsan Skipped\\.InBoth/.*\nanywhere Disabled\\..*\n"), (0, listed))

    def test_are_permitted_by_place_and_whole_name(self):
        self.assertEqual(run("release", "asan|tsan Skipped\\.InBoth/.*\nanywhere Disabled\\..*\n")[0], 1)
        self.assertEqual(run("release", "anywhere Skipped\\.InBoth\nanywhere Disabled\\..*\n")[0], 1)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
