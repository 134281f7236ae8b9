"""Has the simulation meet every call with every fault, and compares what comes of it with docs/fault-matrix.md.

faults.py SIMULATION PAGE [--update]: with --update the tables of the page are written anew.
"""
import pathlib
import string
import subprocess
import sys

import page

BEGIN, END = "<!-- written by a test: see CONTRIBUTING.md -->\n", "<!-- end -->\n"
HEADINGS = {"json": "Transactions", "direct": "Lock commands and login answers, called directly",
            "handler": "Messages that the terminal starts"}


def table(heading, outcomes, faults):
    """Subjects of which all outcomes are equal share a column, named by a letter."""
    columns = {}
    for subject in sorted(outcomes):
        columns.setdefault(tuple(outcomes[subject]), []).append(subject)
    letters = string.ascii_uppercase[:len(columns)]
    names = [f"- {letter}: {', '.join(f'`{each}`' for each in subjects)}"
             for letter, subjects in zip(letters, columns.values())]
    rows = [f"| {fault} | {' | '.join(cells)} |" for fault, *cells in zip(faults, *columns) if any(cells)]
    head = [f"| | {' | '.join(letters)} |", "|---" * (len(letters) + 1) + "|"]
    return "\n".join([f"\n## {heading}\n", *names, "", *head, *rows, ""])


matrix = pathlib.Path(sys.argv[2])
result = subprocess.run([sys.argv[1], "--matrix"], check=False, stdout=subprocess.PIPE, encoding="utf-8")
if result.returncode != 0:
    sys.exit(f"the simulation ended with {result.returncode}")
kinds, titles = {}, {}
for kind, subject, fault, outcome in (line.split("\t") for line in result.stdout.splitlines()):
    kinds.setdefault(kind, {}).setdefault(subject, []).append(outcome)
    titles[fault] = True
front, _, rest = matrix.read_text(encoding="utf-8").partition(BEGIN)
tables = "".join(table(heading, kinds[kind], titles) for kind, heading in HEADINGS.items())
page.settle(matrix, front + BEGIN + tables + END + rest.partition(END)[2])
