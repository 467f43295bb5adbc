# SPDX-License-Identifier: Apache-2.0
"""Draws the chain: its stages in their order, whose settings they have, and what each reads of the rows in front.

Usage: chain.py OUT.svg
"""
import sys

import figures
import matplotlib.pyplot as plt
from matplotlib.patches import FancyArrow, FancyBboxPatch

HANDLE, DESCRIPTION, BOTH = "#cfe3f5", "#fbe3c0", "#e4e4e4"
# Column (samples), rows of the drawing: name, what a row of its result is made from, colour.
COLUMNS = [
    ("raw samples,\nthe frame's depth", [
        ("unpack", "the row", BOTH),
        ("noise reduction", "dark frame: 2 rows above (as they have\nbecome) and 2 below; easy: all above", HANDLE),
        ("shading", "the row, and the map's", HANDLE),
    ]),
    ("raw samples,\nworking depth", [
        ("levels", "the row", DESCRIPTION),
        ("white balance", "the row; automatic: the frame first", HANDLE),
        ("raw curves", "the row", HANDLE),
        ("mirror", "the row, or the one as far from the other end", BOTH),
    ]),
    ("blue, green, red,\nworking depth", [
        ("demosaic", "up to 3 rows above and below, by method", BOTH),
        ("colour matrix, chroma\nsuppression | linear matrix", "the pixel", BOTH),
        ("luma curve", "the pixel", HANDLE),
        ("sharpness", "1 row above and below", HANDLE),
    ]),
    ("the picture's\ndepth", [
        ("tone", "the sample", DESCRIPTION),
        ("sharpness (or here)", "1 row above and below", HANDLE),
        ("layout", "the row; NV12: two rows", BOTH),
    ]),
]
WIDTH, HEIGHT, GAP = 3.1, 0.92, 0.28


def main():
    figure, axes = plt.subplots(figsize=(13.2, 5.4))
    for column, (title, stages) in enumerate(COLUMNS):
        left = column * (WIDTH + 0.55)
        axes.text(left + WIDTH / 2, 0.75, title, ha="center", va="center", fontsize=10, style="italic")
        for row, (name, reads, color) in enumerate(stages):
            top = -row * (HEIGHT + GAP)
            axes.add_patch(FancyBboxPatch((left, top - HEIGHT), WIDTH, HEIGHT, boxstyle="round,pad=0.03",
                                          facecolor=color, edgecolor="#555555", linewidth=0.8))
            axes.text(left + WIDTH / 2, top - 0.27, name, ha="center", va="center", fontsize=10, weight="bold")
            axes.text(left + WIDTH / 2, top - 0.68, reads, ha="center", va="center", fontsize=7.5)
            if row + 1 < len(stages):
                axes.add_patch(FancyArrow(left + WIDTH / 2, top - HEIGHT - 0.04, 0, -GAP + 0.1, width=0.012,
                                          head_width=0.1, head_length=0.07, color="#555555"))
        if column + 1 < len(COLUMNS):
            bottom = -(len(stages) - 1) * (HEIGHT + GAP) - HEIGHT / 2
            axes.plot([left + WIDTH + 0.04, left + WIDTH + 0.27, left + WIDTH + 0.27], [bottom, bottom, -HEIGHT / 2],
                      color="#555555", linewidth=1)
            axes.add_patch(FancyArrow(left + WIDTH + 0.26, -HEIGHT / 2, 0.2, 0, width=0.012, head_width=0.1,
                                      head_length=0.07, color="#555555"))
    keys = [(HANDLE, "with the settings of the handle"), (DESCRIPTION, "the chain's own"), (BOTH, "as the description says")]
    for i, (color, text) in enumerate(keys):
        left = 0.2 + 4.3 * i
        axes.add_patch(FancyBboxPatch((left, -5.25), 0.3, 0.2, boxstyle="round,pad=0.02", facecolor=color,
                                      edgecolor="#555555", linewidth=0.8))
        axes.text(left + 0.45, -5.15, text, va="center", fontsize=9)
    axes.set_xlim(-0.15, 4 * WIDTH + 3 * 0.55 + 0.15)
    axes.set_ylim(-5.4, 1.1)
    axes.axis("off")
    figure.subplots_adjust(left=0.005, right=0.995, top=0.995, bottom=0.005)
    figures.save_svg(figure, sys.argv[1])


main()
