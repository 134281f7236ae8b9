"""Checks scenarios against their schema with an independent validator.

check_scenarios.py SCHEMA BAD_SCENARIOS GOOD...: every good one must be valid, every bad one must not, and together the
bad ones must break every rule of the schema but the types of its members: a good scenario has them all.
"""
import json
import sys

try:
    import jsonschema
except ImportError:
    sys.exit(77)

RESTRICTING = {"enum", "required", "minProperties", "additionalProperties", "dependentRequired", "oneOf",
               "minItems", "minimum", "maximum", "minLength", "maxLength", "pattern"}
failures = 0


def fail(message):
    global failures
    print(message)
    failures += 1


def rules(schema, place):
    """The keywords that restrict something, by schema and name."""
    found = {(id(schema), name): f"{place}/{name}" for name in RESTRICTING & schema.keys()}
    for group in ("properties", "$defs"):
        for name, each in schema.get(group, {}).items():
            found |= rules(each, f"{place}/{group}/{name}")
    return found | (rules(schema["items"], f"{place}/items") if "items" in schema else {})


schema_path, bad_path, *good_paths = sys.argv[1:]
with open(schema_path, encoding="utf-8") as file:
    schema = json.load(file)
jsonschema.Draft202012Validator.check_schema(schema)
validator = jsonschema.Draft202012Validator(schema)
unbroken = rules(schema, "")

for path in good_paths:
    with open(path, encoding="utf-8") as file:
        for error in validator.iter_errors(json.load(file)):
            fail(f"{path}: {error.message}")

with open(bad_path, encoding="utf-8") as file:
    for line in file:
        text = line.split("\t")[0]
        errors = list(validator.iter_errors(json.loads(text)))
        if not errors:
            fail(f"valid, though it should not be: {text}")
        for error in errors:
            unbroken.pop((id(error.schema), error.validator), None)

for place in unbroken.values():
    fail(f"no bad scenario breaks {place}")
if len(good_paths) < 2:
    fail("no scenarios")
sys.exit(1 if failures else 0)
