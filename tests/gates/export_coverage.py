#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Every function and table of the public headers is used by a test. Prints which files use it, as a table; names in
comments, in string literals and in type checks do not count.

Usage: export_coverage.py
"""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
HEADERS = [ROOT / "include" / name for name in ("VekTrgApi.h", "VekTrgChain.h")]
TESTS = ROOT / "tests"
SOURCES = {".c", ".cpp", ".h"}

# Comments and literals of C and C++, whichever begins first.
NO_CODE = re.compile(r'//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])*\'', re.S)
TYPE_CHECK = re.compile(r"\bdecltype\s*\(\s*&?\s*\w+\s*\)")


def code_of(path):
    text = re.sub(r"(?<=[0-9a-fA-F])'(?=[0-9a-fA-F])", "", path.read_text())  # digit separators
    return TYPE_CHECK.sub(" ", NO_CODE.sub(" ", text))


def declared_exports():
    """Names and kinds, in the header's order."""
    text = "".join(re.sub(r"/\*.*?\*/", "", header.read_text(), flags=re.S) for header in HEADERS)
    found = re.findall(r"^VEK_API\s[^;(\[]*?(\w+)\s*([(\[])", text, flags=re.M)
    return [(name, "function" if bracket == "(" else "table") for name, bracket in found]


def users(names):
    """Sorted test files by export."""
    used = {name: [] for name in names}
    for path in sorted(p for p in TESTS.rglob("*") if p.suffix in SOURCES):
        words = set(re.findall(r"\w+", code_of(path)))
        for name in names:
            if name in words:
                used[name].append(path.relative_to(TESTS).as_posix())
    return used


def main():
    exports = declared_exports()
    if not exports:
        print(f"found no exports in {HEADER}", file=sys.stderr)
        return 1
    used = users([name for name, _ in exports])
    print("| Export | Kind | Used by |\n| --- | --- | --- |")
    good = True
    for name, kind in exports:
        print(f"| `{name}` | {kind} | {', '.join(f'`{user}`' for user in used[name]) or 'none'} |")
        if not used[name]:
            print(f"{name}: used by no test", file=sys.stderr)
            good = False
    return 0 if good else 1


if __name__ == "__main__":
    sys.exit(main())
