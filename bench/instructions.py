#!/usr/bin/python3 -B
# SPDX-License-Identifier: Apache-2.0

"""Counts the instructions of fixed requests and compares them with those in instructions.json.

    instructions.py [--update] BUILD_DIR

Fails when a request takes a tenth more than is written there. --update writes the counts down.
A count depends on the compiler and the C library, not on the machine's load.
"""
import argparse
import json
import re
import subprocess
import sys
from pathlib import Path

STORED = Path(__file__).resolve().parent / "instructions.json"
BOUND = 1.10

REQUESTS = [
    ("one-site", "Nginx", "1000"),
    ("every-site", "Apache", "300"),
    ("lines-of-one-block", "Nginx", "5000"),
]


def count(build, request):
    command = ["valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null"]
    command += [str(build / "bench" / "one_request"), *request]
    run = subprocess.run(command, capture_output=True, text=True)
    collected = re.search(r"Collected : (\d+)", run.stderr)
    if run.returncode != 0 or not collected:
        sys.exit(f"instructions.py: {' '.join(request)} failed\n{run.stderr}")
    return int(collected.group(1))


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--update", action="store_true", help=f"write {STORED.name} anew")
    parser.add_argument("build", type=Path)
    arguments = parser.parse_args()

    counts = {" ".join(request): count(arguments.build, request) for request in REQUESTS}
    if arguments.update:
        STORED.write_text(json.dumps(counts, indent=2) + "\n", encoding="utf-8")
    stored = json.loads(STORED.read_text(encoding="utf-8"))
    too_many = False
    for name, instructions in counts.items():
        ratio = instructions / stored[name]
        too_many = too_many or ratio > BOUND
        verdict = "too many" if ratio > BOUND else "ok"
        print(f"{name:32} {instructions:>14,}  {ratio - 1:+.1%}  {verdict}")
    if too_many:
        sys.exit("instructions.py: slower by more than a tenth; see docs/performance.md")


if __name__ == "__main__":
    main()
