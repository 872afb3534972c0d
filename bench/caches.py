#!/usr/bin/python3 -B
# SPDX-License-Identifier: Apache-2.0

"""Why careful edits grow by time as they do: how much of it instructions and misses explain.

    caches.py BUILD_DIR RESULTS_DIR

Counts for each careful edit of 1,000 and of 10,000 parts, and for its floor, under callgrind:
instructions, misses of two caches, and misses of two tables of pages; in a second round, so in
memory that was used before, as in the benchmark. The times are those of results.json. A growth by
time is explained when it is that of the instructions and what the misses take that come on top. The
time of a miss is one figure for all edits: that by which the shares that stay unexplained are least
in their squares.
"""
import argparse
import json
import os
import re
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

from scipy.optimize import nnls

SIZES = (1000, 10000)

# What stands in a processor of today for each of its cores: size, ways, bytes of a line. A table of
# pages is a cache whose lines are pages: these have room for 64 and for 2,048.
CACHES = ("49152,12,64", "2097152,16,64")
PAGES = ("262144,4,4096", "8388608,16,4096")
KINDS = ("48 KiB", "2 MiB", "64 pages", "2,048 pages")

# By how much an explained growth may be wrong.
CLOSE = 0.15

PREFIXES = {"again": "careful: ", "floor": "careful floor: "}


def misses(build, case, size, what, levels):
    """Instructions, and the misses of two levels: of data."""
    command = ["valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null"]
    command += ["--cache-sim=yes", f"--D1={levels[0]}", f"--LL={levels[1]}"]
    command += ["--toggle-collect=bench::Run*", str(build / "bench" / "one_careful_edit")]
    run = subprocess.run([*command, *case, str(size), what], capture_output=True, text=True)
    collected = re.search(r"Collected : ([\d ]+)", run.stderr)
    if run.returncode != 0 or not collected:
        sys.exit(f"caches.py: {' '.join(case)} failed\n{run.stderr}")
    # Ir Dr Dw I1mr D1mr D1mw ILmr DLmr DLmw; what is 0 at the end is left out.
    events = [int(count) for count in collected.group(1).split()]
    events += [0] * (9 - len(events))
    return events[0], events[4] + events[5], events[7] + events[8]


def counts(build, case, size, what):
    """Instructions, then misses in the order of KINDS."""
    instructions, *of_caches = misses(build, case, size, what, CACHES)
    _, *of_pages = misses(build, case, size, what, PAGES)
    return instructions, *of_caches, *of_pages


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


class Step:
    """From 1,000 to 10,000 parts: two growths, and what they leave open."""

    def __init__(self, less, more, times):
        self.instructions = more[0] / less[0]
        self.time = times[1] / times[0]
        # Those that are more than grow with the instructions, for a ms of the less time.
        self.misses = [(b - self.instructions * a) / times[0] for a, b in zip(less[1:], more[1:])]

    def explained(self, costs):
        """The growth by time if misses take so many ms, and an instruction what it took before."""
        return self.instructions + sum(cost * count for cost, count in zip(costs, self.misses))

    def is_explained(self, costs):
        return abs(self.explained(costs) / self.time - 1) <= CLOSE


def costs_of(steps, kinds):
    """The ms of a miss of each kind: 0 where it is not among `kinds`, or explains nothing more."""
    shares = [[step.misses[kind] / step.time for kind in kinds] for step in steps]
    open_shares = [1 - step.instructions / step.time for step in steps]
    costs = [0.0] * len(KINDS)
    for kind, cost in zip(kinds, nnls(shares, open_shares)[0]):
        costs[kind] = cost
    return costs


def show(counted, times):
    """What is explained, by each kind of misses and by all of them."""
    steps = {}
    for case, size, what in counted:
        keys = [(case, each, what) for each in SIZES]
        if size == SIZES[0] and keys[1] in counted:
            steps[case, what] = Step(*(counted[key] for key in keys), [times[key] for key in keys])
    edits = {case: step for (case, what), step in steps.items() if what == "again"}

    def show_kinds(name, costs):
        explained = sum(step.is_explained(costs) for step in edits.values())
        taken = [f"{cost * 1e6:.1f} ns, {kind}" for kind, cost in zip(KINDS, costs) if cost]
        print(f"  {name}: {explained} of {len(edits)}", *(f"({each})" for each in taken))

    print(f"growth by time of the edits that is explained to {CLOSE:.0%}:")
    show_kinds("by instructions alone", [0.0] * len(KINDS))
    for kind, name in enumerate(KINDS):
        show_kinds(f"with misses of {name}", costs_of(edits.values(), [kind]))
    costs = costs_of(edits.values(), range(len(KINDS)))
    show_kinds("with all of them", costs)
    head = f"{'the edit / its floor':36} instructions           time  explained  misses by the edit"
    print(f"\n{head}")
    for case, step in edits.items():
        floor = steps[case, "floor"]
        by_size = [counted[case, size, "again"][1:] for size in SIZES]
        print(
            f"{', '.join(case):36}",
            f"{step.instructions:5.1f} / {floor.instructions:5.1f}",
            f"{step.time:5.1f} / {floor.time:5.1f}",
            f"{step.explained(costs):6.1f}{'' if step.is_explained(costs) else ' no':3}",
            *(f"{count:>11,}" for counts_of_kind in zip(*by_size) for count in counts_of_kind),
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
