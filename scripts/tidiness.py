#!/usr/bin/env python3
"""Runs clang-tidy over C++ sources, all files of a target in one go: tidiness.py BUILD SOURCE...

Most of clang-tidy's time goes into the headers, which a target's files share. BUILD is a build directory with
compile commands. Exits with 1 after a finding, in a source or in a header of the tree.
"""

import concurrent.futures
import json
import os
import pathlib
import re
import shlex
import subprocess
import sys

# The analyser follows paths through included sources only in a file of this name.
BATCH_NAME = "UnifiedSource.cpp"
INCLUDE = '#include "{}" // NOLINT(bugprone-suspicious-include)\n'
HEADERS = re.compile(r"^HeaderFilterRegex: *'(.*)\\\.h\$'$", re.MULTILINE)
COMMENT_OR_TEXT = re.compile(r"""//[^\n]*|/\*.*?\*/|'(?:\\.|[^'\\])'|"(?:\\.|[^"\\\n])*\"""", re.DOTALL)
USING = re.compile(r"^(?:using +[\w:]+::(\w+)|namespace +(\w+) *=[^;]*);", re.MULTILINE)


def batches(build, sources):
    """The first compile command of each source, those of a target together."""
    found = {}
    left = set(sources)
    for entry in json.loads((build / "compile_commands.json").read_text()):
        source = pathlib.Path(entry["directory"], entry["file"]).resolve()
        if source in left:
            left.remove(source)
            words = shlex.split(entry["command"])
            output = words[words.index("-o") + 1]
            found.setdefault(output[: output.index(".dir/")], []).append((source, words))
    if left:
        sys.exit("not compiled: " + " ".join(sorted(map(str, left))))
    return found


def write_batch(build, target, entries):
    directory = build / "tidiness" / target.replace("/", "-")
    directory.mkdir(parents=True, exist_ok=True)
    batch = directory / BATCH_NAME
    batch.write_text("".join(INCLUDE.format(source) for source, _ in entries))
    source, words = entries[0]
    words = [str(batch) if pathlib.Path(build, word) == source else word for word in words]
    command = {"directory": str(build), "file": str(batch), "command": shlex.join(words)}
    (directory / "compile_commands.json").write_text(json.dumps([command]))
    return batch


def check_batch(batch, headers_and_sources):
    command = ["clang-tidy", "--quiet", "-p", batch.parent, "--header-filter=" + headers_and_sources, batch]
    result = subprocess.run(command, capture_output=True, text=True, check=False)
    return result.stdout + result.stderr if result.returncode != 0 else ""


def unused_names(source):
    """What using-declarations and namespace aliases declare: clang-tidy looks at those of the main file only."""
    text = COMMENT_OR_TEXT.sub("", source.read_text())
    for match in USING.finditer(text):
        name = match[1] or match[2]
        if len(re.findall(r"(?<!::)\b" + name + r"\b", text[match.end() :])) == 0:
            yield f"{source}: nothing uses {name}\n"


def main():
    build = pathlib.Path(sys.argv[1]).resolve()
    sources = [pathlib.Path(source).resolve() for source in sys.argv[2:]]
    root = pathlib.Path(__file__).resolve().parent.parent
    headers_and_sources = HEADERS.search((root / ".clang-tidy").read_text())[1] + r"\.(h|cpp)$"
    found = sorted(batches(build, sources).items(), key=lambda item: -len(item[1]))
    files = [write_batch(build, target, entries) for target, entries in found]
    findings = "".join(line for source in sources for line in unused_names(source))
    print(findings, end="", flush=True)
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for output in pool.map(lambda batch: check_batch(batch, headers_and_sources), files):
            print(output, end="", flush=True)
            findings += output
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main())
