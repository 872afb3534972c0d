#!/usr/bin/python3 -B
# SPDX-License-Identifier: Apache-2.0

"""Runs every benchmark of a build directory and writes results.json, README.md and the plots.

    run.py [--quick] BUILD_DIR RESULTS_DIR

Quick: shorter measurements and smaller sizes, to see that everything works.
"""
import argparse
import json
import os
import statistics
import subprocess
import sys
import tempfile
from dataclasses import dataclass
from pathlib import Path

import report

BENCH = Path(__file__).resolve().parent

MEMORY_SITES = 10000
MEMORY_RUNS = 3

# The log is measured at one size only.
LOG_SIZES_LEFT_OUT = "^log .*/(100|1000|100000)/"


@dataclass
class Tools:
    """The programs of a build."""

    build: Path

    def bench(self, name):
        return str(self.build / "bench" / name)

    @property
    def qeltemplate(self):
        return str(self.build / "src" / "cli" / "qeltemplate")

    @property
    def node_modules(self):
        return str(self.build / "peers" / "node_modules")

    def sites(self, what, dialect, sites):
        """The text that write_sites writes."""
        command = [self.bench("write_sites"), what, dialect, str(sites)]
        return subprocess.run(command, check=True, capture_output=True, text=True).stdout

    def measured(self, command, output="/dev/null", limit=120):
        """What run_limited says of one run; what the program says is shown when it fails."""
        command = [self.bench("run_limited"), str(limit), str(output), *map(str, command)]
        environment = {**os.environ, "NODE_PATH": self.node_modules}
        run = subprocess.run(command, check=True, capture_output=True, text=True, env=environment)
        figures = json.loads(run.stdout)
        if figures["status"] != 0:
            print(" ".join(command), figures, run.stderr, sep="\n", file=sys.stderr)
        return figures


def machine():
    """The kind of machine: "2 cores, Debian 12"."""
    lines = Path("/etc/os-release").read_text(encoding="utf-8").splitlines()
    release = {name: value.strip('"') for name, _, value in (line.partition("=") for line in lines)}
    name = release["NAME"].removesuffix(" GNU/Linux")
    return f"{len(os.sched_getaffinity(0))} cores, {name} {release['VERSION_ID']}"


# --- Operations of the library, in one process ---


def speed(tools, quick):
    """Each operation, dialect and size: the median time, and the median ratio to its base."""
    left_out = LOG_SIZES_LEFT_OUT + ("|/100000/" if quick else "")
    with tempfile.NamedTemporaryFile(suffix=".json") as file:
        command = [
            tools.bench("speed"),
            f"--benchmark_filter=-{left_out}",
            f"--benchmark_min_time={0.005 if quick else 0.05}",
            "--benchmark_enable_random_interleaving=true",
            f"--benchmark_out={file.name}",
        ]
        subprocess.run(command, check=True, stdout=subprocess.DEVNULL)
        runs = [run for run in json.load(file)["benchmarks"] if run["run_type"] == "iteration"]
    grouped = {}
    for run in runs:
        grouped.setdefault(run["run_name"].rsplit("/", 1)[0], []).append(run)
    times = {
        name: {run["repetition_index"]: run["cpu_time"] for run in runs}
        for name, runs in grouped.items()
        if not any(run.get("error_occurred") for run in runs)
    }
    in_order = sorted(grouped.items(), key=lambda group: group[1][0]["family_index"])
    return [operation(name, runs[0], times) for name, runs in in_order]


def operation(name, run, times):
    """The record of one benchmark; `times` are those of all, by name and repetition."""
    case, dialect, n = name.split("/")
    base = run.get("label", "")
    record = {"name": case, "dialect": dialect, "n": int(n), "base": base.split("/")[0]}
    if name not in times:
        return record | {"error": run["error_message"], "ratio": None}
    record |= {"milliseconds": statistics.median(times[name].values()), "ratio": None}
    if base in times:
        ratios = (time / times[base][i] for i, time in times[name].items())
        record["ratio"] = statistics.median(ratios)
    return record


# --- Peak memory ---


def memory(tools, folder):
    """For each dialect the peaks of the floor and of an edit of one site."""
    records = []
    for dialect in ("Nginx", "Apache"):
        config, template = folder / f"{dialect}.conf", folder / f"{dialect}.template"
        config.write_text(tools.sites("config", dialect, MEMORY_SITES), encoding="utf-8")
        template.write_text(tools.sites("template", dialect, MEMORY_SITES), encoding="utf-8")
        record = {"dialect": dialect, "n": MEMORY_SITES}
        record["floor_kib"] = peak(tools, ["floor", config])
        record["edit_kib"] = peak(tools, [dialect, config, template])
        record["text_kib"] = config.stat().st_size / 1024
        only_text = peak(tools, ["text", config])
        record["document_kib"] = peak(tools, [dialect, config]) - only_text
        records.append(record)
    return records


def peak(tools, arguments):
    runs = [tools.measured([tools.bench("one_edit"), *arguments]) for _ in range(MEMORY_RUNS)]
    if any(run["status"] != 0 for run in runs):
        sys.exit("run.py: one_edit failed")
    return statistics.median(run["peak_kib"] for run in runs)


