"""The generator of the tables of docs/performance, on small results, and its description against the pages."""
import json
import sys
import tempfile
import tomllib
import unittest
from pathlib import Path

ROOT = Path(sys.argv.pop(1) if len(sys.argv) > 1 else Path(__file__).parents[2])
sys.path.insert(0, str(ROOT / "bench/figures"))
import tables  # noqa: E402


def row(name, time, unit="ns", **more):
    return {"run_name": name, "run_type": "iteration", "cpu_time": time, "time_unit": unit, **more}


class Made(unittest.TestCase):
    """Results of two runs, one of them at two levels and in two rounds."""

    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.keep("a", 0, row("ours/4", 30), row("ours/4", 20), row("ours/5", 50), row("theirs/4", 40),
                  row("whole", 3, "ms"), row("plain", 400), row("upsampled", 1000),
                  row("broken", 1, error_occurred=True),
                  {**row("ours/4", 1), "run_type": "aggregate"})
        self.keep("a", 1, row("ours/4", 25), row("theirs/5", 200), row("upsampled", 900))
        self.keep("a.v3", 0, row("ours/4", 1500))
        self.keep("b", 0, row("slots", 9999, perSlot=12e-9), row("alone", 10))
        self.keep("b.v3", 0, row("alone", 1000))
        self.results = tables.Results(self.folder.name, {"a": {}, "b": {"per": ["perSlot"]}})

    def keep(self, run, turn, *rows):
        path = Path(self.folder.name) / run
        path.mkdir(exist_ok=True)
        (path / f"{turn}-00.json").write_text(json.dumps({"context": {}, "benchmarks": rows}))

    def lines(self, rows, columns=None, **more):
        table = {"label": "Step", "run": "a", "columns": columns or [{"head": "Time"}], "rows": rows, **more}
        return tables.markdown(table, self.results).split("\n")

    def test_a_time_is_the_least_of_all_rounds(self):
        self.assertEqual(self.results.time("a", "ours/4"), 20)
        self.assertEqual(self.results.time("a", "whole"), 3e6)

    def test_a_time_can_be_that_of_an_item(self):
        self.assertAlmostEqual(self.results.time("b", "slots"), 12)
        self.assertEqual(self.results.time("a", "ours/4", 10), 2)

    def test_a_time_can_be_a_sum_or_a_difference(self):
        self.assertEqual(self.results.time("a", "upsampled - plain"), 500)
        self.assertEqual(self.results.time("a", "ours/4 + ours/5"), 70)
        self.assertIsNone(self.results.time("a", "upsampled - absent"))

    def test_rows_with_errors_and_absent_rows_have_no_figure(self):
        self.assertIsNone(self.results.time("a", "broken"))
        self.assertIsNone(self.results.time("a.v1", "ours/4"))
        self.assertEqual(self.lines([["x", "broken"], ["y", "ours/4"]])[2:], ["| y | 20.0 ns |"])

    def test_levels_are_columns_and_a_row_has_one_unit(self):
        self.assertEqual(self.lines([["x", "ours/4"], ["y", "ours/5"]], "levels"), [
            "| Step | all | v3 | v1 |",
            "| --- | ---: | ---: | ---: |",
            "| x | 20.0 ns | 1500 ns | |",
            "| y | 50.0 ns | | |",
        ])

    def test_a_table_can_have_one_unit(self):
        self.assertEqual(self.lines([["x", "whole"], ["y", "plain"]], unit="µs")[2:],
                         ["| x | 3000 µs |", "| y | 0.400 µs |"])

    def test_first_leaves_the_other_columns_empty(self):
        self.assertEqual(self.lines([["x", "ours/4", {"first": True}]], "levels")[2], "| x | 20.0 ns | | |")

    def test_ratios_stand_beside_times(self):
        columns = [{"head": "Time"}, {"head": "relative", "ratio": "ours/4"}]
        self.assertEqual(self.lines([["x", "ours/4"], ["y", "theirs/4"]], columns)[2:],
                         ["| x | 20.0 ns | 1 |", "| y | 40.0 ns | 2.00 |"])

    def test_beside_is_of_the_same_level(self):
        self.assertEqual(self.lines([["x", "ours/4", {"beside": ["b", "alone"]}]], "levels")[2],
                         "| x | 20.0 ns (2.0) | 1500 ns (1.5) | |")
        self.assertEqual(self.lines([["x", "theirs/4", {"beside": "ours/4"}]])[2], "| x | 40.0 ns (2.0) |")

    def test_means_are_geometric_and_relative_to_the_first_column(self):
        columns = [{"head": "ours", "name": "ours/{}"}, {"head": "theirs", "name": "theirs/{}"}]
        self.assertEqual(self.lines([["mean", ["4", "5"]]], columns)[2], "| mean | 1 | 2.83 |")
        columns[1]["base"] = "theirs/{}"
        self.assertEqual(self.lines([["mean", ["4", "5"]]], columns)[2], "| mean | 1 | 1 |")
        self.assertEqual(len(self.lines([["mean", ["4", "6"]]], columns)), 2)

    def test_a_rate_says_how_much_faster_than_real_time(self):
        columns = [{"head": "Time"}, {"head": "times", "rate": 48000}]
        self.assertEqual(self.lines([["x", "ours/4", {"samples": 96}]], columns)[2], "| x | 20.0 ns | 100000 |")

    def test_needed_rows_are_those_of_all_cells(self):
        table = {"label": "", "run": "a", "columns": [{"head": "", "name": "ours/{}"},
                                                      {"head": "", "level": "v3", "ratio": "r/{}"}],
                 "rows": [["x", "4", {"beside": ["b", "alone"]}], ["y", ["5"]], ["z", "6", {"first": True}]]}
        self.assertEqual(tables.needed(table), {
            ("a", "ours/4"), ("b", "alone"), ("a.v3", "4"), ("a.v3", "r/4"), ("b.v3", "alone"),
            ("a", "ours/5"), ("a.v3", "5"), ("a.v3", "r/5"), ("a", "ours/6")})

    def test_spread_is_how_far_medians_exceed_the_least(self):
        self.assertIsNone(tables.spread(self.results, {("a", "plain")}))
        half, most = tables.spread(self.results, {("a", "ours/4"), ("a", "upsampled"), ("a", "plain")})
        self.assertAlmostEqual(half, (0.25 + 950 / 900 - 1) / 2)
        self.assertGreater(most, half)


