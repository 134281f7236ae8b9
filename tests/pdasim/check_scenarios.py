"""Holds scenarios against their schema with an independent validator.

check_scenarios.py SCHEMA BAD_SCENARIOS GOOD...: every good one must be valid, every bad one must not.
"""
import json
import sys

try:
    import jsonschema
except ImportError:
    sys.exit(77)

schema_path, bad_path, *good_paths = sys.argv[1:]
with open(schema_path, encoding="utf-8") as file:
    schema = json.load(file)
jsonschema.Draft202012Validator.check_schema(schema)
validator = jsonschema.Draft202012Validator(schema)
failures = 0

for path in good_paths:
    with open(path, encoding="utf-8") as file:
        for error in validator.iter_errors(json.load(file)):
            print(f"{path}: {error.message}")
            failures += 1

with open(bad_path, encoding="utf-8") as file:
    for line in file:
        text = line.split("\t")[0]
        if validator.is_valid(json.loads(text)):
            print(f"valid, though it should not be: {text}")
            failures += 1

if len(good_paths) < 2:
    print("no scenarios")
    failures += 1
sys.exit(1 if failures else 0)
