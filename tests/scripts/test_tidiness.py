"""test_tidiness.py SOURCES SCRATCH"""

import json
import pathlib
import shutil
import subprocess
import sys
import unittest

SOURCES = pathlib.Path(sys.argv[1])
SCRATCH = pathlib.Path(sys.argv[2])
SOUND = """#include "Shared.h"
#include <string>
using std::string;
string text(int number) {
    return number == 1 ? "one" : "another";
}
"""
SOUND_WITH_ARGUMENTS = """#include "Shared.h"
#include <cstdarg>
int first(int number, ...) {
    va_list arguments;
    va_start(arguments, number);
    const int argument = va_arg(arguments, int);
    va_end(arguments);
    return argument;
}
"""
# One a line, after the lines of the sound source. The first two take an analysis of the function's paths.
FAULTS = {
    "[clang-analyzer-core.NullDereference": "int read(const int* p) { return p == nullptr ? *p : 1; }",
    "[clang-analyzer-cplusplus.NewDeleteLeaks": "int leak() { const int* p = new int(1); return *p; }",
    "[misc-unused-parameters": "int ignore(int number) { return 1; }",
    "[modernize-use-nullptr": "int* none() { return 0; }",
    "[readability-braces-around-statements": "int open(int number) { if (number > 0) return 1; return 2; }",
    "[bugprone-suspicious-include": '#include "part.cpp"',
    "nothing uses to_string": "using std::to_string;",
}


def run(**sources):
    """Result and output for the sources as one target."""
    shutil.rmtree(SCRATCH, ignore_errors=True)
    folder = SCRATCH / "tests"
    folder.mkdir(parents=True)
    shutil.copy(SOURCES / ".clang-tidy", SCRATCH)
    (folder / "part.cpp").write_text("")
    (folder / "Shared.h").write_text("#pragma once\nint first(int number, ...);\n")
    commands = []
    for name, text in sources.items():
        file = folder / (name + ".cpp")
        file.write_text(text)
        words = f"c++ -std=c++17 -o some.dir/{name}.o -c {file}"
        commands.append({"directory": str(SCRATCH), "file": str(file), "command": words})
    (SCRATCH / "compile_commands.json").write_text(json.dumps(commands))
    command = [SOURCES / "scripts/tidiness.py", SCRATCH] + [entry["file"] for entry in commands]
    result = subprocess.run(command, capture_output=True, text=True, check=False)
    return result.returncode, result.stdout + result.stderr


class Tidiness(unittest.TestCase):
    def test_accepts_sound_sources(self):
        self.assertEqual(run(sound=SOUND, variadic=SOUND_WITH_ARGUMENTS), (0, ""))

    def test_finds_faults_in_any_source_of_a_target(self):
        code, output = run(sound=SOUND_WITH_ARGUMENTS, faulty=SOUND + "\n".join(FAULTS.values()) + "\n")
        self.assertEqual(code, 1)
        for finding in FAULTS:
            self.assertIn(finding, output)

    def test_refuses_a_source_that_is_not_compiled(self):
        run(sound=SOUND)
        (SCRATCH / "forgotten.cpp").write_text("")
        command = [SOURCES / "scripts/tidiness.py", SCRATCH, SCRATCH / "forgotten.cpp"]
        self.assertNotEqual(subprocess.run(command, capture_output=True, check=False).returncode, 0)


if __name__ == "__main__":
    if shutil.which("clang-tidy") is None:
        sys.exit(77)
    unittest.main(argv=sys.argv[:1])
