#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Measures what the corrections leave of hot pixels and of shading, draws a row of a flat frame before and after.

usage: correction.py TEXT.md OUT.svg CAPPED FLAT

The samples of a Bayer sensor as grey pictures of 8 bits: CAPPED.png, CAPPED-easy.png, CAPPED-complex.png,
FLAT-samples.png, FLAT-shading-samples.png.
"""
import sys

import numpy
from figures import picture, put_table, save_svg
import matplotlib.pyplot as plt

HOT = 32
PLACES = (("red", 0, 0), ("green beside red", 0, 1), ("green beside blue", 1, 0), ("blue", 1, 1))
COLOURS = {"red": "#b7472a", "green beside red": "#2e7d32"}


def dark_row(name, samples):
    return [name, f"{numpy.count_nonzero(samples >= HOT)}", f"{samples.max():.0f}", f"{samples.mean():.2f}",
            f"{samples.std():.2f}"]


def flat_row(name, before, after):
    def levels(samples):
        return f"{samples.min():.0f} to {samples.max():.0f}"
    return [name, levels(before), levels(after), f"{before.max() / before.min():.2f}",
            f"{after.max() / after.min():.2f}"]


def main(text, out, capped, flat):
    put_table(text, "dark", ["frame", f"pixels of {HOT} and above", "brightest", "mean", "standard deviation"],
              [dark_row("as taken", picture(f"{capped}.png")),
               dark_row("`--noise easy`", picture(f"{capped}-easy.png")),
               dark_row("`--noise complex --dark dark.png`", picture(f"{capped}-complex.png"))])

    before, after = picture(f"{flat}-samples.png"), picture(f"{flat}-shading-samples.png")
    put_table(text, "flat", ["place", "levels before", "after", "brightest to darkest before", "after"],
              [flat_row(name, before[y::2, x::2], after[y::2, x::2]) for name, y, x in PLACES])

    figure, axes = plt.subplots(figsize=(7.2, 3.0), layout="constrained")
    for name, y, x in PLACES[:2]:
        columns = numpy.arange(x, before.shape[1], 2)
        axes.plot(columns, before[y, x::2], color=COLOURS[name], linewidth=1, linestyle=":", label=f"{name}, before")
        axes.plot(columns, after[y, x::2], color=COLOURS[name], linewidth=1.4, label=f"{name}, corrected")
    axes.set_title("The top row of a flat frame", fontsize=11, loc="left")
    axes.set_xlabel("column")
    axes.set_ylabel("level")
    axes.set_ylim(0, 140)
    axes.grid(True, color="0.9", linewidth=0.6)
    axes.legend(fontsize=8, frameon=False, ncol=2, loc="lower center")
    save_svg(figure, out)


if __name__ == "__main__":
    if len(sys.argv) != 5:
        sys.exit(__doc__)
    main(*sys.argv[1:])
