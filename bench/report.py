#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Reads what vek_bench --json wrote.

usage: report.py table RUN.json            one line per operation and depth: tiers, memcpy, peers
       report.py scaling RUN.json          one line per operation and depth: sizes of image
       report.py compare OLD.json NEW.json [MARGIN]
                                           old and new time of each row; what differs by more than the margin
                                           (0.1: a tenth) is marked. The result is 0 all the same.
All figures are ns per pixel.
"""
import json
import signal
import sys

MARGIN = 0.1


class BadFile(Exception):
    """A file that is no record of a run."""


def load(path):
    try:
        with open(path, encoding="utf-8") as file:
            run = json.load(file)
        best = run["context"]["best_tier"]
        for row in run["rows"]:
            _ = row["operation"], row["bits"], row["width"], row["height"], row["memcpy"], row["peers"]
            row["best"] = row["tiers"].get(best)
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


def operation_table(run):
    """Head and rows. Peers are in the order of their speed."""
    tiers = tiers_of(run)
    best = run["context"]["best_tier"]
    head = ["operation", "bits", best, *[tier for tier in tiers if tier != best], "memcpy", "x memcpy", "x best peer",
            "peers"]
    rows = []
    for row in run["rows"]:
        peers = sorted(row["peers"].items(), key=lambda peer: peer[1])
        rows.append([row["operation"], str(row["bits"]), figure(row["best"]),
                     *[figure(row["tiers"].get(tier)) for tier in tiers if tier != best], figure(row["memcpy"]),
                     ratio(row["best"], row["memcpy"]), ratio(row["best"], peers[0][1] if peers else None),
                     "; ".join(f"{name} {figure(value)}" for name, value in peers)])
    return head, rows


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


def compare_table(old, new, margin=MARGIN):
    """The best tier of every row of both runs, copies and other tiers where they differ by more than the margin."""
    before, after = keyed(old), keyed(new)
    best = new["context"]["best_tier"]
    rows = []
    for key in [key for key in before if key in after]:
        a, b = ({"memcpy": row["memcpy"], **row["tiers"]} for row in (before[key], after[key]))
        for tier in [best, *[tier for tier in a if tier != best]]:
            if a.get(tier) and b.get(tier):
                word = mark(a[tier], b[tier], margin)
                if word or tier == best:
                    rows.append([key[0], str(key[1]), f"{key[2]} x {key[3]}", tier, figure(a[tier]), figure(b[tier]),
                                 ratio(b[tier], a[tier]), word])
    return ["operation", "bits", "size", "tier", "old", "new", "ratio", ""], rows


def lonely(run, other, name):
    """A line that names the rows which the other run lacks; none if there are none."""
    names = dict.fromkeys(f"{key[0]}/{key[1]}" for key in keyed(run) if key not in keyed(other))
    return [f"only in the {name} run: {', '.join(names)}"] if names else []


def print_table(head, rows):
    """Columns as wide as they need to be; words left, figures right."""
    widths = [max(len(line[i]) for line in (head, *rows)) for i in range(len(head))]
    words = {i for i in range(len(head)) if head[i] in ("operation", "tier", "size", "peers", "")}
    for line in (head, *rows):
        cells = [cell.ljust(width) if i in words else cell.rjust(width)
                 for i, (cell, width) in enumerate(zip(line, widths))]
        print("  ".join(cells).rstrip())


def main(arguments):
    try:
        command, *values = arguments or [""]
        if command == "compare" and len(values) in (2, 3):
            margin = float(values[2]) if len(values) == 3 else MARGIN
            old, new = load(values[0]), load(values[1])
            print_table(*compare_table(old, new, margin))
            print(*lonely(old, new, "old"), *lonely(new, old, "new"), sep="\n")
        elif command in ("table", "scaling") and len(values) == 1:
            run = load(values[0])
            print("\n".join(f"{name + ':':11}{text}" for name, text in context_lines(run)), end="\n\n")
            print_table(*(operation_table if command == "table" else scaling_table)(run))
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
