#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""The shared object exports the names of a list, letter for letter, with their versions; those are what the public
headers declare: the base one's without a version, every other one's with that of its own node. It needs no other
libraries than the runtime's.

Usage: exports.py LIBRARY LIST BASE_HEADER [VERSION=HEADER...]
"""
import pathlib
import re
import subprocess
import sys

RUNTIME = re.compile(r"lib(stdc\+\+|m|gcc_s|c)\.so\.\d+|ld-linux-[\w-]+\.so\.\d+")


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def declared(header):
    text = re.sub(r"/\*.*?\*/", "", pathlib.Path(header).read_text(), flags=re.S)
    return re.findall(r"^VEK_API\s[^;(\[]*?(\w+)\s*[(\[]", text, flags=re.M)


def differ(name, found, wanted):
    """Says what of two sets is in one of them alone."""
    for symbol in sorted(found - wanted):
        print(f"{symbol}: exported, not in the {name}")
    for symbol in sorted(wanted - found):
        print(f"{symbol}: in the {name}, not exported")
    return found != wanted


def main():
    library, listed, base, *others = sys.argv[1:]
    exported = {line.split()[-1].replace("@@", "@") for line in run("nm", "-D", "--defined-only", library).splitlines()}
    in_list = set(pathlib.Path(listed).read_text().split())
    in_headers = set(declared(base))
    for version, header in (other.split("=") for other in others):
        in_headers |= {f"{name}@{version}" for name in declared(header)} | {version}
    bad = differ("list", exported, in_list)
    bad = differ("headers", exported, in_headers) or bad
    dynamic = run("readelf", "-d", library)
    for needed in re.findall(r"NEEDED.*\[(.*)\]", dynamic):
        if not RUNTIME.fullmatch(needed):
            print(f"{needed}: needed besides the C++ runtime, libm and libc")
            bad = True
    if "SONAME" not in dynamic or "[libVekTrgApi.so.2]" not in dynamic:
        print("the SONAME is not libVekTrgApi.so.2")
        bad = True
    print(f"{len(exported)} exported symbols")
    return 1 if bad else 0


if __name__ == "__main__":
    sys.exit(main())
