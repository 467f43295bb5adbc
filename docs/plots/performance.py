#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Draws records of ./dev bench, and puts them into docs/performance.md.

usage: performance.py chart RUN.json OUT.png       time by operation: best tier on its best and worst content; scalar tier,
                                                   memcpy, peers
       performance.py scaling RUN.json OUT.png     time by size of image
       performance.py text TEXT.md RUN.json SCALING.json
"""
import pathlib
import sys

from figures import put_table, save_png
import matplotlib.pyplot as plt
from matplotlib.ticker import FuncFormatter, NullFormatter

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "bench"))
import report  # noqa: E402

OURS, WORST, SCALAR, COPY, PEER = "#9dbcd8", "#3d6c98", "#222222", "#2e7d32", "#b7472a"
COLOURS = ("#1f4e79", "#b7472a", "#2e7d32", "#8e6c1f", "#6a3d9a", "#127a7a", "#444444")
# Operations that stand in one panel, by the first words of their names.
PANELS = (("Demosaicing", ("demosaic",)), ("YCrCb decoding", ("YCrCb",)),
          ("Curves and gains", ("white", "raw gamma", "luma")), ("Colours", ("colour", "chroma")),
          ("Neighbourhoods", ("sharpness", "easy")), ("Corrections", ("dark", "shading")),
          ("Mirrors, rotation", ("mirror", "rotation")), ("Conversion, averages", ("unpack", "words", "average")),
          ("The chain", ("chain",)))


def plain(value, _=None):
    return f"{value:g}"


def label(operation, bits):
    return f"{operation}, {bits} bit"


def chart(run, out):
    tier = run["context"]["best_tier"]
    rows = list(reversed([row for row in run["rows"] if row["tiers"].get(tier)]))
    places = range(len(rows))
    figure, axes = plt.subplots(figsize=(8.6, 1.2 + 0.2 * len(rows)), layout="constrained")
    # What the worst content takes more looks out from behind the best one's bar.
    for which, name, height, colour in ((1, "its worst content", 0.36, WORST), (0, f"{tier}, best content", 0.7, OURS)):
        axes.barh(places, [report.extremes(row["tiers"][tier])[which][1] for row in rows], height=height, color=colour,
                  zorder=2, label=name)

    def marks(name, values, marker, colour, size):
        points = [(value, place) for place, of_row in zip(places, values) for value in of_row]
        if points:
            axes.scatter(*zip(*points), marker=marker, s=size, color=colour, label=name, zorder=3, linewidths=1.4)
    marks("scalar tier", [[figures[report.PICTURE]] if report.PICTURE in figures else []
                           for figures in (row["tiers"].get("scalar", {}) for row in rows)], "|",
          SCALAR, 50)
    marks("memcpy of the same traffic", [[row["memcpy"]] if row["memcpy"] else [] for row in rows], "|", COPY, 50)
    marks("peers", [list(row["peers"].values()) for row in rows], "x", PEER, 22)
    axes.set_yticks(places, [label(row["operation"], row["bits"]) for row in rows], fontsize=8)
    axes.set_ylim(-0.7, len(rows) - 0.3)
    axes.set_xscale("log")
    axes.xaxis.set_major_formatter(FuncFormatter(plain))
    axes.set_xlabel("ns per pixel")
    axes.grid(True, axis="x", color="0.9", linewidth=0.6)
    axes.set_axisbelow(True)
    axes.set_title("Time per pixel, one core", fontsize=11, loc="left", pad=24)
    handles, names = axes.get_legend_handles_labels()
    axes.legend(handles[::-1], names[::-1], loc="lower right", bbox_to_anchor=(1, 1), ncol=5, fontsize=8, frameon=False)
    save_png(figure, out)


def scaling(run, out):
    operations = report.by_operation(run)
    figure, grid = plt.subplots(3, 3, figsize=(10.4, 10.2), sharex=True, layout="constrained")
    for axes, (title, beginnings) in zip(grid.flat, PANELS):
        chosen = [key for key in operations if key[0].startswith(beginnings)]
        names = list(dict.fromkeys(name for name, _ in chosen))
        for name, bits in chosen:
            points = sorted((width * height / 1e6, row["best"])
                            for (width, height), row in operations[name, bits].items() if row["best"] is not None)
            axes.plot(*zip(*points), ".--" if bits == 16 else ".-", markersize=4, linewidth=1.1,
                      color=COLOURS[names.index(name) % len(COLOURS)],
                      label=name.removeprefix("demosaic ") if bits != 16 or (name, 8) not in chosen else None)
        axes.set_title(title, fontsize=10, loc="left")
        axes.set_xscale("log")
        axes.set_yscale("log")
        # At least a decade, so that a line of small waves looks flat; room for the names above the lines.
        low, high = axes.get_ylim()
        low, high = min(low, high / 10), high
        axes.set_ylim(low, high * (high / low) ** (0.06 + 0.09 * len(names)))
        axes.yaxis.set_major_formatter(FuncFormatter(plain))
        axes.yaxis.set_minor_formatter(NullFormatter())
        axes.xaxis.set_major_formatter(FuncFormatter(plain))
        axes.grid(True, color="0.9", linewidth=0.6)
        axes.tick_params(labelsize=8)
        if chosen:  # a filter may leave a panel without lines
            axes.legend(fontsize=7, frameon=False, loc="upper left")
    for axes in grid[-1]:
        axes.set_xlabel("megapixels", fontsize=9)
    for axes in grid[:, 0]:
        axes.set_ylabel("ns per pixel", fontsize=9)
    figure.suptitle("Time per pixel by size of image, best tier; 16 bit dashed", fontsize=11, x=0.01, ha="left")
    save_png(figure, out)


def text(path, run, sizes):
    put_table(path, "machine", ["", ""], report.context_lines(run))
    put_table(path, "operations", *report.operation_table(run))
    put_table(path, "sizes", *report.scaling_table(sizes))


def main(arguments):
    command, *values = arguments or [""]
    if command == "chart" and len(values) == 2:
        chart(report.load(values[0]), values[1])
    elif command == "scaling" and len(values) == 2:
        scaling(report.load(values[0]), values[1])
    elif command == "text" and len(values) == 3:
        text(values[0], report.load(values[1]), report.load(values[2]))
    else:
        sys.exit(__doc__.strip())


if __name__ == "__main__":
    main(sys.argv[1:])
