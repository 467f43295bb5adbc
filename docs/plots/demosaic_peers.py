# SPDX-License-Identifier: Apache-2.0
"""Pictures that other libraries make of a raw frame of RGGB bytes: red, green, blue, in levels of 8 bits."""
import ctypes
import pathlib
import subprocess
import tempfile

import cv2
import numpy
import tifffile


def version(package):
    text = subprocess.run(["dpkg-query", "-W", "-f=${Version}", package], check=True, capture_output=True, text=True)
    return text.stdout.split("+")[0].split("-")[0]


def opencv(raw):
    # OpenCV names the second row's second and third sample: its BG is RGGB.
    for name, code, rows in (("bilinear", cv2.COLOR_BayerBG2RGB, 0), ("EA", cv2.COLOR_BayerBG2RGB_EA, 0),
                             ("VNG", cv2.COLOR_BayerBG2RGB_VNG, 2)):
        # Its VNG pictures lie two rows too high.
        yield name, numpy.roll(cv2.cvtColor(raw, code), rows, axis=0)


def libdc1394(raw):
    library = ctypes.CDLL("libdc1394.so.25")
    height, width = raw.shape
    source = numpy.ascontiguousarray(raw)
    rggb, methods = 512, {"NEAREST": 0, "BILINEAR": 2, "HQLINEAR": 3, "EDGESENSE": 5, "VNG": 6, "AHD": 7}
    for name, method in methods.items():
        picture = numpy.zeros((height, width, 3), numpy.uint8)
        if library.dc1394_bayer_decoding_8bit(source.ctypes.data_as(ctypes.c_void_p),
                                              picture.ctypes.data_as(ctypes.c_void_p), width, height, rggb, method):
            raise RuntimeError(f"libdc1394 refuses {name}")
        yield name, picture


def libraw(raw):
    """Linear, without a balance of its own, from a DNG file, by LibRaw's own program."""
    with tempfile.TemporaryDirectory() as folder:
        file, out = pathlib.Path(folder, "frame.dng"), pathlib.Path(folder, "picture.ppm")
        white = 255 * 16
        one = (1, 1)
        nought = (0, 1)
        tifffile.imwrite(file, raw.astype(numpy.uint16) * 16, photometric="cfa", planarconfig="contig", extratags=[
            (33421, "H", 2, (2, 2), True),                # CFARepeatPatternDim
            (33422, "B", 4, bytes((0, 1, 1, 2)), True),   # CFAPattern
            (50706, "B", 4, bytes((1, 4, 0, 0)), True),   # DNGVersion
            (50708, "s", 0, "chart", True),               # UniqueCameraModel
            (50714, "H", 1, 0, True),                     # BlackLevel
            (50717, "H", 1, white, True),                 # WhiteLevel
            (50721, "2i", 9, one + 3 * nought + one + 3 * nought + one, True)])  # ColorMatrix1
        for name, quality in {"linear": 0, "VNG": 1, "PPG": 2, "AHD": 3, "DCB": 4, "DHT": 11, "AAHD": 12}.items():
            subprocess.run(["dcraw_emu", "-q", str(quality), "-4", "-W", "-g", "1", "1", "-o", "0", "-c", "0",
                            "-r", "1", "1", "1", "1", "-S", str(white), "-Z", out, file], check=True,
                           stdout=subprocess.DEVNULL)
            yield name, cv2.imread(str(out), cv2.IMREAD_UNCHANGED)[..., ::-1] / 257


def peers(raw):
    """Library and version, method, picture."""
    for library, package, pictures in (("OpenCV", "python3-opencv", opencv), ("libdc1394", "libdc1394-25", libdc1394),
                                       ("LibRaw", "libraw-bin", libraw)):
        for name, image in pictures(raw):
            yield f"{library} {version(package)}", name, image.astype(numpy.float64)