class Texts(unittest.TestCase):
    def test_numbers_have_three_digits(self):
        for value, text in ((0.61, "0.610"), (7.48, "7.48"), (9.999, "10.0"), (99.96, "100"), (104.4, "104"),
                            (1426, "1430"), (11867, "11900")):
            self.assertEqual(tables.number(value), text)

    def test_ratios_have_two_digits_behind_the_point_up_to_ten(self):
        for value, text in ((1, "1"), (1.004, "1.00"), (0.5, "0.50"), (9.99, "9.99"), (9.996, "10.0"), (12.04, "12.0")):
            self.assertEqual(tables.ratio(value), text)

    def test_blocks_are_put_between_their_markers_and_nothing_else_changes(self):
        page = "a\n<!-- figures: x -->\nold\n<!-- end -->\nb\n<!-- figures: y -->\nkept\n<!-- end -->\n"
        self.assertEqual(tables.blocks(page), {"x": "old\n", "y": "kept\n"})
        self.assertEqual(tables.with_blocks(page, {"x": "| \\1 |\n| 2 |"}), page.replace("old", "| \\1 |\n| 2 |"))
        empty = "<!-- figures: x -->\n<!-- end -->\n"
        self.assertEqual(tables.with_blocks(empty, {"x": "new"}), "<!-- figures: x -->\nnew\n<!-- end -->\n")


class Pages(unittest.TestCase):
    """What figures.toml says and what the pages hold."""

    def setUp(self):
        self.config = tomllib.loads((ROOT / "bench/figures/figures.toml").read_text())
        self.pages = {str(path.relative_to(ROOT / "docs")): path.read_text()
                      for path in [ROOT / "docs/performance.md", *(ROOT / "docs/performance").glob("*.md")]}

    def test_each_table_has_its_place_and_each_place_its_table(self):
        described = {(table["page"], name) for kind in ("tables", "printed")
                     for name, table in self.config[kind].items()} | {("performance.md", "provenance")}
        marked = [(page, name) for page, text in self.pages.items() for name in tables.blocks(text)]
        self.assertEqual(sorted(marked), sorted(described))
        self.assertEqual(sum(text.count("<!-- figures:") for text in self.pages.values()), len(marked))

    def test_the_pages_hold_the_columns_and_rows_that_are_described(self):
        for name, table in self.config["tables"].items():
            lines = tables.blocks(self.pages[table["page"]])[name].strip().split("\n")
            heads = [table["label"], *(column["head"] for column in tables.columns_of(table))]
            self.assertEqual(lines[0], tables.line(heads), name)
            starts = [tables.line([row[0], "x"])[:-3] for row in table["rows"]]
            for line in lines[2:]:
                self.assertTrue(any(line.startswith(start) for start in starts), f"{name}: {line}")

    def test_each_row_is_of_a_run_that_is_described_and_of_a_preset(self):
        presets = {entry["name"] for entry in json.loads((ROOT / "CMakePresets.json").read_text())["configurePresets"]}
        for name, table in self.config["tables"].items():
            for run, _ in tables.needed(table):
                program, *level = run.split(".")
                self.assertIn(program, self.config["runs"], name)
                self.assertIn("-".join(["bench", *level]), presets, f"{name}: {run}")


if __name__ == "__main__":
    unittest.main()
