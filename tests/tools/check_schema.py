#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Checks JSON documents against the definitions of a schema: check_schema.py SCHEMA

Reads lines [DEFINITION, DOCUMENT], the document as text, and answers each with a line: what is wrong, as a JSON text,
empty when nothing is. One process checks many documents, because it takes long to start.
"""
import json
import sys

import jsonschema


def faults(schema, definition, text):
    if definition not in schema["$defs"]:
        return f"the schema has no definition of '{definition}'"
    try:
        document = json.loads(text)
    except json.JSONDecodeError as error:
        return f"no JSON: {error}"
    validator = jsonschema.Draft202012Validator({**schema, "$ref": f"#/$defs/{definition}"})
    return "\n".join(f"{error.json_path}: {error.message}" for error in validator.iter_errors(document))


def main(schema_path):
    with open(schema_path, encoding="utf-8") as file:
        schema = json.load(file)
    jsonschema.Draft202012Validator.check_schema(schema)
    for line in sys.stdin:
        print(json.dumps(faults(schema, *json.loads(line))), flush=True)


if __name__ == "__main__":
    main(*sys.argv[1:])
