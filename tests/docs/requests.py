"""Compares the table of requests in docs/host-guide.md with pdactl's schemas.

requests.py PDACTL PAGE [--update]: with --update the table is written anew.
"""

import json
import pathlib
import re
import subprocess
import sys

import page

HEAD = "| transCode | What it does | Request members | Response members |\n|---|---|---|---|\n"
PARTIES = [f"p{party}{name}" for party in "ABC" for name in ("Login", "Name", "FigData", "Rnd", "Pwd", "MacChkVal")]


def cell(schema):
    texts = []
    for name in schema["required"][1:]:  # without transCode
        value = schema["properties"][name]
        note = " (int)" if value["type"] == "integer" else ""
        note += " (not sent)" if value.get("description", "").startswith("not sent") else ""
        texts.append(f"`{name}`{note}")
    parties = ", ".join(f"`{name}`" for name in PARTIES)
    return ", ".join(texts).replace(parties, "the parties") or "none"


output = subprocess.run([sys.argv[1], "schema"], check=True, capture_output=True).stdout
schemas = json.loads(output)["$defs"]
codes = [name.split("-")[1] for name in schemas if name.startswith("request-")]
table = HEAD + "".join(
    f"| `{code}` | {schemas['request-' + code]['title']} | {cell(schemas['request-' + code])}"
    f" | {cell(schemas['response-' + code])} |\n" for code in codes)
guide = pathlib.Path(sys.argv[2])
found, count = re.subn(re.escape(HEAD) + r"(\|.*\n)*", lambda _: table, guide.read_text(encoding="utf-8"))
if count != 1:
    sys.exit(f"no table of requests in {guide}")
page.settle(guide, found)