# --- Whole processes: the program, its peers, and nginx reading the file ---


class Task:
    """The edit that every program does: another root for one of the servers of a file."""

    def __init__(self, tools, folder, sites):
        self.sites = sites
        number = sites // 2
        self.server_name = f"site{number}.example www.site{number}.example"
        self.old_root = f"/srv/site{number}/public"
        self.new_root = f"/srv/site{number}/htdocs"
        self.original = tools.sites("config", "Nginx", sites)
        self.config = folder / "sites.conf"
        self.output = folder / "output"
        template = tools.sites("template", "Nginx", sites)
        self.template = self.write(folder / "site.template", template)
        self.augeas = self.write(
            folder / "edit.augeas",
            f"set \"/files{self.config}/server[server_name='{self.server_name}']/root\""
            f" {self.new_root}\nsave\n",
        )
        self.main = self.write(
            folder / "nginx.conf",
            f"pid {folder}/nginx.pid;\nevents {{}}\nhttp {{\n"
            f"server_names_hash_bucket_size 128;\nserver_names_hash_max_size {4 * sites};\n"
            f"access_log off;\ninclude {self.config};\n}}\n",
        )

    @staticmethod
    def write(path, text):
        path.write_text(text, encoding="utf-8")
        return path

    def prepare(self):
        self.write(self.config, self.original)
        self.write(self.output, "")

    def is_done(self, result):
        """Whether the file `result` differs from the original in the one root, blanks aside."""
        wanted = self.original.replace(self.old_root + ";", self.new_root + ";")
        return result.read_text(encoding="utf-8").split() == wanted.split()


@dataclass
class Program:
    """A program to measure, and where its result is."""

    name: str
    command: callable  # of the tools and the task
    result: callable  # of the task: the edited file; None: the program edits nothing


def in_place(task):
    return task.config


def script(interpreter, name):
    path = BENCH / "peers" / name
    return lambda _, task: [interpreter, path, task.config, task.server_name, task.new_root]


PROGRAMS = [
    Program(
        "qeltemplate",
        lambda tools, task: [
            *(tools.qeltemplate, "apply", "--dialect", "nginx", "--template", task.template),
            *("--old", "folder=public", "--set", "folder=htdocs", task.config),
        ],
        lambda task: task.output,
    ),
    Program(
        "augtool",
        lambda _, task: [
            *("augtool", "--noautoload", "--transform", f"Nginx.lns incl {task.config}"),
            *("--file", task.augeas),
        ],
        in_place,
    ),
    Program("certbot's parser", script(sys.executable, "certbot.py"), in_place),
    Program("@webantic/nginx-config-parser", script("node", "webantic.js"), in_place),
    Program("nginx-conf", script("node", "nginx-conf.js"), in_place),
    Program("nginx -t", lambda _, task: ["nginx", "-t", "-e", "stderr", "-c", task.main], None),
]


def runs_wanted(first):
    """How often a program is run, by its first run."""
    if first["outcome"] != "done":
        return 1
    return 15 if first["seconds"] < 0.5 else 5 if first["seconds"] < 5 else 1


def run_once(tools, task, program, limit):
    task.prepare()
    figures = tools.measured(program.command(tools, task), task.output, limit)
    if figures["seconds"] >= limit:
        return figures | {"outcome": f"over {limit} s"}
    right = program.result is None or task.is_done(program.result(task))
    return figures | {"outcome": "done" if figures["status"] == 0 and right else "failed"}


def summary(program, sites, runs):
    outcomes = {run["outcome"] for run in runs}
    return {
        "program": program.name,
        "n": sites,
        "outcome": (outcomes - {"done"} or outcomes).pop(),
        "seconds": statistics.median(run["seconds"] for run in runs),
        "peak_kib": statistics.median(run["peak_kib"] for run in runs),
        "runs": len(runs),
    }


def processes(tools, folder, all_sites, limit):
    """Takes turns: every program once, then again those that are quick enough."""
    records = []
    for sites in all_sites:
        task = Task(tools, folder, sites)
        runs = {program.name: [] for program in PROGRAMS}
        waiting = list(PROGRAMS)
        while waiting:
            for program in waiting:
                runs[program.name].append(run_once(tools, task, program, limit))
            waiting = [
                program
                for program in waiting
                if len(runs[program.name]) < runs_wanted(runs[program.name][0])
            ]
        records += [summary(program, sites, runs[program.name]) for program in PROGRAMS]
    return records


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--quick", action="store_true")
    parser.add_argument("build", type=Path)
    parser.add_argument("results", type=Path)
    arguments = parser.parse_args()
    tools = Tools(arguments.build.resolve())
    with tempfile.TemporaryDirectory() as folder:
        results = {
            "machine": machine(),
            "quick": arguments.quick,
            "processes": processes(
                tools,
                Path(folder),
                (100, 1000) if arguments.quick else (100, 1000, 10000),
                20 if arguments.quick else 120,
            ),
            "memory": memory(tools, Path(folder)),
            "operations": speed(tools, arguments.quick),
        }
    arguments.results.mkdir(parents=True, exist_ok=True)
    (arguments.results / "results.json").write_text(json.dumps(results, indent=1) + "\n")
    report.write(results, arguments.results)


if __name__ == "__main__":
    main()
