#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Draws runs of `vekcam alc --csv`: level with target and dead band, exposure and gain, frame by frame.

usage: alc.py OUT.svg TITLE RUN.csv
"""
import csv
import io
import sys

import matplotlib

matplotlib.use("svg")
matplotlib.rcParams["svg.hashsalt"] = "vekcam"  # the same run gives the same file
matplotlib.rcParams["svg.fonttype"] = "none"
matplotlib.rcParams["font.family"] = "sans-serif"
import matplotlib.pyplot as plt  # noqa: E402
from matplotlib.ticker import FuncFormatter, LogLocator, NullLocator  # noqa: E402

DEAD_BAND = 5
REST_BAND = 10
LEVEL, EXPOSURE, GAIN = "#1f4e79", "#2e7d32", "#b7472a"


def light_changes(rows):
    """Frames at which the light is another one, with the new light."""
    return [(b["frame"], b["light"]) for a, b in zip(rows, rows[1:]) if a["light"] != b["light"]]


def main(out, title, path):
    with open(path, newline="", encoding="ascii") as file:
        rows = [{key: float(value) if value else None for key, value in row.items()} for row in csv.DictReader(file)]
    frames = [row["frame"] for row in rows]
    target = rows[0]["target"]

    figure, (level, exposure, gain) = plt.subplots(
        3, 1, sharex=True, figsize=(7.2, 5.2), height_ratios=[3, 1.5, 1.5], layout="constrained")
    level.set_title(title, fontsize=11, loc="left")
    level.axhspan(target - REST_BAND, target + REST_BAND, color="0.92", label=f"rest, \u00b1{REST_BAND}")
    level.axhspan(target - DEAD_BAND, target + DEAD_BAND, color="0.80", label=f"dead band, \u00b1{DEAD_BAND}")
    level.axhline(target, color="0.4", linewidth=0.8)
    level.plot(frames, [row["level"] for row in rows], ".-", color=LEVEL, linewidth=1.2, markersize=4, label="level")
    level.set_ylim(0, 255)
    level.set_yticks([0, 64, 128, 192, 255])
    level.set_ylabel("level")
    level.legend(loc="lower right", bbox_to_anchor=(1, 1), ncol=3, fontsize=8, frameon=False)

    exposure.step(frames, [1000 * row["exposure_seconds"] for row in rows], where="mid", color=EXPOSURE)
    exposure.set_yscale("log")
    milliseconds = [1000 * row["exposure_seconds"] for row in rows]
    exposure.set_ylim(min(milliseconds) / 1.6, max(milliseconds) * 1.6)
    wide = max(milliseconds) > 50 * min(milliseconds)
    exposure.yaxis.set_major_locator(LogLocator(subs=(1,) if wide else (1, 2, 5)))
    exposure.yaxis.set_major_formatter(FuncFormatter(lambda value, _: f"{value:g}"))
    exposure.yaxis.set_minor_locator(NullLocator())
    exposure.set_ylabel("exposure, ms")
    gain.step(frames, [row["gain_db"] for row in rows], where="mid", color=GAIN)
    gain.set_ylim(min(0, min(row["gain_db"] for row in rows)) - 0.5, max(row["gain_db"] for row in rows) + 1.5)
    gain.set_ylabel("gain, dB")
    gain.set_xlabel("frame")

    for axes in (level, exposure, gain):
        axes.grid(True, color="0.9", linewidth=0.6)
        axes.set_axisbelow(True)
        for frame, light in light_changes(rows):
            axes.axvline(frame - 0.5, color="0.5", linestyle=":", linewidth=1)
    for frame, light in light_changes(rows):
        level.text(frame - 0.2, 4, f"light x {light:g}", fontsize=8, color="0.3", va="bottom")
    drawing = io.StringIO()
    figure.savefig(drawing, format="svg", metadata={"Date": None, "Creator": None})
    with open(out, "w", encoding="utf-8") as file:
        file.writelines(line.rstrip() + "\n" for line in drawing.getvalue().splitlines())


if __name__ == "__main__":
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    main(*sys.argv[1:])
