#!/usr/bin/python3 -B
# SPDX-License-Identifier: Apache-2.0

"""Counts the instructions of fixed requests and edits, or how the counts of edits grow.

    instructions.py [--update] BUILD_DIR
    instructions.py --growth BUILD_DIR

Fails when a request or an edit takes a tenth more than is written in instructions.json, or with
--growth when a careful edit grows faster than its input. --update writes the counts down. A count
depends on the compiler and the C library, not on the machine's load.
"""
import argparse
import json
import os
import re
import subprocess
import sys
import tempfile
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

STORED = Path(__file__).resolve().parent / "instructions.json"
BOUND = 1.10

REQUESTS = [
    ("one-site", "Nginx", "1000"),
    ("one-site", "Apache", "1000"),
    ("from-the-last", "Nginx", "1000"),
    ("every-site", "Apache", "300"),
    ("lines-of-one-block", "Nginx", "5000"),
]

EDITS = [
    ("one site", "Nginx", "10000"),
    ("one site", "Apache", "10000"),
    ("sites there", "Apache", "300"),
    ("sites missing", "Nginx", "300"),
    ("half the lines there", "Nginx", "1000"),
]

ALL_TEMPLATE = (
    "server {\n\tlisten 127.0.0.1:8080;\n\tlocation /static/ {\n\t\texpires {% $time %};\n\t}\n}\n"
)

# The whole program, edits of many files of one site each: how many, and for which of them.
PROGRAM_RUNS = [("one of 1000 files", 1000), ("all of 300 files", 300)]

# From N to 2 N an edit takes twice as much more as from N / 2 to N, if it grows as its input does;
# four times as much if it grows with the square. Sorting, and longer numbers, take a little more.
GROWTH_N = 600
GROWTH_BOUND = 1.10


def count(build, program, arguments):
    command = ["valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null"]
    if program == "one_careful_edit":
        command.append("--toggle-collect=bench::RunChecked*")  # not the making of the case
    command += [str(build / "bench" / program), *arguments]
    run = subprocess.run(command, capture_output=True, text=True)
    collected = re.search(r"Collected : (\d+)", run.stderr)
    if run.returncode != 0 or not collected:
        sys.exit(f"instructions.py: {' '.join(arguments)} failed\n{run.stderr}")
    return int(collected.group(1))


def program_count(build, case, files):
    """What the program takes. In one thread, since others wait for one another."""
    sites = str(build / "bench" / "write_sites")
    text = subprocess.run(
        [sites, "config", "Nginx", str(files)], check=True, capture_output=True, text=True
    ).stdout
    with tempfile.TemporaryDirectory() as folder:
        names = []
        for number, site in enumerate(text.split("server {")[1:]):
            names.append(str(Path(folder) / f"{number}.conf"))
            Path(names[-1]).write_text("server {" + site, encoding="utf-8")
        template = Path(folder) / "site.template"
        options = ["--set", "time=60d", "--old", "time=30d"]
        template.write_text(ALL_TEMPLATE, encoding="utf-8")
        if case.startswith("one "):
            with template.open("w", encoding="utf-8") as output:
                subprocess.run([sites, "template", "Nginx", str(files)], check=True, stdout=output)
            options = ["--set", "folder=htdocs", "--old", "folder=public", "--skip-missing"]
        command = ["valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null"]
        command += [str(build / "src" / "cli" / "qeltemplate"), "apply", "--dialect", "nginx"]
        command += ["--template", str(template), *options, "--jobs=1", "--in-place", *names]
        run = subprocess.run(command, capture_output=True, text=True)
        changed = "1 changed" if case.startswith("one ") else f"{files} changed"
        collected = re.search(r"Collected : (\d+)", run.stderr)
        if run.returncode != 0 or not collected or f"qeltemplate: {changed}," not in run.stderr:
            sys.exit(f"instructions.py: {case} failed\n{run.stderr[-2000:]}")
        return int(collected.group(1))


def fixed_counts(build):
    counts = {" ".join(each): count(build, "one_request", each) for each in REQUESTS}
    counts |= {
        "careful " + " ".join(each): count(build, "one_careful_edit", each) for each in EDITS
    }
    counts |= {"program " + case: program_count(build, case, n) for case, n in PROGRAM_RUNS}
    return counts


def compare(counts):
    """Whether a count is too large."""
    stored = json.loads(STORED.read_text(encoding="utf-8"))
    too_many = False
    for name, instructions in counts.items():
        ratio = instructions / stored[name]
        too_many = too_many or ratio > BOUND
        verdict = "too many" if ratio > BOUND else "ok"
        print(f"{name:40} {instructions:>14,}  {ratio - 1:+.1%}  {verdict}")
    return too_many


def growth(build, case):
    """How much faster than its input an edit grows: 1 is as fast, 2 with the square."""
    less, middle, more = (
        count(build, "one_careful_edit", [*case.split("/"), str(n)])
        for n in (GROWTH_N // 2, GROWTH_N, 2 * GROWTH_N)
    )
    return (more - middle) / (middle - less) / 2


def compare_growth(build):
    """Whether an edit grows too fast."""
    listed = subprocess.run(
        [str(build / "bench" / "one_careful_edit")], check=True, capture_output=True, text=True
    )
    cases = listed.stdout.splitlines()
    too_fast = False
    with ThreadPoolExecutor(len(os.sched_getaffinity(0))) as threads:
        for case, figure in zip(cases, threads.map(lambda case: growth(build, case), cases)):
            too_fast = too_fast or figure > GROWTH_BOUND
            verdict = "too fast" if figure > GROWTH_BOUND else "ok"
            print(f"growth of {case:30} {figure:>14.3f}  {verdict}")
    return too_fast


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--update", action="store_true", help=f"write {STORED.name} anew")
    parser.add_argument("--growth", action="store_true", help="see how edits grow instead")
    parser.add_argument("build", type=Path)
    arguments = parser.parse_args()
    if arguments.growth:
        if compare_growth(arguments.build):
            sys.exit("instructions.py: grows too fast; see docs/performance.md")
        return

    counts = fixed_counts(arguments.build)
    if arguments.update:
        STORED.write_text(json.dumps(counts, indent=2) + "\n", encoding="utf-8")
    if compare(counts):
        sys.exit("instructions.py: slower than it was; see docs/performance.md")


if __name__ == "__main__":
    main()
