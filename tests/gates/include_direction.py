#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Includes point one way: api -> settings -> device, control, imageproc -> formats, common.

A module of imageproc includes no other module, settings their interfaces alone, and the row kernels include only themselves, <cstddef>, <cstdint>
and the compiler's vector headers. Of the library the simulated camera sees the public header and what driver and
clients agree on, the tool the public header and the tables of formats and of setting keys.
Usage: include_direction.py SOURCE_ROOT
"""
import pathlib
import re
import sys

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
    "tools": re.compile(r"[^/]*|sim/.*|formats/.*|settings/.*|VekTrgApi\.h"),
}
INCLUDE = re.compile(r'^\s*#\s*include\s+(["<])([^">]+)[">]')


def module_of(path):
    """Name of the imageproc module that a file belongs to: 'ColorInterpolation_YCbCr.cpp' -> 'ColorInterpolation'."""
    return re.sub(r"^I(?=[A-Z][a-z])", "", path.stem).split("_")[0]


def sources(folder):
    return sorted(p for p in folder.rglob("*") if p.suffix in {".h", ".cpp", ".inl"})


def violations_beside(root):
    for folder, allowed in BESIDE.items():
        for path in sources(root / folder):
            for number, line in enumerate(path.read_text().splitlines(), 1):
                match = INCLUDE.match(line)
                if match and match.group(1) == '"' and not allowed.fullmatch(match.group(2)):
                    yield f"{path.relative_to(root)}:{number}: {folder} includes {match.group(2)}"


def violations(root):
    src = root / "src"
    for path in sources(src):
        relative = path.relative_to(src)
        layer = relative.parts[0]
        in_rows = relative.parts[:2] == ("imageproc", "rows")
        for number, line in enumerate(path.read_text().splitlines(), 1):
            match = INCLUDE.match(line)
            if not match:
                continue
            quote, target = match.groups()
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
