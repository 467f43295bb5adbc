#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Reads what vek_bench --json wrote.

usage: report.py table RUN.json            one line per operation and depth: tiers, memcpy, peers
                                           For the best tier: picture, best and worst content and their ratio; for the
                                           others: worst content, with its ratio to the best one's in brackets
       report.py contents RUN.json [RATIO] one line per operation, depth and tier: contents. Where the worst takes more
                                           than RATIO times (1.4) the time of the best, the line is marked
       report.py scaling RUN.json          one line per operation and depth: sizes of image
       report.py compare OLD.json NEW.json [MARGIN]
                                           old and new time of each row on the picture; what differs by more than the
                                           margin (0.1: a tenth), on any content, is marked. The result is 0 all the
                                           same.
All figures are ns per pixel. Records that do not tell contents are those of the picture.
"""
import json
import signal
import sys

MARGIN = 0.1
EVEN = 1.4  # times that the worst content may take of the best one's
PICTURE = "picture"


class BadFile(Exception):
    """A file that is no record of a run."""


def load(path):
    try:
        with open(path, encoding="utf-8") as file:
            run = json.load(file)
        best = run["context"]["best_tier"]
        for row in run["rows"]:
            _ = row["operation"], row["bits"], row["width"], row["height"], row["memcpy"], row["peers"]
            row["tiers"] = {tier: figures if isinstance(figures, dict) else {PICTURE: figures}
                            for tier, figures in row["tiers"].items()}
            row["best"] = row["tiers"].get(best, {}).get(PICTURE)
    except (OSError, ValueError, KeyError, TypeError, AttributeError) as error:
        raise BadFile(f"{path}: {error!r}") from error
    return run


def tiers_of(run):
    """Names in the order of the first row that has them."""
    return list(dict.fromkeys(tier for row in run["rows"] for tier in row["tiers"]))


def figure(value):
    return "-" if value is None else f"{value:.3f}"


def ratio(value, base):
    return f"{value / base:.2f}" if value is not None and base else "-"


def extremes(figures):
    """The best and the worst content of a tier, each with its figure; none where the tier was not measured."""
    order = sorted(figures.items(), key=lambda content: content[1]) or [("", None)]
    return order[0], order[-1]


def unevenness(figures):
    """Times that the worst content takes of the best one's; nothing where there are not two of them."""
    (_, best), (_, most) = extremes(figures)
    return most / best if len(figures) > 1 and best else None


def worst(figures):
    """The worst content's figure, and in brackets its ratio to the best one's."""
    times = unevenness(figures)
    return figure(extremes(figures)[1][1]) + (f" ({times:.2f})" if times else "")


def operation_table(run):
    """Head and rows. Peers are in the order of their speed."""
    best = run["context"]["best_tier"]
    others = [tier for tier in tiers_of(run) if tier != best]
    head = ["operation", "bits", best, "best content", "worst content", "worst/best",
            *[f"{tier} worst" for tier in others], "memcpy", "x memcpy", "x best peer", "peers"]
    rows = []
    for row in run["rows"]:
        peers = sorted(row["peers"].items(), key=lambda peer: peer[1])
        figures = row["tiers"].get(best, {})
        rows.append([row["operation"], str(row["bits"]), figure(row["best"]),
                     *[f"{figure(value)} {content}".rstrip() for content, value in extremes(figures)],
                     ratio(unevenness(figures), 1), *[worst(row["tiers"].get(tier, {})) for tier in others],
                     figure(row["memcpy"]), ratio(row["best"], row["memcpy"]),
                     ratio(row["best"], peers[0][1] if peers else None),
                     "; ".join(f"{name} {figure(value)}" for name, value in peers)])
    return head, rows


def contents_of(run):
    """Names in the order of the first tier that has them."""
    return list(dict.fromkeys(content for row in run["rows"] for figures in row["tiers"].values()
                              for content in figures))


def contents_table(run, even=EVEN):
    contents = contents_of(run)
    rows = []
    for row in run["rows"]:
        for tier, figures in row["tiers"].items():
            times = unevenness(figures)
            rows.append([row["operation"], str(row["bits"]), f"{row['width']} x {row['height']}", tier,
                         *[figure(figures.get(content)) for content in contents], ratio(times, 1),
                         "UNEVEN" if times is not None and times > even else ""])
    return ["operation", "bits", "size", "tier", *contents, "worst/best", ""], rows


def sizes_of(run):
    """Widths and heights, the smallest image first."""
    return sorted({(row["width"], row["height"]) for row in run["rows"]}, key=lambda size: size[0] * size[1])


