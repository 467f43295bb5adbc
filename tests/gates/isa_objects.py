#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""An object file of row kernels defines one global symbol, its table, and no weak one.

A weak symbol, such as an inline function, that was compiled for a wide instruction set could replace the baseline
one at link time and end in an illegal instruction. Checked as built and once more at -O0, where nothing is inlined.

As built with optimisation, no function is called with vectors or gives one back: behind such a call g++ 12 returns
without releasing the upper halves of the vector registers, and code without AVX is slow from then on.

At -O2, where g++ 12 makes no vectors of plain loops, every kernel of a tier's table has vector instructions, in itself
or in what it calls: none falls back to its plain loop unnoticed. PLAIN lists those that are meant to be plain.

Each file of kernels and of the vector layer compiles alone in the first tier with vectors: it includes what it uses.
Usage: isa_objects.py BUILD_DIR
"""
import json
import pathlib
import re
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


# Kernels without vectors: one row of a frame, calibration, a view of the map; tables larger than SSE4.2's registers.
PLAIN = {
    "sse42": ("bilinearSimpleOpen<", "shadingShow<", "addToMean<", "lookUp<unsigned char>",
              "toneSamples<unsigned char,", "tonePixels<unsigned char,"),
    "avx2": ("bilinearSimpleOpen<", "shadingShow<", "addToMean<", "toneSamples<unsigned char, unsigned short>",
             "tonePixels<unsigned char, unsigned short>"),
    "avx512": ("bilinearSimpleOpen<", "shadingShow<", "addToMean<"),
}
VECTOR_INSTRUCTION = re.compile(r"\tv?p[a-z0-9]+ .*%[xyz]mm")
CALL = re.compile(r"\t(?:call|jmp) +[0-9a-f]+ <(.*?)(?:\+0x[0-9a-f]+)?>$")


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def functions_of(path):
    """The instructions of every function, by name."""
    functions = {}
    for line in run("objdump", "-d", "-C", "--no-show-raw-insn", path).splitlines():
        if head := re.match(r"[0-9a-f]+ <(.*)>:$", line):
            body = functions.setdefault(head.group(1), [])
        elif line.startswith(" "):
            body.append(line)
    return functions


def kernels_of(path):
    """Names of the functions that the table points to."""
    names = {}
    for line in run("nm", "-C", path).splitlines():
        address, kind, name = line.split(" ", 2) if line[0] != " " else ("", "", "")
        if kind in ("t", "T"):
            names[int(address, 16)] = name
    section = ""
    for line in run("objdump", "-r", path).splitlines():
        if line.startswith("RELOCATION"):
            section = line
        elif ".data.rel.ro" in section and (entry := re.search(r" \.text(?:\+0x([0-9a-f]+))?$", line)):
            yield names[int(entry.group(1) or "0", 16)]


def reachable(name, functions, seen):
    """name and the functions of the object that it calls."""
    if name in functions and name not in seen:
        seen.add(name)
        for line in functions[name]:
            if called := CALL.search(line):
                reachable(called.group(1), functions, seen)
    return seen


def check_vectors(path, words, isa):
    """No call with vectors; no kernel that is plain without being meant to."""
    if isa not in PLAIN or any(word.startswith("-fsanitize") for word in words):
        return True
    optimised = [word for word in words if word in ("-O2", "-O3")]
    if not optimised:
        return True
    functions = functions_of(path)
    calls = {call.group(1) for body in functions.values() for line in body if (call := CALL.search(line))}
    bad = sorted(call for call in calls if "SVector<" in call or "__vector" in call)
    for call in bad:
        print(f"{isa}: call with vectors: {call}")
    kernels = set(kernels_of(path))
    if len(kernels) < 100:
        bad.append(f"{isa}: only {len(kernels)} kernels found")
        print(bad[-1])
    for kernel in sorted(kernels) if optimised[-1] == "-O2" else ():
        bodies = (functions[name] for name in reachable(kernel, functions, set()))
        vectors = any(VECTOR_INSTRUCTION.search(line) for body in bodies for line in body)
        if not vectors and not any(plain in kernel for plain in PLAIN[isa]):
            bad.append(kernel)
            print(f"{isa}: plain: {kernel}")
    return not bad


# Kernels and tables of kernels, and what stands for their parameters.
KERNEL = re.compile(r"^(?:template <([^<>]*)>\n)?(?:void|T|constexpr S\w+Rows(?:<T>)?) (\w+)\(", re.MULTILINE)
ARGUMENTS = {"class T": "std::uint8_t", "class In": "std::uint8_t", "class Out": "std::uint8_t",
             "BayerRow Row": "BayerRow::RG", "BayerRow Upper": "BayerRow::RG",
             "unsigned Channels": "3", "unsigned GreenParity": "0", "unsigned Bits": "10", "std::size_t Bytes": "2",
             "YCrCbSpace Space": "YCrCbSpace::Full601", "YCrCb Packing": "YCrCb::P422",
             "ColorOrder Order": "ColorOrder::BlueFirst", "FourthSample Fourth": "FourthSample::None"}


def uses_of(text):
    """Statements that use each kernel: names in templates are looked for then."""
    for i, kernel in enumerate(KERNEL.finditer(text)):
        arguments = ", ".join(ARGUMENTS[each] for each in kernel[1].split(", ")) if kernel[1] else ""
        yield f"auto* const use{i} = &{kernel[2]}{f'<{arguments}>' if arguments else ''};\n"


def check_alone(tier, words, directory):
    """Each .inl file by itself, as the tier's source would include it."""
    source = pathlib.Path(tier)
    rows = source.parent.parent
    defines = re.sub(r"#include .*", "", source.read_text())
    # The tier's own part of the vector layer comes by way of Vector.inl alone.
    files = sorted(p for p in rows.glob("*/*.inl") if p.name not in ("Rows.inl", "Neon.inl", "X86.inl"))
    words = [word for word in words if word not in ("-c", tier)]
    del words[words.index("-o"):words.index("-o") + 2]
    with tempfile.TemporaryDirectory() as scratch:
        # The compiler's header is most of what each of them takes: compiled once.
        header = pathlib.Path(scratch) / "vectors.h"
        header.write_text("#include <cstdint>\n#include <%s>\n" % ("arm_neon.h" if "neon" in tier else "immintrin.h"))
        subprocess.run([*words, "-x", "c++-header", header, "-o", f"{header}.gch"], check=True, cwd=directory)
        good = len(files) >= 10
        for path in files:
            include = (f'{defines}\n#include "imageproc/rows/{path.parent.name}/{path.name}"\n'
                       f"namespace vek::rows::VEK_ISA {{\n{''.join(uses_of(path.read_text()))}}}\n")
            result = subprocess.run([*words, "-include", header, "-fsyntax-only", "-x", "c++", "-"], cwd=directory,
                                    input=include, capture_output=True, text=True)
            if result.returncode != 0:
                print(f"{path.name} alone: {result.stderr}")
                good = False
    return good


