#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Compares demosaic methods with the true colours of a chart, and shows them side by side.

usage: demosaic.py TEXT.md PICTURES RUN BLACK
       demosaic.py --real PICTURE.png RUN X,Y,W,H
       demosaic.py --methods                          their names, on one line

RUN is a directory with NAME.png for each method of `vekcam convert`, linear, and frame1.raw and truth.png of
`vekcam demo --truth`.
BLACK: the sensor's black level, in levels of 8 bits. With --real there is no truth: one picture shows the region
X,Y,W,H of all methods, which are pictures of 8 bits for display.
"""
import sys

import numpy
from demosaic_peers import peers
from figures import picture, put_table, save_svg
from PIL import Image
import matplotlib.pyplot as plt

# Number, name for vekcam, whether the pixels lie half a pixel to the right and below.
METHODS = ((1, "none", False), (2, "nearest", False), (3, "bilinear", False), (4, "bicubic", False),
           (5, "bilinear-fcr", True), (6, "nearest2", True))
EDGE = (16, "edge")  # the chain's own
BESIDE_PEERS = ((3, "bilinear"), (4, "bicubic"), EDGE)  # those that stand beside other libraries
MARGIN = 4  # pixels at the image's edge that do not count
# Parts of the chart in thousandths of its size: left, top, right, bottom.
ZONE_PLATE = (650, 25, 980, 640)
LINE_PAIRS = (740, 815, 980, 975)
SLANTED = (260, 815, 490, 975)
ZOOM = 3


def part(image, area):
    height, width = image.shape[:2]
    left, top, right, bottom = area
    return image[height * top // 1000:height * bottom // 1000, width * left // 1000:width * right // 1000]


def half_a_pixel_on(truth):
    """The mean of the four true pixels around each centre of a block; the last row and column stay."""
    shifted = truth.copy()
    shifted[:-1, :-1] = (truth[:-1, :-1] + truth[:-1, 1:] + truth[1:, :-1] + truth[1:, 1:]) / 4
    return shifted


def inner(image):
    return image[MARGIN:-MARGIN, MARGIN:-MARGIN]


def psnr(image, truth):
    error = numpy.mean((inner(image) - inner(truth)) ** 2)
    return 10 * numpy.log10(255 ** 2 / error)


def false_colour(image, truth):
    """Mean distance of (R - G, B - G) from the truth's, levels."""
    def chroma(samples):
        return samples[..., (0, 2)] - samples[..., 1:2]
    return numpy.mean(numpy.linalg.norm(chroma(image) - chroma(truth), axis=-1))


def measured(image, truth):
    """PSNR, false colour, and false colour in the zone plate alone."""
    return (psnr(image, truth), false_colour(inner(image), inner(truth)),
            false_colour(part(image, ZONE_PLATE), part(truth, ZONE_PLATE)))


def rendering(truth, black):
    """Balance that makes the zone plate grey and its white white, then the sRGB curve."""
    grey = part(truth, ZONE_PLATE).reshape(-1, 3)
    gains = 1 / (numpy.quantile(grey, 0.99, axis=0) - black)

    def render(image):
        linear = numpy.clip((image - black) * gains * 0.87, 0, 1)  # the plate's white is 0.87 of the scene's
        coded = numpy.where(linear <= 0.0031308, 12.92 * linear, 1.055 * linear ** (1 / 2.4) - 0.055)
        return numpy.round(255 * coded).astype(numpy.uint8)
    return render


