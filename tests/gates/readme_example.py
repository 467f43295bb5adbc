#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""A text shows the example program that the build compiles, word for word. Usage: readme_example.py TEXT EXAMPLE"""
import pathlib
import sys

readme, example = (pathlib.Path(name).read_text() for name in sys.argv[1:])
body = example.split("\n", 1)[1]  # the licence line stays out of README
if body.strip() not in readme:
    print(f"{sys.argv[1]} does not hold the text of {sys.argv[2]}")
    sys.exit(1)
print("README's example is the compiled one")
