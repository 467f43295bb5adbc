# SPDX-License-Identifier: Apache-2.0
"""Pictures that other libraries make of a raw frame, and that the chain's edge-directed method makes of it.

Of RGGB bytes; pictures are red, green, blue, in levels of 8 bits.
"""
import ctypes
import pathlib
import subprocess
import tempfile

import cv2
import numpy
import tifffile


def edge_directed(raw, largest):
    """As docs/demosaic.md tells it, for whole numbers."""
    reach = 2
    height, width = raw.shape
    around = numpy.pad(raw.astype(int), reach, "reflect")

    def at(x, y):
        return around[reach + y:reach + y + height, reach + x:reach + x + width]

    def mean_up(a, b):
        return (a + b + 1) >> 1

    def eighths(value, count):
        return (count * value + 4) >> 3

    own = at(0, 0)
    s = [mean_up(at(-1, 0), at(1, 0)), mean_up(at(0, -1), at(0, 1))]
    b = [own - mean_up(at(-2, 0), at(2, 0)), own - mean_up(at(0, -2), at(0, 2))]
    change = [abs(at(-1, 0) - at(1, 0)) + abs(b[0]), abs(at(0, -1) - at(0, 1)) + abs(b[1])]
    corners = mean_up(mean_up(at(-1, -1), at(1, 1)), mean_up(at(1, -1), at(-1, 1)))
    rise = eighths(own - corners, 6)

    def by_direction(row, column):
        return numpy.select([2 * change[0] < change[1], 2 * change[1] < change[0]], [row, column], (row + column) >> 1)

    def limited(value):
        return numpy.clip(value, 0, largest)

    green = by_direction(s[0] + eighths(b[0], 4), s[1] + eighths(b[1], 4))
    third = limited(green + corners - mean_up(*s))
    from_row = limited(by_direction(s[0] + eighths(b[0], 3), s[0] + rise))
    from_column = limited(by_direction(s[1] + rise, s[1] + eighths(b[1], 3)))
    picture = numpy.repeat(own[..., None], 3, axis=2)
    picture[0::2, 0::2, 1:] = numpy.stack([limited(green), third], -1)[0::2, 0::2]
    picture[1::2, 1::2, :2] = numpy.stack([third, limited(green)], -1)[1::2, 1::2]
    picture[0::2, 1::2, ::2] = numpy.stack([from_row, from_column], -1)[0::2, 1::2]
    picture[1::2, 0::2, ::2] = numpy.stack([from_column, from_row], -1)[1::2, 0::2]
    return picture


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