def main():
    build = pathlib.Path(sys.argv[1])
    commands = json.loads((build / "compile_commands.json").read_text())
    rows = [c for c in commands if pathlib.Path(c["file"]).name.startswith("Rows_")]
    if len(rows) < 2:
        print(f"only {len(rows)} row kernel objects in {build}")
        return 1
    good = True
    alone = next(c for c in rows if not c["file"].endswith("Rows_scalar.cpp"))
    good &= check_alone(alone["file"], shlex.split(alone["command"]), alone["directory"])
    for entry in rows:
        isa = pathlib.Path(entry["file"]).stem.removeprefix("Rows_")
        words = shlex.split(entry["command"])
        output = words[words.index("-o") + 1]
        built = pathlib.Path(entry["directory"]) / output
        good &= check(built, isa, f"{isa} as built")
        good &= check_vectors(built, words, isa)
        with tempfile.TemporaryDirectory() as scratch:
            plain = pathlib.Path(scratch) / "rows.o"
            words[words.index("-o") + 1] = str(plain)
            subprocess.run([*words, "-O0"], check=True, cwd=entry["directory"])
            good &= check(plain, isa, f"{isa} at -O0")
    print(f"{len(rows)} objects checked")
    return 0 if good else 1


if __name__ == "__main__":
    sys.exit(main())
