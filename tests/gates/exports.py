#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""The shared object exports what the public header declares, and nothing else; it needs no other libraries.

Usage: exports.py LIBRARY HEADER VERSION_SCRIPT
"""
import pathlib
import re
import subprocess
import sys

RUNTIME = re.compile(r"lib(stdc\+\+|m|gcc_s|c)\.so\.\d+|ld-linux-[\w-]+\.so\.\d+")


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def main():
    library, header, script = sys.argv[1:]
    exported = {line.split()[-1] for line in run("nm", "-D", "--defined-only", library).splitlines()}
    text = re.sub(r"/\*.*?\*/", "", pathlib.Path(header).read_text(), flags=re.S)
    declared = set(re.findall(r"^VEK_API\s[^;(\[]*?(\w+)\s*[(\[]", text, flags=re.M))
    scripted = set(re.findall(r"^\s+(\w+);$", pathlib.Path(script).read_text(), flags=re.M))
    good = True
    for name, others in (("header", declared), ("version script", scripted)):
        if not others:
            print(f"found no symbols in the {name}")
            good = False
        for symbol in sorted(exported - others):
            print(f"{symbol}: exported, not in the {name}")
            good = False
        for symbol in sorted(others - exported):
            print(f"{symbol}: in the {name}, not exported")
            good = False
    dynamic = run("readelf", "-d", library)
    for needed in re.findall(r"NEEDED.*\[(.*)\]", dynamic):
        if not RUNTIME.fullmatch(needed):
            print(f"{needed}: needed besides the C++ runtime, libm and libc")
            good = False
    if "SONAME" not in dynamic or "[libVekTrgApi.so.2]" not in dynamic:
        print("the SONAME is not libVekTrgApi.so.2")
        good = False
    print(f"{len(exported)} exported symbols")
    return 0 if good else 1


if __name__ == "__main__":
    sys.exit(main())
