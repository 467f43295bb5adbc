#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""docs/profile.schema.json and the reader of camera profiles agree: the example has every member of the schema, the
page tells of each, both take the example, and both refuse it with values that are wrong. Without python3-jsonschema
the schema's own part is left out, and the test is skipped. Usage: profile_schema.py SOURCE_DIR VEKCAM"""
import json
import pathlib
import subprocess
import sys

SKIPPED = 77

# Values that no member takes, and others by member.
NEVER = [True, None, [[]], {"": 1}, [None], -1e12, ""]
WRONG = {
    "width": [0, 65536, 1.5, "640"],
    "height": [0, 65536],
    "format": [7],
    "colorArray": ["ycrcb422", "rgb"],
    "bits": [0, 17],
    "BlackLevelRepeatDim": [[2], [0, 1], [1, 65], [1, 2, 3]],
    "BlackLevel": [[], [-1], [65536]],
    "WhiteLevel": [0, 65536, [1]],
    "LinearizationTable": [[], [1.5], [65536], [-1]],
    "CalibrationIlluminant1": [5, 256],
    "CalibrationIlluminant2": [-1, 25],
    "ColorMatrix1": [[1] * 8, [1] * 10, [1001] + [0] * 8],
    "ForwardMatrix1": [[1] * 8],
    "AsShotNeutral": [[1, 0, 1], [1, 1], [1, 1, 10001]],
    "NoiseProfile": [[1], [1, 1, 1], [1, 1, 1, 1]],
    "whiteBalances": [{"D65": [1, 1]}, {"": [1, 1, 1]}, [1, 1, 1]],
    "toneCurve": ["log", 2.2, {}, {"gamma": 0}, {"table": [1]}, {"table": [0, 2]}, {"gamma": 1, "table": [0, 1]}],
    "controlDelay": [{"gain": -1}, {"gain": 1001}, 2],
}


def takenByReader(program, profile):
    return subprocess.run([program, "profile", "show", "-"], input=json.dumps(profile), text=True,
                          capture_output=True).returncode == 0


def cases(example):
    """Member, and the example with a wrong value for it."""
    for name in example:
        for value in NEVER + WRONG.get(name, []):
            yield name, {**example, name: value}


def main():
    docs, program = pathlib.Path(sys.argv[1]) / "docs", sys.argv[2]
    schema = json.loads((docs / "profile.schema.json").read_text())
    example = json.loads((docs / "profile.example.json").read_text())
    page = (docs / "profile.md").read_text()
    problems = [f"{name}: in the schema, not in the example" for name in set(schema["properties"]) - set(example)]
    problems += [f"{name}: in the example, not in the schema" for name in set(example) - set(schema["properties"])]
    problems += [f"{name}: not in docs/profile.md" for name in schema["properties"] if f"| `{name}`" not in page]
    if not takenByReader(program, example):
        problems.append("the reader refuses the example")
    problems += [f"{name}: the reader takes {json.dumps(bad[name])}"
                 for name, bad in cases(example) if takenByReader(program, bad)]
    try:
        import jsonschema
    except ImportError:
        jsonschema = None
    if jsonschema:
        jsonschema.Draft202012Validator.check_schema(schema)
        validator = jsonschema.Draft202012Validator(schema)
        problems += [f"the schema refuses the example: {error.message}" for error in validator.iter_errors(example)]
        problems += [f"{name}: the schema takes {json.dumps(bad[name])}"
                     for name, bad in cases(example) if validator.is_valid(bad)]
        if not validator.is_valid({**example, "lens": 1}):
            problems.append("the schema refuses a member that nobody knows")
    print("\n".join(problems) or "the schema of profiles: ok")
    return 1 if problems else 0 if jsonschema else SKIPPED


if __name__ == "__main__":
    sys.exit(main())
