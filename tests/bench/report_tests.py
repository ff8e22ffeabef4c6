"""What the report of the benchmarks says of figures: report_tests.py FOLDER-OF-THE-REPORT."""

import json
import sys
import tempfile
import unittest
import xml.etree.ElementTree as ElementTree
from contextlib import redirect_stdout
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
        (self.results / "keys.json").write_text(json.dumps({"benchmarks": [
            {"name": "Key/iterations:5/manual_time", "median": median, "p99": 4.0}]}))
        printed = StringIO()
        with redirect_stdout(printed):
            status = report.report(self.results, self.lines, self.folder, parts)
        return status, printed.getvalue()

    def test_fails_only_where_a_budget_is_missed(self):
        self.assertEqual(self.run_report(1.0, ["keys"])[0], 0)
        self.assertEqual(self.run_report(9.0, ["keys"])[0], 1)
        self.assertEqual(self.run_report(1.0, [])[0], 1, "the other part did not run")

    def test_survives_a_program_that_did_not_end(self):
        (self.results / "render.json").write_text('{"benchmarks": [')
        self.assertEqual(self.run_report(1.0, [])[0], 1)

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


if __name__ == "__main__":
    unittest.main()
