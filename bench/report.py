#!/usr/bin/python3 -B
# SPDX-License-Identifier: Apache-2.0

"""Writes README.md and the plots from the figures of run.py, and shows the goals.

    report.py RESULTS_DIR     writes them anew from results.json
"""
import json
import math
import sys
from dataclasses import dataclass
from pathlib import Path

import matplotlib

matplotlib.use("svg")
from matplotlib import pyplot  # noqa: E402

PROGRAM = "qeltemplate"
SED = "sed -i"
COPY = "cp"
CAREFUL = "careful: "
CAREFUL_FLOOR = "careful floor: "
SERVER = "nginx -t"
ONE_BLOCK = ("lines of one block", "listens of one block")


@dataclass
class Goal:
    """A bound and the figure beside it; `figure` is None where it was not measured."""

    text: str
    figure: float
    bound: float
    at_least: bool = False  # False: at most
    note: str = ""

    def verdict(self):
        if self.figure is None:
            return "not measured"
        met = self.figure >= self.bound if self.at_least else self.figure <= self.bound
        return "met" if met else "**missed**"

    def row(self):
        bound = f"{'at least' if self.at_least else 'at most'} {self.bound:g}"
        figure = "" if self.figure in (None, math.inf) else f"{self.figure:.2f}"
        return [self.text, bound, f"{figure} {self.note}".strip(), self.verdict()]


# --- Figures out of results ---


def operation(results, name, dialect, n):
    for record in results["operations"]:
        if (record["name"], record["dialect"], record["n"]) == (name, dialect, n):
            return record
    return None


def growth(results, record):
    """How much longer ten times as much takes; None where it was not measured."""
    larger = operation(results, record["name"], record["dialect"], 10 * record["n"])
    if not larger or "error" in record or "error" in larger:
        return None
    return larger["milliseconds"] / record["milliseconds"]


def label(record):
    return f"{record['name']}, {record['dialect']}, N = {record['n']:,}"


def is_library(record):
    others = ("floor", CAREFUL, CAREFUL_FLOOR)
    return not record["name"].startswith(others) and record["name"] != "containers alone"


def process(results, program, n):
    for record in results["processes"]:
        if (record["program"], record["n"]) == (program, n):
            return record
    return None


def peers(results):
    names = dict.fromkeys(record["program"] for record in results["processes"])
    simple = (SERVER, SED, COPY)
    return [name for name in names if name not in simple and not name.startswith(PROGRAM)]


# --- Goals ---


def ratio_goals(results):
    for name, bound in (("reading", 2.0), ("edit one site", 2.5), ("find one site", 1.5)):
        for dialect in ("Nginx", "Apache"):
            record = operation(results, name, dialect, 10000)
            figure = math.inf if "error" in record else record["ratio"]
            text = f"{label(record)}: time / floor"
            limit = operation(results, "containers alone", dialect, 10000)
            by_view = limit and name != "find one site"
            note = f"(containers alone: {limit['ratio']:.2f})" if by_view else ""
            note = record.get("error", note)
            yield Goal(text, figure, bound, note=note)


def memory_goals(results):
    for record in results["memory"]:
        text = f"edit one site, {record['dialect']}, N = {record['n']:,}: peak memory / floor"
        yield Goal(text, record["edit_kib"] / record["floor_kib"], 1.6)
        text = f"document, {record['dialect']}, N = {record['n']:,}: memory / text"
        yield Goal(text, record["document_kib"] / record["text_kib"], 1)


def growth_goals(results):
    library = [record for record in results["operations"] if is_library(record)]
    one_block = [record for record in library if record["name"] in ONE_BLOCK]
    others = [record for record in library if record["name"] not in ONE_BLOCK]
    yield from most_growth(results, "all but the one-block cases", others, 12)
    yield from most_growth(results, "the one-block cases", one_block, 13)


def most_growth(results, which, records, bound):
    """The worst that could be measured, and each that could not."""
    text = f"most growth from N to 10 N, {which}"
    for record in records:
        if "error" in record:
            yield Goal(text, math.inf, bound, note=f"{label(record)}: {record['error']}")
    growths = [(growth(results, record), record) for record in records]
    figure, record = max((pair for pair in growths if pair[0]), key=lambda pair: pair[0])
    base = operation(results, record["base"], record["dialect"], record["n"])
    base_figure = growth(results, base)
    base_note = f"; {record['base']}: {base_figure:.2f}" if base_figure else ""
    yield Goal(text, figure, bound, note=f"({label(record)}{base_note})")


