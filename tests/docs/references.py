"""Checks what documents refer to: links and anchors, the programs' commands and options, lines of the log, tests;
and that docs/README.md names every page.

references.py SOURCES PDACTL PDASIM
"""
import functools
import pathlib
import re
import shlex
import subprocess
import sys

SOURCES = pathlib.Path(sys.argv[1])
PROGRAMS = {"pdactl": sys.argv[2], "pdasim": sys.argv[3]}
BLOCK = re.compile(r"^```(\w*)\n(.*?)^```$", re.MULTILINE | re.DOTALL)
failures = []


@functools.lru_cache(maxsize=None)
def help_of(words):
    result = subprocess.run([PROGRAMS[words[0]], *words[1:], "--help"], capture_output=True, text=True, check=False)
    return result.stdout if result.returncode == 0 else ""


@functools.lru_cache(maxsize=None)
def anchors(path):
    """As the usual viewers make them of headings."""
    headings = re.findall(r"^#+ (.*)$", BLOCK.sub("", path.read_text(encoding="utf-8")), re.MULTILINE)
    return {re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-") for heading in headings}


def check_links(page, text):
    for link in re.findall(r"\]\(([^)\s]+)\)", text):
        target, _, anchor = link.partition("#")
        path = page.parent / target if target else page
        if re.match(r"\w+:", link):
            continue
        if not path.exists() or (anchor and anchor not in anchors(path)):
            failures.append(f"{page}: {link} leads nowhere")


def check_command(page, command):
    try:
        words = shlex.split(command, comments=True)
    except ValueError:  # a quote that ends on another line
        words = command.split()
    words = words[:words.index("--")] if "--" in words else words
    path, rest = words[:1], words[1:]
    while rest and re.search(rf"^  {re.escape(rest[0])}( |$)", help_of(tuple(path)).partition("Subcommands:")[2],
                             re.MULTILINE):
        path.append(rest.pop(0))
    text = help_of(tuple(path))
    if not text or ("Subcommands:" in text and rest and not rest[0].startswith("-")):
        failures.append(f"{page}: no such command: {command}")
    text += help_of(tuple(path[:1]))  # options of every command
    for option in re.findall(r"^--[a-z-]+", "\n".join(rest), re.MULTILINE):
        if not re.search(rf"(?<![\w-]){option}(?![\w-])", text):
            failures.append(f"{page}: {' '.join(path)} has no {option}: {command}")


def check_commands(page, text):
    blocks = [body for language, body in BLOCK.findall(text) if language in ("", "sh", "console")]
    lines = re.findall(r"^    .*$", text, re.MULTILINE) + "\n".join(blocks).splitlines()
    commands = [command for line in lines
                for command in re.findall(r"(?:^|[|(;]|-- )\s*(?:\$ )?(?:sudo )?((?:pdactl|pdasim) [^|>)]*)", line)]
    inline = re.findall(r"`(?:sudo )?((?:pdactl|pdasim) [^`]*)`", BLOCK.sub("", text))
    for command in commands + inline:
        check_command(page, command)
    return len(commands + inline)


def check_log_lines(page, text, sources):
    """Of each line in a block ```log, whatever is not left out as … has to be in the library's sources."""
    lines = [line for language, body in BLOCK.findall(text) if language == "log" for line in body.splitlines()]
    for line in lines:
        failures.extend(f"{page}: the library does not write: {piece}"
                        for piece in line.split("…") if piece.strip() and piece not in sources)
    return len(lines)


def code_in(*folders):
    return "".join(path.read_text(encoding="utf-8") for folder in folders
                   for pattern in ("*.cpp", "*.h") for path in (SOURCES / folder).rglob(pattern))


def check_tests(page, text):
    for suite, case in re.findall(r"`([A-Z]\w+)\.([A-Z]\w+)`", text):
        if not re.search(rf"\({suite},\s+{case}\)", TESTS):
            failures.append(f"{page}: no such test: {suite}.{case}")


library = code_in("interface", "analysis", "device", "util")
TESTS = code_in("tests")
pages = [path for path in sorted(SOURCES.rglob("*.md")) if "build" not in path.relative_to(SOURCES).parts]
counts = [0, 0]
for each in pages:
    content = each.read_text(encoding="utf-8")
    check_links(each, content)
    check_tests(each, content)
    counts[0] += check_commands(each, content)
    counts[1] += check_log_lines(each, content, library)
index = (SOURCES / "docs/README.md").read_text(encoding="utf-8")
failures.extend(f"docs/README.md does not name {page.name}" for page in pages
                if page.parent == SOURCES / "docs" and f"]({page.name})" not in index and page.name != "README.md")
print(f"{len(pages)} pages, {counts[0]} commands, {counts[1]} lines of the log")
print(*failures, sep="\n")
sys.exit(1 if failures or len(pages) < 8 or 0 in counts else 0)
