#!/usr/bin/python3 -B
# SPDX-License-Identifier: Apache-2.0

"""Runs every benchmark of a build directory and writes results.json, README.md and the plots.

    run.py [--quick] BUILD_DIR RESULTS_DIR

Quick: shorter measurements and smaller sizes, to see that everything works.
"""
import argparse
import json
import os
import resource
import shutil
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


def speed(tools, program, quick):
    """Each operation, dialect and size: the median time, and the median ratio to its base."""
    left_out = LOG_SIZES_LEFT_OUT + ("|/100000/" if quick else "")
    with tempfile.NamedTemporaryFile(suffix=".json") as file:
        command = [
            tools.bench(program),
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

# Nobody waits for a disk there, whoever asks for it: sed does not, the program does.
MEMORY_FOLDER = "/dev/shm"
MEMORY_NEEDED = 500 << 20

VALUES = ("--old", "folder=public", "--set", "folder=htdocs")


def write(path, text):
    path.write_text(text, encoding="utf-8")
    return path


class Task:
    """The edit that every program does: another root for one of the servers of a file."""

    def __init__(self, tools, folder, sites):
        self.sites = sites
        number = sites // 2
        self.server_name = f"site{number}.example www.site{number}.example"
        self.old_root = f"/srv/site{number}/public"
        self.new_root = f"/srv/site{number}/htdocs"
        self.original = tools.sites("config", "Nginx", sites)
        self.size = len(self.original)
        self.config = folder / "sites.conf"
        self.output = folder / "output"
        self.template = write(folder / "site.template", tools.sites("template", "Nginx", sites))
        self.tenth = range(0, sites, 10)
        self.tenth_template = write(
            folder / "tenth.template", tools.sites("tenth-template", "Nginx", sites)
        )
        self.augeas = write(
            folder / "edit.augeas",
            f"set \"/files{self.config}/server[server_name='{self.server_name}']/root\""
            f" {self.new_root}\nsave\n",
        )
        self.main = write(
            folder / "nginx.conf",
            f"pid {folder}/nginx.pid;\nevents {{}}\nhttp {{\n"
            f"server_names_hash_bucket_size 128;\nserver_names_hash_max_size {4 * sites};\n"
            f"access_log off;\ninclude {self.config};\n}}\n",
        )

    def prepare(self):
        write(self.config, self.original)
        write(self.output, "")

    def holds(self, path, wanted):
        """Whether the file is the wanted text, blanks aside."""
        return path.read_text(encoding="utf-8").split() == wanted.split()

    def edited(self):
        return self.original.replace(self.old_root + ";", self.new_root + ";")


def edited_in_place(task):
    return task.holds(task.config, task.edited())


def edited_in_output(task):
    return task.holds(task.output, task.edited())


def tenth_edited(task):
    wanted = dict.fromkeys(f"/srv/site{number}/public;" for number in task.tenth)
    lines = [
        word.replace("/public;", "/htdocs;") if word in wanted else word
        for word in task.original.split()
    ]
    return task.config.read_text(encoding="utf-8").split() == lines


def nothing_to_look_at(_):
    return True


@dataclass
class Program:
    """A program to measure, and how to see that it has done its task."""

    name: str
    command: callable  # of the tools and the task
    is_done: callable  # of the task
    most_sites: int = 10000


def apply(tools, task, *options, template=None):
    command = [tools.qeltemplate, "apply", "--dialect", "nginx"]
    return command + ["--template", template or task.template, *VALUES, *options, task.config]


def script(interpreter, name):
    path = BENCH / "peers" / name
    return lambda _, task: [interpreter, path, task.config, task.server_name, task.new_root]


PROGRAMS = [
    Program(
        "qeltemplate",
        lambda tools, task: apply(tools, task, "--in-place"),
        edited_in_place,
        most_sites=100000,
    ),
    Program(
        "sed -i",
        lambda _, task: ["sed", "-i", f"s!{task.old_root};!{task.new_root};!", task.config],
        edited_in_place,
        most_sites=100000,
    ),
    Program("cp", lambda _, task: ["cp", task.config, task.output], nothing_to_look_at, 100000),
    Program("qeltemplate to its output", apply, edited_in_output),
    Program(
        "qeltemplate --diff",
        lambda tools, task: apply(tools, task, "--diff"),
        nothing_to_look_at,
    ),
    Program(
        "qeltemplate explain",
        lambda tools, task: [
            *(tools.qeltemplate, "explain", "--dialect", "nginx"),
            *("--template", task.template, *VALUES, task.config),
        ],
        nothing_to_look_at,
    ),
    Program(
        "qeltemplate inspect",
        lambda tools, task: [tools.qeltemplate, "inspect", "--dialect", "nginx", task.config],
        nothing_to_look_at,
    ),
    Program(
        "qeltemplate on a tenth of the sites",
        lambda tools, task: apply(tools, task, "--in-place", template=task.tenth_template),
        tenth_edited,
    ),
    Program(
        "augtool",
        lambda _, task: [
            *("augtool", "--noautoload", "--transform", f"Nginx.lns incl {task.config}"),
            *("--file", task.augeas),
        ],
        edited_in_place,
    ),
    Program("certbot's parser", script(sys.executable, "certbot.py"), edited_in_place),
    Program(
        "@webantic/nginx-config-parser", script("node", "webantic.js"), edited_in_place
    ),
    Program("nginx-conf", script("node", "nginx-conf.js"), edited_in_place),
    Program(
        "nginx -t",
        lambda _, task: ["nginx", "-t", "-e", "stderr", "-c", task.main],
        nothing_to_look_at,
    ),
]


# --- The same for many files of one site each ---


class FilesTask:
    """Another root in one of many files, or another time in all of them."""

    def __init__(self, tools, folder, count):
        self.sites = count
        text = tools.sites("config", "Nginx", count)
        self.size = len(text)
        self.texts = ["server {" + site for site in text.split("server {")[1:]]
        self.folder = folder / "files"
        self.folder.mkdir(exist_ok=True)
        self.files = [self.folder / f"{number}.conf" for number in range(count)]
        self.output = folder / "output"
        self.main = write(
            folder / "many.conf",
            f"pid {folder}/nginx.pid;\nevents {{}}\nhttp {{\n"
            f"server_names_hash_bucket_size 128;\nserver_names_hash_max_size {4 * count};\n"
            f"access_log off;\ninclude {self.folder}/*.conf;\n}}\n",
        )
        self.number = count // 2
        self.template = write(folder / "site.template", tools.sites("template", "Nginx", count))
        self.all_template = write(
            folder / "all.template",
            "server {\n\tlisten 127.0.0.1:8080;\n\tlocation /static/ {\n"
            "\t\texpires {% $time %};\n\t}\n}\n",
        )

    def prepare(self):
        for file, text in zip(self.files, self.texts):
            write(file, text)
        write(self.output, "")

    def holds(self, wanted):
        return all(
            file.read_text(encoding="utf-8") == wanted(number, text)
            for number, (file, text) in enumerate(zip(self.files, self.texts))
        )


def one_file_edited(task):
    return task.holds(
        lambda number, text: text.replace("/public;", "/htdocs;") if number == task.number else text
    )


def all_sites_listed(task):
    """Whether each file is named once, by a site of its own."""
    lines = task.output.read_text(encoding="utf-8").splitlines()
    return sorted(line.split("\t")[-1] for line in lines) == sorted(f"{file}:1" for file in task.files)


def all_files_edited(task):
    return task.holds(lambda _, text: text.replace("expires 30d;", "expires 60d;"))


FILE_PROGRAMS = [
    Program(
        "qeltemplate --skip-missing",
        lambda tools, task: [
            *(tools.qeltemplate, "apply", "--dialect", "nginx", "--template", task.template),
            *(*VALUES, "--in-place", "--skip-missing", *task.files),
        ],
        one_file_edited,
    ),
    Program(
        "grep -l and sed -i",
        lambda _, task: [
            *("sh", "-c", 'sed -i "s!$0/public;!$0/htdocs;!" $(grep -lF "$0/public;" "$@")'),
            *(f"/srv/site{task.number}", *task.files),
        ],
        one_file_edited,
    ),
    Program(
        "qeltemplate on all files",
        lambda tools, task: [
            *(tools.qeltemplate, "apply", "--dialect", "nginx", "--template", task.all_template),
            *("--old", "time=30d", "--set", "time=60d", "--in-place", *task.files),
        ],
        all_files_edited,
    ),
    Program(
        "sed -i on all files",
        lambda _, task: ["sed", "-i", "s!expires 30d;!expires 60d;!", *task.files],
        all_files_edited,
    ),
    Program(
        "the update of all files alone",
        lambda tools, task: [tools.bench("update_files"), "expires 30d;", "expires 60d;", *task.files],
        all_files_edited,
    ),
    Program(
        "qeltemplate sites",
        lambda tools, task: [tools.qeltemplate, "sites", "--dialect", "nginx", task.main],
        all_sites_listed,
    ),
    Program(
        "qeltemplate inspect --server",
        lambda tools, task: [
            *(tools.qeltemplate, "inspect", "--server", "--dialect", "nginx", task.main)
        ],
        nothing_to_look_at,
    ),
    Program("cat of all files", lambda _, task: ["cat", *task.files], nothing_to_look_at),
    Program(
        "nginx -t on all files",
        lambda _, task: ["nginx", "-t", "-e", "stderr", "-c", task.main],
        nothing_to_look_at,
    ),
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
    right = figures["status"] == 0 and program.is_done(task)
    return figures | {"outcome": "done" if right else "failed"}


def summary(program, task, runs):
    outcomes = {run["outcome"] for run in runs}
    return {
        "program": program.name,
        "n": task.sites,
        "text_kib": task.size / 1024,
        "outcome": (outcomes - {"done"} or outcomes).pop(),
        "seconds": statistics.median(run["seconds"] for run in runs),
        "peak_kib": statistics.median(run["peak_kib"] for run in runs),
        "runs": len(runs),
    }


def in_turn(tools, task, programs, limit):
    """Takes turns: every program once, then again those that are quick enough."""
    waiting = [program for program in programs if task.sites <= program.most_sites]
    runs = {program.name: [] for program in waiting}
    records = list(waiting)
    while waiting:
        for program in waiting:
            runs[program.name].append(run_once(tools, task, program, limit))
        waiting = [
            program
            for program in waiting
            if len(runs[program.name]) < runs_wanted(runs[program.name][0])
        ]
    return [summary(program, task, runs[program.name]) for program in records]


def processes(tools, folder, quick):
    limit = 20 if quick else 120
    records = []
    for sites in (1, 100, 1000) if quick else (1, 100, 1000, 10000, 100000):
        records += in_turn(tools, Task(tools, folder, sites), PROGRAMS, limit)
    return records


def file_count(wanted):
    """As many files as an edit of all may have open at a time, two descriptors for each."""
    limit = resource.getrlimit(resource.RLIMIT_NOFILE)[1]
    return wanted if limit == resource.RLIM_INFINITY else min(wanted, limit // 200 * 100 - 100)


def file_processes(tools, folder, quick):
    task = FilesTask(tools, folder, file_count(1000 if quick else 10000))
    return in_turn(tools, task, FILE_PROGRAMS, 20 if quick else 120)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--quick", action="store_true")
    parser.add_argument("build", type=Path)
    parser.add_argument("results", type=Path)
    arguments = parser.parse_args()
    tools = Tools(arguments.build.resolve())
    if shutil.disk_usage(MEMORY_FOLDER).free < MEMORY_NEEDED:
        sys.exit(f"run.py: {MEMORY_FOLDER} needs {MEMORY_NEEDED >> 20} MiB")
    with tempfile.TemporaryDirectory(dir=MEMORY_FOLDER) as folder:
        results = {
            "machine": machine(),
            "quick": arguments.quick,
            "processes": processes(tools, Path(folder), arguments.quick),
            "files": file_processes(tools, Path(folder), arguments.quick),
            "memory": memory(tools, Path(folder)),
            "operations": speed(tools, "speed", arguments.quick)
            + speed(tools, "careful", arguments.quick),
        }
    arguments.results.mkdir(parents=True, exist_ok=True)
    (arguments.results / "results.json").write_text(json.dumps(results, indent=1) + "\n")
    report.write(results, arguments.results)


if __name__ == "__main__":
    main()
