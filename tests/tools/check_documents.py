"""Holds the documents that the tests have seen against the schemas of pdactl: check_documents.py PDACTL DOCUMENTS

Each line of a file in the folder DOCUMENTS has the schema's name, "*" for any document, "!" in front of it when the
document must not fit; the test that saw it; the document.
"""
import json
import os
import pathlib
import subprocess
import sys

try:
    import jsonschema
except ImportError:
    sys.exit(77)
pdactl, folder = sys.argv[1:]
if not os.path.exists(pdactl):
    sys.exit(77)  # of the tests only the library's have been built

output = subprocess.run([pdactl, "schema"], check=True, capture_output=True).stdout
schemas = json.loads(output)["$defs"]
for schema in schemas.values():
    jsonschema.Draft202012Validator.check_schema(schema)
validators = {name: jsonschema.Draft202012Validator(schema) for name, schema in schemas.items()}
printed = [name for name in schemas if not name.startswith(("request-", "response-", "serve-request"))]
checked = failures = 0


def fits(text, names):
    try:
        document = json.loads(text)
    except ValueError:
        return False
    return any(validators[name].is_valid(document) for name in names)


for path in sorted(pathlib.Path(folder).iterdir()):
    for line in path.read_text(encoding="utf-8").splitlines():
        name, test, document = line.split("\t", 2)
        names = printed if name == "*" else [name.lstrip("!")]
        if fits(document, names) == name.startswith("!"):
            print(f"{test}: {'fits, but should not' if name[0] == '!' else 'does not fit'} {name}: {document[:2000]}")
            failures += 1
        checked += 1
print(f"{checked} documents, {failures} of them wrong")
sys.exit(1 if failures else 0)
