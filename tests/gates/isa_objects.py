#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""An object file of row kernels defines one global symbol, its table, and no weak one.

A weak symbol, such as an inline function, that was compiled for a wide instruction set could replace the baseline
one at link time and end in an illegal instruction. Checked as built and once more at -O0, where nothing is inlined.

As built with optimisation, no function is called with vectors or gives one back: behind such a call g++ 12 returns
without releasing the upper halves of the vector registers, and code without AVX is slow from then on.
Usage: isa_objects.py BUILD_DIR
"""
import json
import pathlib
import shlex
import subprocess
import sys
import tempfile


def defined_symbols(path):
    """(type, name) of every symbol that the object file defines and exports."""
    out = subprocess.run(["nm", "--defined-only", "-C", path], check=True, capture_output=True, text=True).stdout
    for line in out.splitlines():
        _, kind, name = line.split(" ", 2)
        if kind.isupper() or kind in "vwu":
            yield kind, name


def check(path, isa, label):
    symbols = list(defined_symbols(path))
    expected = f"vek::rows::{isa}::kTable"
    if len(symbols) == 1 and symbols[0][1] == expected and symbols[0][0] in "DRB":
        return True
    print(f"{label}: expected {expected} alone, found {symbols}")
    return False


def vector_calls(path):
    """Functions that take or return vectors and are called as such."""
    out = subprocess.run(["objdump", "-d", "-C", "--no-show-raw-insn", path], check=True, capture_output=True, text=True)
    calls = (line.split("<", 1)[1].rstrip(">") for line in out.stdout.splitlines() if "\tcall " in line and "<" in line)
    return sorted({call for call in calls if "SVec<" in call or "__vector" in call or "SVecOf<" in call})


def check_calls(path, words, isa):
    if not any(flag in words for flag in ("-O2", "-O3")) or any(word.startswith("-fsanitize") for word in words):
        return True
    calls = vector_calls(path)
    for call in calls:
        print(f"{isa}: call with vectors: {call}")
    return not calls


def main():
    build = pathlib.Path(sys.argv[1])
    commands = json.loads((build / "compile_commands.json").read_text())
    rows = [c for c in commands if pathlib.Path(c["file"]).name.startswith("Rows_")]
    if len(rows) < 2:
        print(f"only {len(rows)} row kernel objects in {build}")
        return 1
    good = True
    for entry in rows:
        isa = pathlib.Path(entry["file"]).stem.removeprefix("Rows_")
        words = shlex.split(entry["command"])
        output = words[words.index("-o") + 1]
        built = pathlib.Path(entry["directory"]) / output
        good &= check(built, isa, f"{isa} as built")
        good &= isa not in ("avx2", "avx512") or check_calls(built, words, isa)
        with tempfile.TemporaryDirectory() as scratch:
            plain = pathlib.Path(scratch) / "rows.o"
            words[words.index("-o") + 1] = str(plain)
            subprocess.run([*words, "-O0"], check=True, cwd=entry["directory"])
            good &= check(plain, isa, f"{isa} at -O0")
    print(f"{len(rows)} objects checked")
    return 0 if good else 1


if __name__ == "__main__":
    sys.exit(main())