def strip(image):
    """The middle of the zone plate's upper half, a slanted edge and the line pairs, one above the other, enlarged."""
    plate = part(image, ZONE_PLATE)
    rows = [plate[:plate.shape[0] // 2], part(image, SLANTED), part(image, LINE_PAIRS)]
    width = min(row.shape[1] for row in rows)
    starts = [(row.shape[1] - width) // 2 for row in rows]
    return enlarged(numpy.concatenate([row[:, start:start + width] for row, start in zip(rows, starts)]))


def enlarged(image):
    return image.repeat(ZOOM, axis=0).repeat(ZOOM, axis=1)


def draw_bars(path, results):
    figure, (quality, colour) = plt.subplots(1, 2, figsize=(7.2, 2.6), sharey=True, layout="constrained")
    names = [name for _, name, _ in METHODS][::-1]
    for axes, title, values in ((quality, "PSNR between pixels, dB", [row[0] for row in results]),
                                (colour, "false colour there, levels", [row[1] for row in results])):
        bars = axes.barh(names, values[::-1], color="#1f4e79", height=0.6)
        axes.bar_label(bars, fmt="%.1f", padding=3, fontsize=8)
        axes.set_title(title, fontsize=10, loc="left")
        axes.margins(x=0.15)
        axes.grid(True, axis="x", color="0.9", linewidth=0.6)
        axes.set_axisbelow(True)
    save_svg(figure, path)


def compare(text, pictures, run, black):
    truth = numpy.floor(picture_of_words(f"{run}/truth.png") / 256)  # what a transfer of 8 bits keeps
    moved = half_a_pixel_on(truth)
    render = rendering(truth, float(black))
    Image.fromarray(strip(render(truth))).save(f"{pictures}/truth.png", optimize=True)
    results, rows = [], []
    for number, name, shifted in METHODS:
        image = picture(f"{run}/{name}.png")
        # At the centres of the blocks all methods can be compared: the others' pictures are softened as the truth is.
        centred = measured(image if shifted else half_a_pixel_on(image), moved)
        at_pixels = ["-"] * 3 if shifted else [f"{value:.1f}" for value in measured(image, truth)]
        results.append(centred)
        rows.append([str(number), f"`{name}`", *at_pixels, *(f"{value:.1f}" for value in centred)])
        Image.fromarray(strip(render(image))).save(f"{pictures}/{name}.png", optimize=True)
    put_table(text, "methods", ["", "`--method`", "PSNR, dB", "false colour", "in the zone plate",
                                "between pixels: PSNR, dB", "false colour", "in the zone plate"], rows)
    draw_bars(f"{pictures}/quality.svg", results)
    compare_peers(text, pictures, run, truth, render)


def compare_peers(text, pictures, run, truth, render):
    raw = numpy.fromfile(f"{run}/frame1.raw", numpy.uint8).reshape(truth.shape[:2])
    images = [("VekCam", f"{name} ({number})", picture(f"{run}/{name}.png")) for number, name in BESIDE_PEERS]
    Image.fromarray(strip(render(picture(f"{run}/{EDGE[1]}.png")))).save(f"{pictures}/edge.png", optimize=True)
    rows = [[library, name, *(f"{value:.1f}" for value in measured(image, truth))]
            for library, name, image in [*images, *peers(raw)]]
    put_table(text, "peers", ["library", "method", "PSNR, dB", "false colour", "in the zone plate"], rows)


def picture_of_words(path):
    """Samples of a colour picture of 16 bits, which PIL would take down to 8."""
    return 65535 * numpy.asarray(plt.imread(path), numpy.float64)


def show_real(out, run, region):
    x, y, width, height = (int(number) for number in region.split(","))
    images = [picture(f"{run}/{name}.png")[y:y + height, x:x + width] for _, name, _ in METHODS]
    rows = [numpy.concatenate([enlarged(image) for image in images[i:i + 3]], axis=1) for i in (0, 3)]
    Image.fromarray(numpy.concatenate(rows).astype(numpy.uint8)).save(out, optimize=True)


if __name__ == "__main__":
    if sys.argv[1:] == ["--methods"]:
        sys.exit(print(*(name for _, name, _ in METHODS), EDGE[1]))
    if len(sys.argv) != 5:
        sys.exit(__doc__)
    if sys.argv[1] == "--real":
        show_real(*sys.argv[2:])
    else:
        compare(*sys.argv[1:])
