#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""The example in a header's comment is the one that a test compiles and runs, between two marks.

Usage: header_example.py HEADER SOURCE
"""
import pathlib
import re
import sys

header, source = (pathlib.Path(name).read_text() for name in sys.argv[1:])
shown = re.findall(r"^ \*     ( *\S.*)$", header.split("*/")[1], flags=re.M)
compiled = source.split("/* begin */\n")[1].split("    /* end */")[0].splitlines()
compiled = [re.sub(r"^    ", "", line) for line in compiled if line.strip()]
if shown != compiled:
    for line in sorted(set(shown) ^ set(compiled)):
        print(f"in one of the two alone: {line}")
    print("the header's example is not the compiled one")
    sys.exit(1)
print(f"{len(shown)} lines, the same")
