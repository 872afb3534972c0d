#!/usr/bin/python3 -B
# SPDX-License-Identifier: Apache-2.0

"""Why careful edits grow by time as they do: how much of it instructions and cache misses explain.

    caches.py BUILD_DIR RESULTS_DIR

Counts for each careful edit of 1,000 and of 10,000 parts, and for its floor, instructions and misses
of two caches under callgrind, in a second round: in memory that was used before, as in the benchmark.
The times are those of results.json. A growth by time is explained when it is that of the instructions
and what the misses take that come on top. The time of a miss is one figure for all edits: that by
which the shares that stay unexplained are least in their squares.
"""
import argparse
import json
import os
import re
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor
from dataclasses import dataclass
from pathlib import Path

SIZES = (1000, 10000)

# Size, ways, bytes of a line: what stands in a processor of today for each of its cores.
FIRST_LEVEL = "49152,12,64"
LAST_LEVEL = "2097152,16,64"

# By how much an explained growth may be wrong.
CLOSE = 0.15

PREFIXES = {"again": "careful: ", "floor": "careful floor: "}


def counts(build, case, size, what):
    """Instructions, misses of the first level, misses of the last one: of data."""
    command = ["valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null"]
    command += ["--cache-sim=yes", f"--D1={FIRST_LEVEL}", f"--LL={LAST_LEVEL}"]
    command += ["--toggle-collect=bench::Run*", str(build / "bench" / "one_careful_edit")]
    run = subprocess.run([*command, *case, str(size), what], capture_output=True, text=True)
    collected = re.search(r"Collected : ([\d ]+)", run.stderr)
    if run.returncode != 0 or not collected:
        sys.exit(f"caches.py: {' '.join(case)} failed\n{run.stderr}")
    # Ir Dr Dw I1mr D1mr D1mw ILmr DLmr DLmw; what is 0 at the end is left out.
    events = [int(count) for count in collected.group(1).split()]
    events += [0] * (9 - len(events))
    return events[0], events[4] + events[5], events[7] + events[8]


def all_counts(build, times):
    """By what was counted: case and dialect, size, edit or floor. Only of what was timed."""
    wanted = sorted(times, key=times.get, reverse=True)  # the longest first
    with ThreadPoolExecutor(len(os.sched_getaffinity(0))) as threads:
        return dict(zip(wanted, threads.map(lambda each: counts(build, *each), wanted)))


def read_times(results):
    """Milliseconds, by the same."""
    stored = json.loads((results / "results.json").read_text(encoding="utf-8"))
    times = {}
    for record in stored["operations"]:
        for what, prefix in PREFIXES.items():
            if record["name"].startswith(prefix) and record["n"] in SIZES and "error" not in record:
                case = (record["name"][len(prefix) :], record["dialect"])
                times[case, record["n"], what] = record["milliseconds"]
    return times


def growths(values):
    """How much more ten times as much takes, by cases and what."""
    return {
        (case, what): values[case, SIZES[1], what] / value
        for (case, size, what), value in values.items()
        if size == SIZES[0] and (case, SIZES[1], what) in values
    }


@dataclass
class Step:
    """From 1,000 to 10,000 parts: two growths, and what they leave open."""

    instructions: float
    time: float
    misses: float  # those that are more than grow with the instructions, for a ms of the less time

    def explained(self, milliseconds):
        """The growth by time if a miss takes so long, and an instruction what it took before."""
        return self.instructions + milliseconds * self.misses


def steps_of(counted, times, kind):
    instructions = growths({key: count[0] for key, count in counted.items()})
    by_time = growths(times)
    steps = {}
    for (case, what), growth in instructions.items():
        less, more = (counted[case, size, what][kind] for size in SIZES)
        misses = (more - growth * less) / times[case, SIZES[0], what]
        steps[case, what] = Step(growth, by_time[case, what], misses)
    return steps


def is_close(growth, step):
    return abs(growth / step.time - 1) <= CLOSE


def cost_of(steps):
    """The milliseconds of a miss by which the shares that are missed are least in their squares."""
    pairs = [(step.misses / step.time, 1 - step.instructions / step.time) for step in steps]
    return max(0, sum(x * y for x, y in pairs) / sum(x * x for x, _ in pairs))


def show(counted, times):
    print("growth by time of the edits that is explained:")
    for kind, name in ((2, "the last level"), (1, "the first level")):
        steps = steps_of(counted, times, kind)
        edits = [step for (_, what), step in steps.items() if what == "again"]
        cost = cost_of(edits)
        alone = sum(is_close(step.instructions, step) for step in edits)
        both = sum(is_close(step.explained(cost), step) for step in edits)
        print(
            f"  by instructions alone {alone} of {len(edits)}, with misses of {name} {both}"
            f" ({cost * 1e6:.1f} ns each)"
        )
    print(f"\n{'the edit / its floor':36} instructions           time  first-level misses  explained")
    for case, what in steps:
        if what == "again":
            show_case(case, steps, counted, cost)


def show_case(case, steps, counted, cost):
    pair = [steps[case, what] for what in PREFIXES]
    misses = [counted[case, size, "again"][1] for size in SIZES]
    print(
        f"{', '.join(case):36}",
        " / ".join(f"{step.instructions:5.1f}" for step in pair),
        " / ".join(f"{step.time:5.1f}" for step in pair),
        f"{misses[0]:>9,} {misses[1]:>11,}",
        f"{pair[0].explained(cost):6.1f}{'' if is_close(pair[0].explained(cost), pair[0]) else ' no'}",
    )


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("build", type=Path)
    parser.add_argument("results", type=Path)
    arguments = parser.parse_args()
    times = read_times(arguments.results)
    show(all_counts(arguments.build, times), times)


if __name__ == "__main__":
    main()
