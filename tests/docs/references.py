"""Checks what documents refer to: links and anchors, commands and options of our programs, lines of the library's log,
tests; and that docs/README.md names every page.

references.py SOURCES PDACTL PDASIM
"""
import functools
import pathlib
import re
import subprocess
import sys

SOURCES = pathlib.Path(sys.argv[1])
PROGRAMS = {"pdactl": sys.argv[2], "pdasim": sys.argv[3]}
BLOCK = re.compile(r"^```(\w*)\n(.*?)^```$", re.MULTILINE | re.DOTALL)
COMMAND = r"(?:\w+=\S+ )*(?:sudo )?((?:pdactl|pdasim) "


def code_in(*folders):
    return "".join(path.read_text(encoding="utf-8") for folder in folders
                   for pattern in ("*.cpp", "*.h") for path in (SOURCES / folder).rglob(pattern))


@functools.lru_cache(maxsize=None)
def help_of(words):
    result = subprocess.run([PROGRAMS[words[0]], *words[1:], "--help"], capture_output=True, text=True, check=False)
    return result.stdout if result.returncode == 0 else ""


@functools.lru_cache(maxsize=None)
def anchors(path):
    """As the usual viewers make them of headings."""
    headings = re.findall(r"^#+ (.*)$", BLOCK.sub("", path.read_text(encoding="utf-8")), re.MULTILINE)
    return {re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-") for heading in headings}


def wrong_links(page, text):
    for link in re.findall(r"\]\(([^)\s]+)\)", text):
        target, _, anchor = link.partition("#")
        path = page.parent / target if target else page
        if not re.match(r"\w+:", link) and not (path.exists() and (not anchor or anchor in anchors(path))):
            yield f"{link} leads nowhere"


def wrong_commands(text):
    blocks = "".join(body for language, body in BLOCK.findall(text) if language in ("", "sh"))
    lines = re.findall(r"^    .*$", text, re.MULTILINE) + blocks.splitlines()
    commands = [command for line in lines
                for command in re.findall(rf"(?:^|[|(;]|-- )\s*(?:\$ )?{COMMAND}[^|>)#]*)", line)]
    for command in commands + re.findall(rf"`{COMMAND}[^`]*)`", BLOCK.sub("", text)):
        words = command.partition(" -- ")[0].split()
        path = words[:1]
        while words[len(path):] and re.search(rf"^  {re.escape(words[len(path)])}( |$)",
                                              help_of(tuple(path)).partition("Subcommands:")[2], re.MULTILINE):
            path.append(words[len(path)])
        shown = help_of(tuple(path))
        rest = words[len(path):]
        if not shown or ("Subcommands:" in shown and rest and not rest[0].startswith("-")):
            yield f"no such command: {command}"
        for option in re.findall(r"^--[a-z-]+", "\n".join(rest), re.MULTILINE):
            if not re.search(rf"(?<![\w-]){option}(?![\w-])", shown + help_of(tuple(path[:1]))):
                yield f"no such option: {option}: {command}"


def wrong_log_lines(text):
    """Of each line in a block ```log, whatever is not left out as … has to be in the library's sources."""
    lines = "".join(body for language, body in BLOCK.findall(text) if language == "log")
    return [f"the library does not write: {piece}" for piece in re.split(r"…|\n", lines)
            if piece.strip() and piece not in LIBRARY]


def wrong_tests(text):
    return [f"no such test: {suite}.{case}" for suite, case in re.findall(r"`([A-Z]\w+)\.([A-Z]\w+)`", text)
            if not re.search(rf"\({suite},\s+{case}\)", TESTS)]


LIBRARY = code_in("interface", "analysis", "device", "util")
TESTS = code_in("tests")
INDEX = (SOURCES / "docs/README.md").read_text(encoding="utf-8")
pages = [page for page in sorted(SOURCES.rglob("*.md")) if "build" not in page.relative_to(SOURCES).parts]
failures = [f"docs/README.md does not name {page.name}" for page in (SOURCES / "docs").glob("[!R]*.md")
            if f"]({page.name})" not in INDEX]
for each in pages:
    content = each.read_text(encoding="utf-8")
    failures += [f"{each}: {failure}" for failure in (*wrong_links(each, content), *wrong_commands(content),
                                                      *wrong_log_lines(content), *wrong_tests(content))]
print(f"{len(pages)} pages", *failures, sep="\n")
sys.exit(1 if failures or len(pages) < 8 else 0)
