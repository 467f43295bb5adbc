# SPDX-License-Identifier: Apache-2.0
"""What the scripts that draw for docs/ share: pictures as numbers, drawings and tables that are the same each time."""
import io

import matplotlib
import numpy
from PIL import Image

matplotlib.use("agg")
matplotlib.rcParams["svg.hashsalt"] = "vekcam"  # the same run gives the same file
matplotlib.rcParams["svg.fonttype"] = "none"
matplotlib.rcParams["font.family"] = "sans-serif"


def picture(path):
    """Samples of a grey picture or of 8 bits, as floating-point numbers."""
    with Image.open(path) as image:
        return numpy.asarray(image).astype(numpy.float64)


def save_svg(figure, path):
    drawing = io.StringIO()
    figure.savefig(drawing, format="svg", metadata={"Date": None, "Creator": None})
    with open(path, "w", encoding="utf-8") as file:
        file.writelines(line.rstrip() + "\n" for line in drawing.getvalue().splitlines())


def save_png(figure, path, most=100_000):
    """A drawing of many points as a picture in few colours, of at most so many bytes."""
    drawing = io.BytesIO()
    figure.savefig(drawing, format="png", dpi=110)
    with Image.open(drawing) as image:
        for colours in (128, 64, 32, 16):
            few = io.BytesIO()
            image.convert("RGB").quantize(colours, dither=Image.Dither.NONE).save(few, format="png", optimize=True)
            if few.tell() <= most:
                break
        else:
            raise ValueError(f"{path} would have {few.tell()} bytes")
    with open(path, "wb") as file:
        file.write(few.getvalue())


def put_table(path, name, head, rows):
    """Replaces what a text has between the marks of a table."""
    begin, end = f"<!-- table {name} -->\n", "<!-- end of table -->\n"
    with open(path, encoding="utf-8") as file:
        text = file.read()
    front, rest = text.split(begin)
    back = rest[rest.index(end):]
    lines = [head, ["---"] * len(head), *rows]
    table = "".join("| " + " | ".join(line) + " |\n" for line in lines)
    with open(path, "w", encoding="utf-8") as file:
        file.write(front + begin + "\n" + table + "\n" + back)
