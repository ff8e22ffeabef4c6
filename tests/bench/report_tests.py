"""What the report of the benchmarks says of figures: report_tests.py FOLDER-OF-THE-REPORT."""

import json
import re
import sys
import tempfile
import unittest
import xml.etree.ElementTree as ElementTree
from contextlib import redirect_stderr, redirect_stdout
from io import StringIO
from pathlib import Path

BENCH = Path(sys.argv.pop(1))
sys.path.insert(0, str(BENCH))
import pictures  # noqa: E402
import report  # noqa: E402

LINE = {"part": "keys", "what": "a key", "of": "Key", "unit": "µs", "tail": "p99",
        "budget": [3, 25]}


def verdict(figures, **changes):
    return report.judge({**LINE, **changes}, {"Key": figures})["verdict"]


class Verdict(unittest.TestCase):
    def test_is_met_at_the_budget_itself_and_missed_beyond_either(self):
        self.assertEqual(verdict({"median": 3.0, "p99": 25.0}), "met")
        self.assertEqual(verdict({"median": 3.1, "p99": 25.0}), "MISSED")
        self.assertEqual(verdict({"median": 3.0, "p99": 25.1}), "MISSED")

    def test_turns_round_where_more_is_better(self):
        self.assertEqual(verdict({"median": 600.0}, budget=[500, None], most=True), "met")
        self.assertEqual(verdict({"median": 400.0}, budget=[500, None], most=True), "MISSED")

    def test_is_missed_where_a_benchmark_with_a_budget_failed_or_did_not_run(self):
        self.assertEqual(verdict({"error_occurred": True, "median": 1.0, "p99": 1.0}), "MISSED")
        self.assertEqual(verdict({}), "MISSED")
        self.assertEqual(verdict({}, budget=[None, None]), "not measured")

    def test_is_nothing_without_a_budget(self):
        self.assertEqual(verdict({"median": 1.0}, budget=[None, None]), "")


class Run(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.lines = self.folder / "lines.json"
        self.lines.write_text(json.dumps([LINE, {**LINE, "part": "render", "of": "Other"}]))
        self.results = self.folder / "results"
        self.results.mkdir()

    def run_report(self, median, parts):
        return self.report_of({"median": median, "p99": 4.0}, parts)

    def report_of(self, figures, parts):
        (self.results / "keys.json").write_text(json.dumps({"benchmarks": [
            {"name": "Key/iterations:5/manual_time", **figures}]}))
        printed = StringIO()
        with redirect_stdout(printed), redirect_stderr(printed):
            status = report.report(self.results, self.lines, self.folder, parts)
        return status, printed.getvalue()

    def lines_are(self, *lines):
        self.lines.write_text(json.dumps(lines))

    def test_fails_only_where_a_budget_is_missed(self):
        self.assertEqual(self.run_report(1.0, ["keys"])[0], 0)
        self.assertEqual(self.run_report(9.0, ["keys"])[0], 1)
        self.assertEqual(self.run_report(1.0, [])[0], 1, "the other part did not run")

    def test_survives_a_program_that_did_not_end(self):
        (self.results / "render.json").write_text('{"benchmarks": [')
        self.assertEqual(self.run_report(1.0, [])[0], 1)

    def test_names_a_benchmark_that_there_is_none_of_if_its_part_ran(self):
        without_budget = {**LINE, "budget": [None, None]}
        self.lines_are(without_budget, {**without_budget, "of": "Kye"},
                       {**without_budget, "part": "render", "of": "Other"})
        status, printed = self.run_report(1.0, ["keys"])
        self.assertEqual(status, 1)
        self.assertIn("no benchmark gave Kye\n", printed)
        self.assertNotIn("Other", printed)
        self.assertIn("no benchmark gave Other\n", self.run_report(1.0, [])[1])

    def test_names_a_figure_that_a_benchmark_does_not_give(self):
        self.lines_are({**LINE, "figure": "wrogn", "tail": "", "budget": [None, None]},
                       {**LINE, "tail": "p98", "budget": [3, None]})
        status, printed = self.run_report(1.0, ["keys"])
        self.assertEqual(status, 1)
        self.assertIn("no benchmark gave Key: wrogn\n", printed)
        self.assertIn("no benchmark gave Key: p98\n", printed)

    def test_wants_no_figures_of_a_benchmark_that_says_why_it_failed(self):
        self.lines_are({**LINE, "budget": [None, None]})
        failed = {"error_occurred": True, "error_message": "no theme"}
        status, printed = self.report_of(failed, ["keys"])
        self.assertEqual(status, 0)
        self.assertNotIn("no benchmark gave", printed)
        self.assertEqual(self.report_of({}, ["keys"])[0], 1)

    def test_prints_every_minute_of_every_soak(self):
        for name, first in (("TypingSoak", 3), ("TypingSoakPipeWire", 5)):
            (self.results / f"{name}Medians.values").write_text(f"[{first}.0,{first}.5]")
            (self.results / f"{name}Resident.values").write_text("[46.0,47.0]")
        printed = self.run_report(1.0, ["keys"])[1]
        self.assertIn("TypingSoak, minute 1: median 3.00 ms, 46.0 MB resident", printed)
        self.assertIn("TypingSoakPipeWire, minute 2: median 5.50 ms, 47.0 MB resident", printed)

    def test_puts_its_table_between_the_marks_of_a_page_as_often_as_it_is_told(self):
        self.run_report(1.0, ["keys"])
        page = self.folder / "page.md"
        page.write_text("before\n" + "".join(report.MARKS) + "after\n")
        for _ in range(2):
            report.document(self.folder / "bench.json", page)
        text = page.read_text()
        self.assertEqual(text.count("| a key |"), 1)
        self.assertTrue(text.startswith("before\n") and text.endswith("after\n"))


class Lines(unittest.TestCase):
    def test_name_only_benchmarks_that_there_are(self):
        sources = "".join(file.read_text() for file in BENCH.glob("*.cpp"))
        for line in json.loads((BENCH / "lines.json").read_text()):
            name = line["of"].split("/")[0]
            if name.startswith("KeyPressToSound"):  # put together from its parts
                name = "KeyPressToSound"
            self.assertIn(name, sources)


class Pictures(unittest.TestCase):
    def test_are_well_formed_also_of_little(self):
        for picture in (pictures.histogram({"PulseAudio": [3.0, 2.9, 55.0], "PipeWire": []}),
                        pictures.render_cost({0: 0.04, 9: 3.8}, {}),
                        pictures.render_cost({0: 0.04, 9: 3.8}, {1: 2.2, 9: 19.5})):
            ElementTree.fromstring(picture)

    def test_keep_every_word_out_of_what_is_drawn(self):
        drawn = pictures.render_cost({0: 0.04, 9: 3.8}, {1: 2.2, 9: 19.5})
        path = "{http://www.w3.org/2000/svg}path[@class='axis']"
        picture = ElementTree.fromstring(drawn)
        left, top, bottom, right = map(float, re.findall(r"[\d.]+", picture.find(path).get("d")))
        for text in picture.iter("{http://www.w3.org/2000/svg}text"):
            x, y = float(text.get("x")), float(text.get("y"))
            self.assertFalse(left <= x <= right and top < y < bottom, text.text)


if __name__ == "__main__":
    unittest.main()
