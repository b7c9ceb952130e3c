"""The tables of docs/performance*.md from what the benchmarks left, as figures.toml describes them.

A time is the least CPU time of all repetitions of a row; a ratio is that of two such times.
"""
import json
import math
import re
import statistics
from pathlib import Path

LEVELS = [{"head": "all"}, {"head": "v3", "level": "v3"}, {"head": "v1", "level": "v1"}]
NANOSECONDS = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}
UNITS = {"ns": 1, "µs": 1e3, "ms": 1e6, "s": 1e9}


# --- results ---------------------------------------------------------------------------------------


class Results:
    """The JSON files of Google Benchmark in one folder per run (a program at a level)."""

    def __init__(self, folder, runs):
        self.folder = Path(folder)
        self.runs = runs
        self.files = {}

    def load(self, run):
        if run not in self.files:
            paths = sorted((self.folder / run).glob("*.json"))
            self.files[run] = [json.loads(path.read_text()) for path in paths]
        return self.files[run]

    def contexts(self, run):
        return [file["context"] for file in self.load(run)]

    def times(self, run, name):
        """Nanoseconds of each repetition, by the counter of the run that counts seconds per item."""
        counters = self.runs[run.split(".")[0]].get("per", [])
        found = []
        for file in self.load(run):
            for row in file["benchmarks"]:
                if row["run_name"] != name or row["run_type"] != "iteration" or row.get("error_occurred"):
                    continue
                per_item = [row[counter] * 1e9 for counter in counters if counter in row]
                found.append(per_item[0] if per_item else row["cpu_time"] * NANOSECONDS[row["time_unit"]])
        return found

    def time(self, run, expression, per=1):
        """The least time of a row, or of a sum or difference of rows; None where one has no figure."""
        total = 0
        for sign, name in terms(expression):
            times = self.times(run, name)
            if not times:
                return None
            total += sign * min(times)
        return total / per


def terms(expression):
    """The signs and names of `a + b - c`."""
    sign, found = 1, []
    for part in re.split(r" ([+-]) ", expression):
        if part in "+-":
            sign = 1 if part == "+" else -1
        else:
            found.append((sign, part))
    return found


# --- tables ----------------------------------------------------------------------------------------


def columns_of(table):
    return LEVELS if table["columns"] == "levels" else table["columns"]


def run_of(table, column):
    run = column.get("run", table.get("run"))
    return run + "." + column["level"] if "level" in column else run


def options_of(table, row):
    return {"per": table.get("per", 1), **(row[2] if len(row) > 2 else {})}


def beside_of(run, beside):
    """The run and name of a row of the same run, or of [run, name] in another one at the same level."""
    if isinstance(beside, str):
        return run, beside
    other, name = beside
    return ".".join([other, *run.split(".")[1:]]), name


def needed(table):
    """All (run, name) that the table shows."""
    found = set()
    for row in table["rows"]:
        options = options_of(table, row)
        for i, column in enumerate(columns_of(table)):
            if i and options.get("first"):
                continue
            run = run_of(table, column)
            for key in row[1] if isinstance(row[1], list) else [row[1]]:
                expressions = [(run, column.get("name", "{}").format(key))]
                if "ratio" in column:
                    expressions.append((run, column["ratio"].format(key)))
                if "beside" in options:
                    expressions.append(beside_of(run, options["beside"]))
                found.update((r, name) for r, expression in expressions for _, name in terms(expression))
    return found


def values(table, results):
    """Per row its label, its options, and per column a time, a ratio or None; without empty rows."""
    found = []
    for row in table["rows"]:
        options = options_of(table, row)
        means = isinstance(row[1], list)
        cells = []
        for i, column in enumerate(columns_of(table)):
            if i and options.get("first"):
                cells.append(None)
            elif means:
                cells.append(mean_ratio(table, column, row[1], results))
            else:
                cells.append(cell(table, column, row[1], options, results))
        if any(value is not None for value in cells):
            found.append((row[0], {**options, "means": means}, cells))
    return found


def cell(table, column, key, options, results):
    run = run_of(table, column)
    time = results.time(run, column.get("name", "{}").format(key), options["per"])
    if time is None:
        return None
    if "ratio" in column:
        base = results.time(run, column["ratio"].format(key), options["per"])
        return time / base if base else None
    if "rate" in column:
        return options["samples"] / column["rate"] / (time * 1e-9)
    return time


def mean_ratio(table, column, keys, results):
    """The geometric mean over the keys of the time relative to qorac's."""
    first = columns_of(table)[0]
    base = column.get("base", first.get("name", "{}"))
    logs = []
    for key in keys:
        time = results.time(run_of(table, column), column.get("name", "{}").format(key))
        ours = results.time(run_of(table, first), base.format(key))
        if time is None or ours is None:
            return None
        logs.append(math.log(time / ours))
    return math.exp(statistics.fmean(logs))


# --- text ------------------------------------------------------------------------------------------


def number(value):
    """Three significant digits."""
    rounded = float(f"{value:.3g}")
    return f"{rounded:.0f}" if rounded >= 100 else f"{rounded:#.3g}".rstrip(".")


def ratio(value):
    return "1" if value == 1 else f"{value:.2f}" if value < 9.995 else f"{value:.1f}"


def unit_of(times):
    """The largest unit in which the least of the times is at least 1."""
    least = min(times, default=1)
    return [unit for unit, size in UNITS.items() if least >= size or unit == "ns"][-1]


def line(cells):
    return "|" + "|".join(f" {cell} " if cell else " " for cell in cells) + "|"


def markdown(table, results):
    columns = columns_of(table)
    labels = table["label"].count("|") + 1
    lines = [line([table["label"], *(column["head"] for column in columns)]),
             line(["---"] * labels + ["---:"] * len(columns))]
    for label, options, cells in values(table, results):
        timed = [not options["means"] and not {"ratio", "rate"} & column.keys() for column in columns]
        times = [value for value, is_time in zip(cells, timed) if is_time and value is not None]
        unit = table.get("unit") or unit_of(times)
        texts = []
        for column, value, is_time in zip(columns, cells, timed):
            if value is None:
                texts.append("")
            elif not is_time:
                texts.append(number(value) if "rate" in column else ratio(value))
            else:
                text = f"{number(value / UNITS[unit])} {unit}"
                if "beside" in options:
                    base = results.time(*beside_of(run_of(table, column), options["beside"]))
                    text += f" ({value / base:.1f})" if base else ""
                texts.append(text)
        lines.append(line([label, *texts]))
    return "\n".join(lines)


def spread(results, wanted):
    """Of each row, by how much the median of its repetitions exceeds the least: median and 90 %."""
    excess = []
    for run, name in sorted(wanted):
        times = results.times(run, name)
        if len(times) > 1:
            excess.append(statistics.median(times) / min(times) - 1)
    return statistics.quantiles(excess, n=10)[4::4] if len(excess) > 1 else None


# --- pages -----------------------------------------------------------------------------------------

BLOCK = re.compile(r"(<!-- figures: (\S+) -->\n)(.*?)(<!-- end -->)", re.DOTALL)


def blocks(text):
    """What stands between the markers of a page, by name."""
    return {name: body for _, name, body, _ in BLOCK.findall(text)}


def with_blocks(text, bodies):
    """The page with the bodies of those blocks that are given; all else stays."""
    def put(found):
        head, name, body, end = found.groups()
        return head + (bodies[name].rstrip("\n") + "\n" if name in bodies else body) + end
    return BLOCK.sub(put, text)