def process_goals(results):
    comparisons = [(name, 10000, 3) for name in peers(results)]
    comparisons += [(SERVER, 10000, 20), ("augtool", 1000, 30)]
    for name, n, bound in comparisons:
        text = f"{PROGRAM} as a process, N = {n:,}: how many times faster than {name}"
        yield faster_goal(text, process(results, PROGRAM, n), process(results, name, n), bound)


def faster_goal(text, program, other, bound):
    if not program or not other:
        return Goal(text, None, bound, at_least=True)
    if program["outcome"] != "done":
        return Goal(text, 0, bound, at_least=True, note=f"({PROGRAM}: {program['outcome']})")
    if other["outcome"] == "failed":
        return Goal(text, None, bound, at_least=True, note="(it failed)")
    figure = other["seconds"] / program["seconds"]
    note = "" if other["outcome"] == "done" else f"or more ({other['outcome']})"
    return Goal(text, figure, bound, at_least=True, note=note)


def time_of(record):
    return record["seconds"] if record and record["outcome"] == "done" else None


def time_ratio(record, other):
    times = time_of(record), time_of(other)
    return times[0] / times[1] if all(times) else None


def sed_goals(results):
    """Beside what everyone has at hand, in the same mode: nothing is waited for."""

    def one(program, n):
        return process(results, program, n)

    for n, bound in ((1, 1.5), (10000, 1.0)):
        text = f"{PROGRAM} as a process, N = {n:,}: time / {SED}"
        yield Goal(text, time_ratio(one(PROGRAM, n), one(SED, n)), bound)
    text = f"{PROGRAM} as a process, N = 100,000: time / N = 10,000"
    yield Goal(text, time_ratio(one(PROGRAM, 100000), one(PROGRAM, 10000)), 11)
    for n in (10000, 100000):
        record = one(PROGRAM, n)
        figure = (record["peak_kib"] - 10 * 1024) / record["text_kib"] if time_of(record) else None
        yield Goal(f"{PROGRAM} as a process, N = {n:,}: peak memory but 10 MiB / file", figure, 3)
    for command in ("--diff", "explain", "inspect"):
        text = f"{PROGRAM} {command}, N = 10,000: time / the edit"
        figure = time_ratio(one(f"{PROGRAM} {command}", 10000), one(PROGRAM, 10000))
        yield Goal(text, figure, 2)
    files = {record["program"]: record for record in results["files"]}
    for program, other, bound in (
        (f"{PROGRAM} --skip-missing", "grep -l and sed -i", 1.0),
        (f"{PROGRAM} on all files", "sed -i on all files", 1.5),
    ):
        record = files[program]
        text = f"{program}, {record['n']:,} files: time / {other}"
        yield Goal(text, time_ratio(record, files[other]), bound)
    # Results from before the program had it have no such record.
    sites = files.get(f"{PROGRAM} sites")
    if sites:
        text = f"{PROGRAM} sites, {sites['n']:,} files: seconds"
        yield Goal(text, time_of(sites), 1)
        text = f"{PROGRAM} sites, {sites['n']:,} files: how many times faster than nginx -t"
        yield faster_goal(text, sites, files["nginx -t on all files"], 1)


def careful_growth_goals(results):
    """The growth of each careful edit as a multiple of its floor's: the worst, and what failed."""
    text = "most growth of a careful edit from N to 10 N / that of its floor"
    worst = (0, None)
    for record in results["operations"]:
        if not record["name"].startswith(CAREFUL):
            continue
        if "error" in record:
            yield Goal(text, math.inf, 1.1, note=f"{label(record)}: {record['error']}")
            continue
        floor = operation(results, record["base"], record["dialect"], record["n"])
        factors = growth(results, record), growth(results, floor)
        if all(factors):
            worst = max(worst, (factors[0] / factors[1], label(record)))
    yield Goal(text, worst[0] or None, 1.1, note=f"({worst[1]})")