def by_operation(run):
    """Rows by operation and depth, then by size."""
    operations = {}
    for row in run["rows"]:
        operations.setdefault((row["operation"], row["bits"]), {})[row["width"], row["height"]] = row
    return operations


def scaling_table(run):
    sizes = sizes_of(run)
    head = ["operation", "bits", *[f"{width} x {height}" for width, height in sizes]]
    rows = [[operation, str(bits), *[figure(rows[size]["best"]) if size in rows else "-" for size in sizes]]
            for (operation, bits), rows in by_operation(run).items()]
    return head, rows


def context_lines(run):
    context = run["context"]
    caches = ", ".join(f"L{cache['level']} {cache['type'].lower()} {cache['bytes'] // 1024} KiB"
                       for cache in context.get("caches", []))
    lines = [["processor", f"{context.get('cpu', 'unknown')}, {context.get('cpus', '?')} in the system, one in use"],
             ["caches", caches], ["compiler", context.get("compiler", "unknown")],
             ["library", f"{context.get('library_version', 'unknown')}, best tier {context['best_tier']}"],
             ["date", context.get("date", "unknown")]]
    peers = context.get("peers", [])
    return lines + ([["peers", ", ".join(peers)]] if peers else [])


def mark(old, new, margin):
    if new > old * (1 + margin):
        return "SLOWER"
    return "faster" if new < old * (1 - margin) else ""


def keyed(run):
    return {(row["operation"], row["bits"], row["width"], row["height"]): row for row in run["rows"]}


def figures_of(row):
    """All times of a row by tier and content."""
    return {("memcpy", ""): row["memcpy"], **{(tier, content): value for tier, figures in row["tiers"].items()
                                              for content, value in figures.items()}}


def compare_table(old, new, margin=MARGIN):
    """The best tier of every row of both runs on the picture; copies, other tiers and other contents where they differ
    by more than the margin."""
    before, after = keyed(old), keyed(new)
    first = new["context"]["best_tier"], PICTURE
    rows = []
    for key in [key for key in before if key in after]:
        a, b = figures_of(before[key]), figures_of(after[key])
        for place in [first, *[place for place in a if place != first]]:
            if a.get(place) and b.get(place):
                word = mark(a[place], b[place], margin)
                if word or place == first:
                    rows.append([key[0], str(key[1]), f"{key[2]} x {key[3]}", *place, figure(a[place]),
                                 figure(b[place]), ratio(b[place], a[place]), word])
    return ["operation", "bits", "size", "tier", "content", "old", "new", "ratio", ""], rows


def lonely(run, other, name):
    """A line that names the rows which the other run lacks; none if there are none."""
    names = dict.fromkeys(f"{key[0]}/{key[1]}" for key in keyed(run) if key not in keyed(other))
    return [f"only in the {name} run: {', '.join(names)}"] if names else []


def print_table(head, rows):
    """Columns as wide as they need to be; words left, figures right."""
    widths = [max(len(line[i]) for line in (head, *rows)) for i in range(len(head))]
    words = {i for i in range(len(head))
             if head[i] in ("operation", "tier", "size", "peers", "") or head[i].endswith("content")}
    for line in (head, *rows):
        cells = [cell.ljust(width) if i in words else cell.rjust(width)
                 for i, (cell, width) in enumerate(zip(line, widths))]
        print("  ".join(cells).rstrip())


TABLES = {"table": operation_table, "contents": contents_table, "scaling": scaling_table}


def main(arguments):
    try:
        command, *values = arguments or [""]
        if command == "compare" and len(values) in (2, 3):
            margin = float(values[2]) if len(values) == 3 else MARGIN
            old, new = load(values[0]), load(values[1])
            print_table(*compare_table(old, new, margin))
            print(*lonely(old, new, "old"), *lonely(new, old, "new"), sep="\n")
        elif command in TABLES and len(values) == 1 or command == "contents" and len(values) == 2:
            run = load(values[0])
            table = TABLES[command](run, *[float(value) for value in values[1:]])
            print("\n".join(f"{name + ':':11}{text}" for name, text in context_lines(run)), end="\n\n")
            print_table(*table)
        else:
            print(__doc__.strip(), file=sys.stderr)
            return 2
    except (BadFile, ValueError) as error:
        print(f"report.py: {error}", file=sys.stderr)
        return 2
    return 0


if __name__ == "__main__":
    signal.signal(signal.SIGPIPE, signal.SIG_DFL)  # a reader such as head may have seen enough
    sys.exit(main(sys.argv[1:]))
