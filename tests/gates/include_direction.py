#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Includes point one way: api -> settings -> device, control, imageproc -> formats, common.

A module of imageproc includes no other module, settings their interfaces alone, and the row kernels include only
themselves, <cstddef>, <cstdint> and the compiler's vector headers. Of the library the simulated camera sees the public
header and what driver and clients agree on, client/ the public header and the tables of formats, methods and setting
keys. The tool sees client/, the simulated camera and the public header; client/ sees neither, nor the command-line
library, and its rooms include one another in one direction. The commands read and write no files: they include no
header for it.
Usage: include_direction.py SOURCE_ROOT
"""
import pathlib
import re
import sys
from pathlib import PurePath

ALLOWED = {
    "api": {"api", "settings", "device", "control", "imageproc", "formats", "common"},
    "device": {"device", "common"},
    "control": {"control", "common"},
    "imageproc": {"imageproc", "formats", "common"},
    "formats": {"formats"},
    "settings": {"settings", "control", "imageproc", "common"},
    "common": {"common"},
}
# Headers of imageproc that several modules may share: bands, constant tables, interfaces, the row kernels.
SHARED = re.compile(r"imageproc/(I[A-Z]\w*|Band|ColorSpace)\.h|imageproc/rows/.*")
ROW_SYSTEM_HEADERS = {"cstddef", "cstdint", "arm_neon.h", "immintrin.h"}
# What stands beside the library, and what it may include by path.
BESIDE = {
    "sim": re.compile(r"sim/.*|VekTrgApi\.h|device/DriverAbi\.h"),
    "client": re.compile(r"client/.*|formats/.*|settings/Keys\.h|VekTrgApi\.h"),
    "tools": re.compile(r"tools/.*|client/.*|sim/.*|VekTrgApi\.h|CommandList\.inc"),
}
# System headers that a folder does without.
BARRED = {
    "client": re.compile(r"CLI/.*"),
    "tools/commands": re.compile(r"fstream|filesystem|cstdio|stdio\.h|unistd\.h|sys/.*|linux/.*|png\.h"),
}
# The rooms of client/: each includes itself, what stands in front of it and the files of client/ itself.
ROOMS = ["names", "files", "pictures", "frames", "settings", "camera", "stages"]
INCLUDE = re.compile(r'^\s*#\s*include\s+(["<])([^">]+)[">]')


def module_of(path):
    """Name of the imageproc module that a file belongs to: 'ColorInterpolation_YCbCr.cpp' -> 'ColorInterpolation'."""
    return re.sub(r"^I(?=[A-Z][a-z])", "", path.stem).split("_")[0]


def sources(folder):
    return sorted(p for p in folder.rglob("*") if p.suffix in {".h", ".cpp", ".inl"})


def includes(path):
    """Line number, opening mark and target of each."""
    for number, line in enumerate(path.read_text().splitlines(), 1):
        if match := INCLUDE.match(line):
            yield number, *match.groups()


def room(path):
    """Place of a file's room among those of client/; -1 for a file that stands in none."""
    return ROOMS.index(path.parts[1]) if len(path.parts) > 2 else -1


def violations_beside(root):
    for folder, allowed in BESIDE.items():
        for path in sources(root / folder):
            relative = path.relative_to(root)
            if folder == "client" and len(relative.parts) > 2 and relative.parts[1] not in ROOMS:
                yield f"{relative}: no room of client/"
                continue
            for number, quote, target in includes(path):
                if quote == '"' and not allowed.fullmatch(target):
                    yield f"{relative}:{number}: {folder} includes {target}"
                elif target.startswith("client/") and folder == "client" and room(relative) < room(PurePath(target)):
                    yield f"{relative}:{number}: {relative.parts[1]} includes {target}"
    for folder, barred in BARRED.items():
        for path in sources(root / folder):
            for number, quote, target in includes(path):
                if quote == "<" and barred.fullmatch(target):
                    yield f"{path.relative_to(root)}:{number}: {folder} includes <{target}>"


def violations(root):
    src = root / "src"
    for path in sources(src):
        relative = path.relative_to(src)
        layer = relative.parts[0]
        in_rows = relative.parts[:2] == ("imageproc", "rows")
        for number, quote, target in includes(path):
            where = f"{path.relative_to(root)}:{number}"
            kernel = in_rows and not path.name.startswith("RowDispatch")
            if quote == "<":
                if kernel and target not in ROW_SYSTEM_HEADERS:
                    yield f"{where}: a row kernel includes <{target}>"
                continue
            if target == "VekTrgApi.h":
                if in_rows:
                    yield f"{where}: the row kernels do not know the public header"
                continue
            if target.split("/")[0] not in ALLOWED[layer]:
                yield f"{where}: {layer} includes {target}"
            elif in_rows and not target.startswith("imageproc/rows/"):
                yield f"{where}: the row kernels include {target}"
            elif layer == "settings" and re.match(r"imageproc/(?!I[A-Z])", target):
                yield f"{where}: settings include {target}"
            elif layer == "imageproc" and target.startswith("imageproc/") and not SHARED.fullmatch(target):
                if module_of(pathlib.Path(target)) != module_of(path):
                    yield f"{where}: module {module_of(path)} includes {target}"


def main():
    root = pathlib.Path(sys.argv[1])
    found = [*violations(root), *violations_beside(root)]
    print("\n".join(found) if found else "include direction: ok")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
