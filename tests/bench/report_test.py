#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""The tables and comparisons that ./dev bench prints, from records of runs that were never made."""
import contextlib
import io
import json
import pathlib
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "bench"))
import report  # noqa: E402


def row(operation, tiers, memcpy=0.1, peers=None, bits=8, size=(2448, 2048)):
    return {"operation": operation, "bits": bits, "width": size[0], "height": size[1], "bytes_per_pixel": 2.0,
            "memcpy": memcpy, "tiers": tiers, "peers": peers or {}}


def record(*rows, best="avx2"):
    return {"context": {"library_version": "1.2.3", "date": "2026-01-01T00:00:00Z", "cpu": "Abacus", "cpus": 2,
                        "caches": [{"level": 2, "type": "Unified", "bytes": 1048576}], "compiler": "cc 1",
                        "best_tier": best, "peers": ["Slide rule 7"]},
            "rows": list(rows)}


class Report(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)

    def file(self, content, name="run.json"):
        path = pathlib.Path(self.folder.name) / name
        path.write_text(content if isinstance(content, str) else json.dumps(content), encoding="utf-8")
        return str(path)

    def load(self, *rows, **options):
        return report.load(self.file(record(*rows, **options)))

    def run_main(self, *arguments):
        """Result, standard output, standard error."""
        out, err = io.StringIO(), io.StringIO()
        with contextlib.redirect_stdout(out), contextlib.redirect_stderr(err):
            result = report.main(list(arguments))
        return result, out.getvalue(), err.getvalue()

    def test_best_tier_stands_first_and_is_compared(self):
        run = self.load(row("turn", {"scalar": 0.8, "avx2": 0.2}, memcpy=0.1,
                            peers={"Slow turn": 0.9, "Quick turn": 0.4}))
        head, rows = report.operation_table(run)
        self.assertEqual(head, ["operation", "bits", "avx2", "best content", "worst content", "worst/best",
                                "scalar worst", "memcpy", "x memcpy", "x best peer", "peers"])
        self.assertEqual(rows, [["turn", "8", "0.200", "0.200 picture", "0.200 picture", "-", "0.800", "0.100", "2.00",
                                 "0.50", "Quick turn 0.400; Slow turn 0.900"]])

    def test_table_shows_the_worst_content_beside_the_best(self):
        run = self.load(row("turn", {"scalar": {"picture": 0.8, "flat": 0.6, "noise": 0.9},
                                     "avx2": {"picture": 0.2, "flat": 0.1, "noise": 0.3, "clipped": 0.15}}))
        _, rows = report.operation_table(run)
        self.assertEqual(rows[0][2:9], ["0.200", "0.100 flat", "0.300 noise", "3.00", "0.900 (1.50)", "0.100", "2.00"])

    def test_contents_are_columns_and_uneven_ones_are_marked(self):
        run = self.load(row("turn", {"scalar": 0.8, "avx2": {"picture": 0.13, "flat": 0.10}}),
                        row("flip", {"avx2": {"picture": 0.15, "flat": 0.10, "noise": 0.12}}))
        head, rows = report.contents_table(run)
        self.assertEqual(head, ["operation", "bits", "size", "tier", "picture", "flat", "noise", "worst/best", ""])
        self.assertEqual(rows, [["turn", "8", "2448 x 2048", "scalar", "0.800", "-", "-", "-", ""],
                                ["turn", "8", "2448 x 2048", "avx2", "0.130", "0.100", "-", "1.30", ""],
                                ["flip", "8", "2448 x 2048", "avx2", "0.150", "0.100", "0.120", "1.50", "UNEVEN"]])
        self.assertEqual([line[-1] for line in report.contents_table(run, 1.2)[1]], ["", "UNEVEN", "UNEVEN"])
        result, out, _ = self.run_main("contents", self.file(record(row("cut", {"avx2": {"a": 1, "b": 3}}))), "2.5")
        self.assertEqual((result, "UNEVEN" in out), (0, True))

    def test_comparison_looks_at_every_content(self):
        old = self.load(row("turn", {"avx2": {"picture": 0.1, "flat": 0.1, "noise": 0.2}, "scalar": {"flat": 1}}))
        new = self.load(row("turn", {"avx2": {"picture": 0.1, "flat": 0.1, "noise": 0.1}, "scalar": {"flat": 2}}))
        _, rows = report.compare_table(old, new)
        self.assertEqual([[*line[3:5], *line[7:]] for line in rows],
                         [["avx2", "picture", "1.00", ""], ["avx2", "noise", "0.50", "faster"],
                          ["scalar", "flat", "2.00", "SLOWER"]])

    def test_records_without_contents_are_those_of_the_picture(self):
        old = self.load(row("turn", {"avx2": 0.1}))
        new = self.load(row("turn", {"avx2": {"picture": 0.2, "noise": 0.4}}))
        _, rows = report.compare_table(old, new)
        self.assertEqual(rows, [["turn", "8", "2448 x 2048", "avx2", "picture", "0.100", "0.200", "2.00", "SLOWER"]])

    def test_what_was_not_measured_is_a_dash(self):
        run = self.load(row("turn", {"scalar": 0.8}, memcpy=None), row("flip", {"avx2": 0.3}))
        _, rows = report.operation_table(run)
        self.assertEqual(rows[0], ["turn", "8", "-", "-", "-", "-", "0.800", "-", "-", "-", ""])
        self.assertEqual(rows[1], ["flip", "8", "0.300", "0.300 picture", "0.300 picture", "-", "-", "0.100", "3.00",
                                   "-", ""])

    def test_sizes_are_columns_in_the_order_of_pixels(self):
        run = self.load(row("turn", {"avx2": 0.5}, size=(256, 256)), row("turn", {"avx2": 0.7}, size=(64, 64)),
                        row("flip", {"avx2": 0.1}, size=(256, 256)))
        head, rows = report.scaling_table(run)
        self.assertEqual(head, ["operation", "bits", "64 x 64", "256 x 256"])
        self.assertEqual(rows, [["turn", "8", "0.700", "0.500"], ["flip", "8", "-", "0.100"]])

    def test_comparison_marks_what_leaves_the_margin(self):
        old = self.load(row("turn", {"avx2": 0.100}), row("flip", {"avx2": 0.100}), row("cut", {"avx2": 0.100}))
        new = self.load(row("turn", {"avx2": 0.121}), row("flip", {"avx2": 0.079}), row("cut", {"avx2": 0.119}))
        _, rows = report.compare_table(old, new, 0.2)
        self.assertEqual([(line[0], line[7], line[8]) for line in rows],
                         [("turn", "1.21", "SLOWER"), ("flip", "0.79", "faster"), ("cut", "1.19", "")])

    def test_comparison_names_other_tiers_and_copies_only_when_they_differ(self):
        old = self.load(row("turn", {"scalar": 1.0, "avx2": 0.1}, memcpy=0.10))
        new = self.load(row("turn", {"scalar": 2.0, "avx2": 0.1}, memcpy=0.11))
        _, rows = report.compare_table(old, new, 0.2)
        self.assertEqual([line[3:] for line in rows], [["avx2", "picture", "0.100", "0.100", "1.00", ""],
                                                       ["scalar", "picture", "1.000", "2.000", "2.00", "SLOWER"]])

    def test_comparison_tells_rows_of_one_run_only(self):
        old = self.load(row("turn", {"avx2": 0.1}), row("turn", {"avx2": 0.1}, bits=16))
        new = self.load(row("turn", {"avx2": 0.1}), row("turn", {"avx2": 0.1}, size=(64, 64)))
        _, rows = report.compare_table(old, new)
        self.assertEqual([line[1:3] for line in rows], [["8", "2448 x 2048"]])
        self.assertEqual(report.lonely(old, new, "old"), ["only in the old run: turn/16"])
        self.assertEqual(report.lonely(new, old, "new"), ["only in the new run: turn/8"])
        self.assertEqual(report.lonely(old, old, "old"), [])

    def test_comparison_ends_well_whatever_it_finds(self):
        old = self.file(record(row("turn", {"avx2": 0.1})), "old.json")
        new = self.file(record(row("turn", {"avx2": 0.5})), "new.json")
        result, out, _ = self.run_main("compare", old, new)
        self.assertEqual(result, 0)
        self.assertRegex(out, r"turn +8 +2448 x 2048 +avx2 +picture +0\.100 +0\.500 +5\.00 +SLOWER\n")
        result, out, _ = self.run_main("compare", old, new, "5")
        self.assertEqual(result, 0)
        self.assertNotIn("SLOWER", out)

    def test_table_says_on_what_it_was_measured(self):
        result, out, _ = self.run_main("table", self.file(record(row("turn", {"avx2": 0.1}))))
        self.assertEqual(result, 0)
        for word in ("Abacus", "L2 unified 1024 KiB", "cc 1", "1.2.3", "2026-01-01", "Slide rule 7"):
            self.assertIn(word, out)

    def test_columns_stand_below_one_another(self):
        _, out, _ = self.run_main("scaling", self.file(record(
            row("a", {"avx2": 0.1}), row("a longer name", {"avx2": 12.5}))))
        lines = out.splitlines()[-3:]
        self.assertEqual(len({line.index("8  ") for line in lines[1:]}), 1)
        self.assertEqual(len({len(line) for line in lines}), 1)

    def test_files_that_are_no_records_are_refused(self):
        good = self.file(record(), "good.json")
        for content in ("", "[]", "{}", '{"context": {"best_tier": "avx2"}}',
                        '{"context": {"best_tier": "avx2"}, "rows": [{"operation": "turn"}]}'):
            bad = self.file(content, "bad.json")
            for arguments in (("table", bad), ("contents", bad), ("scaling", bad), ("compare", good, bad),
                              ("compare", bad, good)):
                result, out, err = self.run_main(*arguments)
                self.assertEqual((result, out), (2, ""), arguments)
                self.assertIn("bad.json", err)
        self.assertEqual(self.run_main("table", good + ".missing")[0], 2)

    def test_wrong_arguments_are_refused(self):
        good = self.file(record(), "good.json")
        for arguments in ((), ("table",), ("compare", good), ("draw", good), ("table", good, good),
                          ("contents", good, "much"), ("compare", good, good, "much")):
            self.assertEqual(self.run_main(*arguments)[0], 2, arguments)


if __name__ == "__main__":
    unittest.main()
