#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Includes point one way: the tables below say who may include what, CONTRIBUTING.md says it in words.

ALLOWED has the folders of the library; besides, a module of imageproc includes no other one, settings the modules'
interfaces alone, and the row kernels only themselves, <cstddef>, <cstdint> and the compiler's vector headers. BESIDE
has what stands beside the library, BARRED system headers that a folder does without, and ROOMS the order of the rooms
of client/ and tools/.
Usage: include_direction.py SOURCE_ROOT
"""
import os
import pathlib
import re
import sys
from pathlib import PurePath

ALLOWED = {
    "api": {"api", "settings", "chain", "device", "control", "imageproc", "formats", "common"},
    "chain": {"chain", "imageproc", "formats", "common"},
    "device": {"device"},
    "control": {"control", "common"},
    "imageproc": {"imageproc", "formats", "common"},
    "formats": {"formats"},
    "settings": {"settings", "control", "imageproc", "common"},
    "common": {"common"},
}
# Headers of imageproc that several modules may share: what they need of the camera, bands, Bayer rows, constant
# tables, segments of curves, the row kernels.
SHARED = re.compile(r"imageproc/(IRegionInfo|IDeliveredFrame|Band|BayerRows|ColorSpace|CurveSegments)\.h|imageproc/rows/.*")
ROW_SYSTEM_HEADERS = {"cstddef", "cstdint", "arm_neon.h", "immintrin.h"}
PUBLIC = r"include/VekTrg(Api|Chain)\.h"
LIBRARY_TEST = rf"tests/({'|'.join(ALLOWED)}|support)/.*|src/.*|sim/.*|{PUBLIC}"
# What stands beside the library, and what it may include, by path in the tree.
BESIDE = {
    "sim": rf"sim/.*|src/device/DriverAbi\.h|{PUBLIC}",
    "client": rf"client/.*|src/formats/.*|src/settings/Keys\.h|{PUBLIC}",
    "emulator": rf"emulator/(server/.*|\w+\.h)|sim/.*|{PUBLIC}",
    "emulator/preload": r"emulator/(preload/.*|Protocol\.h)",
    "tools": rf"tools/.*|client/.*|emulator/Emulation\.h|sim/.*|CommandList\.inc|{PUBLIC}",
    "examples": rf"sim/.*|{PUBLIC}",
    "bench": rf"bench/.*|src/(chain|imageproc|formats)/.*|{PUBLIC}",
    "fuzz": rf"fuzz/.*|client/.*|src/(chain|imageproc|formats|common)/.*|{PUBLIC}",
    **{f"tests/{layer}": LIBRARY_TEST for layer in ALLOWED if layer != "common"},
    "tests/emulator": r"tests/emulator/.*",
    "tests/client": rf"tests/(client|support)/.*|client/.*|sim/.*|{PUBLIC}",
    "tests/fuzz": r"tests/support/.*",
    "tests/sim": rf"tests/(sim|support)/.*|sim/.*|src/device/DriverAbi\.h|{PUBLIC}",
    "tests/support": rf"tests/support/.*|{PUBLIC}",
    "tests/tools": rf"tests/(tools|support)/.*|tools/manual/.*|sim/.*|src/formats/.*|{PUBLIC}",
}
# Folders whose sources name headers from their own folder or from its top, in front of the rest of the tree.
RELATIVE = {"tests", "bench", "fuzz"}
# System headers that a folder does without.
BARRED = {
    "client/": r"CLI/.*",
    "client/(?!camera/|capture/)": r"sys/ioctl\.h|linux/videodev2\.h",
    "emulator/preload/": r"(?!algorithm|atomic|type_traits)(?!c(errno|limits|signal|stdarg|stddef|stdint|stdio|stdlib|string|time)$)\w+",
    "tools/": r"sys/ioctl\.h|linux/.*|(png|jpeglib|tiffio)\.h",
    "tools/(commands|options|simulation)/": r"fstream|filesystem|cstdio|stdio\.h|unistd\.h|fcntl\.h|sys/.*",
}
# The rooms of a folder: each includes itself and what stands in front of it. "": files of the folder itself.
ROOMS = {
    "client": [
        "", "names", "files", "pictures", "drawing", "recording", "frames", "profiles", "settings", "camera", "capture",
        "stages", "develop", "statistics", "calibration",
    ],
    "tools": ["text", "simulation", "options", "commands", "manual", ""],
}
INCLUDE = re.compile(r'^\s*#\s*include\s+(["<])([^">]+)[">]')


def module_of(path):
    """Name of the imageproc module that a file belongs to: 'ColorInterpolation_YCbCr.cpp' -> 'ColorInterpolation'."""
    return re.sub(r"^I(?=[A-Z])", "", path.stem).split("_")[0]


def sources(folder):
    return sorted(p for p in folder.rglob("*") if p.suffix in {".c", ".h", ".cpp", ".inl"})


def includes(path):
    """Line number, opening mark and target of each."""
    for number, line in enumerate(path.read_text().splitlines(), 1):
        if match := INCLUDE.match(line):
            yield number, *match.groups()


def in_tree(root, path, target):
    """The path in the tree of what a source means by a header's name; the name itself where there is no such file."""
    top = path.relative_to(root).parts[0]
    bases = [path.parent, root / top] if top in RELATIVE else []
    for base in [*bases, root / "src", root / "include", root]:
        if (base / target).is_file():
            return PurePath(os.path.normpath(base / target)).relative_to(root).as_posix()
    return target


def room(path):
    """The room of client/ or tools/ that a file stands in."""
    return path.parts[1] if len(path.parts) > 2 else ""


def violations_beside(root):
    for top in sorted({folder.split("/")[0] for folder in BESIDE}):
        for path in sources(root / top):
            relative = path.relative_to(root)
            below = "/".join(relative.parts[:2])
            folder = below if top == "tests" or below in BESIDE else top
            if folder not in BESIDE or room(relative) not in ROOMS.get(folder, [room(relative)]):
                yield f"{relative}: no rule for its folder"
                continue
            for number, quote, target in includes(path):
                where = f"{relative}:{number}"
                if quote == "<":
                    for place, barred in BARRED.items():
                        if re.match(place, relative.as_posix()) and re.fullmatch(barred, target):
                            yield f"{where}: {relative.parent} includes <{target}>"
                    continue
                found = PurePath(in_tree(root, path, target))
                if not re.fullmatch(BESIDE[folder], found.as_posix()):
                    yield f"{where}: {folder} includes {target}"
                elif folder in ROOMS and found.parts[0] == folder:
                    order = ROOMS[folder].index
                    if order(room(relative)) < order(room(found)):
                        yield f"{where}: {relative.parent} includes {target}"


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
            if target in {"VekTrgApi.h", "VekTrgChain.h"}:
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
