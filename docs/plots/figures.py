# SPDX-License-Identifier: Apache-2.0
"""What the scripts that draw for docs/ share: pictures as numbers, drawings and tables that are the same each time."""
import io

import matplotlib
import numpy
from PIL import Image

matplotlib.use("svg")
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