GOALS = (
    ratio_goals,
    memory_goals,
    growth_goals,
    careful_growth_goals,
    sed_goals,
    process_goals,
)


# --- Text ---


def table(head, rows):
    lines = [head, ["---"] * len(head), *rows]
    return "".join("| " + " | ".join(line) + " |\n" for line in lines)


def goal_table(results):
    rows = [goal.row() for goals in GOALS for goal in goals(results)]
    return table(["Goal", "Bound", "Figure", ""], rows)


def memory_table(results):
    rows = [
        [record["dialect"], f"{record['n']:,}"]
        + [f"{record[key] / 1024:.1f} MiB" for key in ("floor_kib", "edit_kib", "document_kib")]
        for record in results["memory"]
    ]
    return table(["Dialect", "N", "Floor", "Edit one site", "Document, beside its text"], rows)


def process_table(records):
    rows = []
    for record in records:
        row = [record["program"], f"{record['n']:,}"]
        if record["outcome"] == "done":
            row += [f"{1000 * record['seconds']:.1f} ms", f"{record['peak_kib'] / 1024:.1f} MiB"]
        else:
            row += [record["outcome"], ""]
        rows.append([*row, str(record["runs"])])
    return table(["Program", "N", "Time", "Peak memory", "Runs"], rows)


def operation_table(results):
    rows = []
    for record in results["operations"]:
        row = [record["name"], record["dialect"], f"{record['n']:,}"]
        if "error" in record:
            rows.append([*row, record["error"], "", ""])
            continue
        ratio = f"{record['ratio']:.2f} ({record['base']})" if record["ratio"] else ""
        factor = growth(results, record)
        row += [f"{record['milliseconds']:.3f}", ratio, f"{factor:.1f}" if factor else ""]
        rows.append(row)
    return table(["Operation", "Dialect", "N", "ms", "Ratio (to)", "Growth to 10 N"], rows)


def readme(results):
    quick = " A quick run, too short for figures to rely on." if results["quick"] else ""
    return f"""# Results of `make bench`

Measured on {results["machine"]}, everything in one run.{quick} What is measured, and how:
[../README.md](../README.md).

![Time of the program and of others](time.svg)
![Peak memory of the program and of others](memory.svg)

## Goals

{goal_table(results)}
## Whole processes

Change the `root` of one of N servers and write the file back. Medians of the runs.

{process_table(results["processes"])}
The same where each of N files has one server, one of them concerned or all.

{process_table(results["files"])}
## Peak memory of the library

{memory_table(results)}
## Operations of the library

Medians of processor time, and of the ratios to what is named in brackets.

{operation_table(results)}"""


# --- Plots ---


def plot(results, title, value, path):
    figure, axes = pyplot.subplots(figsize=(8, 5), layout="constrained")
    for program in dict.fromkeys(record["program"] for record in results["processes"]):
        if program.startswith(PROGRAM + " "):
            continue
        records = [record for record in results["processes"] if record["program"] == program]
        done = [record for record in records if record["outcome"] == "done"]
        others = [f"{r['outcome']} at {r['n']:,}" for r in records if r not in done]
        axes.plot(
            [record["n"] for record in done],
            [value(record) for record in done],
            marker="o",
            linewidth=3 if program == PROGRAM else 1.5,
            label=program + (f" ({', '.join(others)})" if others else ""),
        )
    axes.set(xscale="log", yscale="log", xlabel="servers in the file", ylabel=title)
    axes.grid(which="both", alpha=0.2)
    axes.legend()
    figure.savefig(path, metadata={"Date": None})
    pyplot.close(figure)


def write(results, folder):
    matplotlib.rcParams["svg.hashsalt"] = PROGRAM
    time, memory = folder / "time.svg", folder / "memory.svg"
    plot(results, "seconds", lambda record: record["seconds"], time)
    plot(results, "peak memory, MiB", lambda record: record["peak_kib"] / 1024, memory)
    (folder / "README.md").write_text(readme(results), encoding="utf-8")
    print(goal_table(results), end="")


if __name__ == "__main__":
    directory = Path(sys.argv[1])
    write(json.loads((directory / "results.json").read_text(encoding="utf-8")), directory)
