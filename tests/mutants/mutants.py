#!/usr/bin/python3 -B
# SPDX-License-Identifier: Apache-2.0

"""Changes the code in one place at a time and sees whether a test notices.

    mutants.py [--count N] [--seed N] [--only REGEX] [--list] BUILD_DIR

Takes N changes at random out of all that it knows to make in src/edit and src/update: an operator
for another one, a condition that always or never holds or that loses a part, a number for the next
one, a statement left out. A copy of the sources is built once, with all changes in it: the variable
MUTANT of the environment says which one is made. For each of the N the tests run, the quick ones
first, until one fails. What no test has noticed is listed again at the end. Fails when fewer than
nine of ten are noticed.

A change has an ID, which stays the same while its function, its lines and the lines alike in that
file do. One that makes no difference at all stands in equivalent.txt with the reason, and is left
out; so is what does not compile, as other numbers for constants do not.
"""
import argparse
import collections
import ctypes
import hashlib
import os
import random
import re
import resource
import shutil
import signal
import subprocess
import sys
import tempfile
import time
from pathlib import Path

from clang import cindex
from clang.cindex import CursorKind, Diagnostic

SOURCE = Path(__file__).resolve().parent.parent.parent
EQUIVALENT = Path(__file__).resolve().parent / "equivalent.txt"
LEAST_NOTICED = 0.9
MOST_MEMORY = 4 << 30
MEMORY = Path("/dev/shm")  # tests write files there: on a disk they mostly wait for that

# What is changed, and the tests that have to notice: first those that take a moment and notice most.
PARTS = {
    "src/edit": [
        "edit_finding_test", "edit_comparison_test", "edit_parts_test", "edit_authored_line_test",
        "edit_statements_test", "edit_child_index_test", "edit_head_index_test",
        "edit_meant_tree_test", "edit_collisions_test", "edit_file_importer_test",
        "edit_lint_test", "edit_report_test", "edit_quoting_test", "edit_layout_test",
        "edit_placement_test", "edit_edit_test", "edit_inspect_test", "server_collisions_test",
        "edit_template_tree_test", "edit_prepared_edit_test",
        "edit_everyday_test", "edit_hazards_test", "edit_address_test", "edit_old_values_test",
        "edit_text_search_test", "edit_server_address_test", "edit_plan_test", "edit_subjects_test",
        "server_edit_test", "edit_interface_test", "edit_laws_test", "cli_warnings_test",
        "cli_inspect_test", "cli_explain_test", "cli_surprises_test", "cli_apply_test",
        "edit_alike_test", "edit_limits_test", "edit_engine_test", "edit_attack_test",
        "corpus_edit_test", "repetition_test"],
    "src/update": [
        "explained_output_test", "server_warnings_test", "descriptor_test", "digest_test", "open_files_test",
        "work_files_test", "shell_command_test", "server_commands_test", "overtaken_update_test",
        "failing_system_test", "cancelled_update_test", "host_process_test", "file_update_test",
        "update_threads_test", "side_by_side_test", "memory_update_test", "cli_apply_test",
        "cli_apply_server_test", "cli_surroundings_test", "cli_failing_machine_test",
        "interrupted_update_test"],
}

OTHER_OPERATOR = {
    "==": "!=", "!=": "==", "<": "<=", "<=": "<", ">": ">=", ">=": ">", "+": "-", "-": "+",
    "+=": "-=", "-=": "+=", "|": "&", "&": "|",
}
OTHER_NAME = {
    "min": "max", "max": "min", "front": "back", "back": "front", "find": "rfind", "rfind": "find",
    "all_of": "any_of", "any_of": "all_of", "none_of": "any_of",
    "lower_bound": "upper_bound", "upper_bound": "lower_bound",
}
ANOTHER_LITERAL = {"true": "false", "false": "true"}

FUNCTIONS = (CursorKind.FUNCTION_DECL, CursorKind.CXX_METHOD, CursorKind.CONSTRUCTOR,
             CursorKind.DESTRUCTOR, CursorKind.FUNCTION_TEMPLATE)
LOOPS = (CursorKind.FOR_STMT, CursorKind.CXX_FOR_RANGE_STMT, CursorKind.WHILE_STMT)
JUMPS = (CursorKind.CONTINUE_STMT, CursorKind.BREAK_STMT)

# Whether a change is made. It stands in each file by itself, so that nothing has to be linked.
SWITCH = """#ifndef MUTANTS_ON
#define MUTANTS_ON
#include <cstdlib>
namespace mutants {
inline bool On(unsigned long id) {
  static const char* const chosen = std::getenv("MUTANT");
  static const unsigned long number = chosen == nullptr ? 0 : std::strtoul(chosen, nullptr, 16);
  return id == number;
}
}  // namespace mutants
#endif
"""

# `text` stands for the bytes from `begin` to `end` of a file then, "" for a statement left out. What is
# a truth has to stay one: for most types with a test of their own, a bool would become one of them.
Change = collections.namedtuple("Change", "id file line begin end text is_truth where old new")


def shown(change):
    return (f"{change.id} {change.file}:{change.line}: {change.where}:"
            f" {change.old} -> {change.new}")


def parsed(root, file):
    options = ["-std=c++17", f"-I{root}/src", "-ferror-limit=0"]
    return cindex.Index.create().parse(str(root / file), args=options)


# Of each the whole message, and its places: files and offsets. Notes say where a template is used.
def errors(unit):
    return [(str(error), [(said.location.file.name, said.location.offset)
                          for said in [error, *error.children] if said.location.file])
            for error in unit.diagnostics if error.severity >= Diagnostic.Error]


# Whatever descendant of this process is left by its parent becomes a child of this process.
def adopt_descendants():
    set_child_subreaper = 36  # PR_SET_CHILD_SUBREAPER
    if ctypes.CDLL(None, use_errno=True).prctl(set_child_subreaper, 1, 0, 0, 0) != 0:
        sys.exit(f"mutants.py: prctl: {os.strerror(ctypes.get_errno())}")


def children():
    found = []
    for status in Path("/proc").glob("[0-9]*/stat"):
        try:
            parent = status.read_text().rpartition(")")[2].split()[1]
        except OSError:  # it has ended
            continue
        if int(parent) == os.getpid():
            found.append(int(status.parent.name))
    return found


# With each that ends, its own children come. Nothing else runs here at that time.
def end_descendants():
    while True:
        for child in children():
            os.kill(child, signal.SIGKILL)
        try:
            os.wait()
        except ChildProcessError:
            return


# Tests send signals, too, which a shell ignores for what it runs in the background.
def before_test():
    signal.signal(signal.SIGINT, signal.SIG_DFL)
    resource.setrlimit(resource.RLIMIT_AS, (MOST_MEMORY, MOST_MEMORY))


class Finder:
    """The changes that can be made in the files of one folder."""

    def __init__(self, folder):
        self.folder = folder
        self.texts = {}
        self.found = {}  # where each is made: where a header is read again, it is the same
        self.alike = collections.Counter()

    def read(self, file):
        unit = parsed(SOURCE, file)
        for message, _ in errors(unit):
            sys.exit(f"mutants.py: {message}")
        for cursor in unit.cursor.get_children():
            file = cursor.location.file
            if file and self.folder in Path(file.name).parents:
                self.file = str(Path(file.name).relative_to(SOURCE))
                self.text = self.texts.setdefault(self.file, Path(file.name).read_bytes())
                self.visit(cursor, "")

    # Not into what the compiler has to know the value of.
    def visit(self, cursor, where):
        if cursor.kind.is_declaration() and re.match("[a-z ]*constexpr ", self.source(cursor)):
            return
        if cursor.kind in FUNCTIONS:
            where = cursor.spelling
        self.where = where
        children = list(cursor.get_children())
        self.change(cursor, children)
        for child in children:
            self.visit(child, where)

    def source(self, cursor):
        return self.text[cursor.extent.start.offset:cursor.extent.end.offset].decode()

    # Each of `texts` may stand for `cursor`.
    def replace(self, cursor, *texts, is_truth=False):
        for text in texts:
            self.add(cursor.extent.start.offset, cursor.extent.end.offset, text, is_truth)

    def add(self, begin, end, text, is_truth):
        key = self.file, begin, end, text
        if key in self.found or self.text[begin:end].decode() == text:
            return
        first = self.text.rfind(b"\n", 0, begin) + 1
        last = self.text.find(b"\n", end)
        lines = [self.text[first:last].decode(),
                 self.text[first:begin].decode() + text + self.text[end:last].decode()]
        old, new = (" ".join(part.split()) for part in lines)
        same = self.file, self.where, old, new
        self.alike[same] += 1
        words = "\n".join((*same, str(self.alike[same])))
        self.found[key] = Change(hashlib.sha1(words.encode()).hexdigest()[:8], self.file,
                                 self.text.count(b"\n", 0, begin) + 1, begin, end, text,
                                 is_truth, self.where, old, new)

    def change(self, cursor, children):
        kind = cursor.kind
        if kind in (CursorKind.BINARY_OPERATOR, CursorKind.COMPOUND_ASSIGNMENT_OPERATOR):
            self.operator(cursor, children)
        elif kind == CursorKind.CALL_EXPR and cursor.spelling.startswith("operator"):
            self.operator(cursor, list(cursor.get_arguments()))
        elif kind == CursorKind.CALL_EXPR and children:
            self.name(cursor, children[0])
        elif kind == CursorKind.UNARY_OPERATOR and self.source(cursor).startswith("!"):
            self.replace(cursor, self.source(cursor)[1:], is_truth=True)
        elif kind == CursorKind.INTEGER_LITERAL and self.source(cursor).isdigit():
            self.replace(cursor, str(int(self.source(cursor)) + 1))
        elif kind == CursorKind.CXX_BOOL_LITERAL_EXPR:
            self.replace(cursor, ANOTHER_LITERAL.get(self.source(cursor), self.source(cursor)))
        elif kind in (CursorKind.IF_STMT, CursorKind.CONDITIONAL_OPERATOR):
            self.condition(children)
        elif kind == CursorKind.RETURN_STMT and children:
            self.returned(children[0])
        self.leave_out(kind, children)

    def operator(self, cursor, parts):
        if len(parts) != 2:
            return
        first, second = (self.source(part) for part in parts)
        start = cursor.extent.start.offset
        begin = parts[0].extent.end.offset - start
        end = parts[1].extent.start.offset - start
        written = self.source(cursor).encode()
        sign = written[begin:end].decode().strip()
        if sign in ("&&", "||"):
            self.replace(cursor, first, second, is_truth=True)
        elif sign in OTHER_OPERATOR:
            self.replace(cursor, f"{first} {OTHER_OPERATOR[sign]} {second}")

    def name(self, call, called):
        other = OTHER_NAME.get(call.spelling)
        if other:
            name = self.source(called)
            if name.endswith(call.spelling):
                name = name[:-len(call.spelling)] + other
                self.replace(call, name + self.source(call)[len(self.source(called)):])

    # The condition is the first expression; one that declares a variable is left alone.
    def condition(self, children):
        found = next((child for child in children if child.kind.is_expression()), None)
        if found and children[0].kind != CursorKind.VAR_DECL:
            self.replace(found, "true", "false", is_truth=True)

    def returned(self, value):
        if value.type.get_canonical().spelling == "bool" and value.kind.is_expression():
            self.replace(value, "true", "false", is_truth=True)

    def leave_out(self, kind, children):
        if kind in LOOPS:
            children = children[-1:]
        elif kind != CursorKind.COMPOUND_STMT:
            return
        for statement in children:
            if statement.kind.is_expression() or statement.kind in JUMPS:
                self.replace(statement, "")


class Copy:
    """A copy of the sources, with all changes in it, and its build."""

    def __init__(self, folder):
        self.source = folder / "source"
        self.build = folder / "build"
        self.limits = {}  # seconds for each test: a change may make a loop endless

    # Writes only what differs, so that no more than that is built again.
    def write(self, file, text):
        path = self.source / file
        if not path.is_file() or path.read_bytes() != text:
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_bytes(text)
            shutil.copymode(SOURCE / file, path)

    def copy(self, texts):
        listed = subprocess.run(["git", "ls-files", "--cached", "--others", "--exclude-standard"],
                                cwd=SOURCE, capture_output=True, text=True, check=True)
        files = {file for file in listed.stdout.splitlines() if (SOURCE / file).is_file()}
        for old in self.source.rglob("*"):
            if old.is_file() and str(old.relative_to(self.source)) not in files:
                old.unlink()
        for file in files - texts.keys():
            self.write(file, (SOURCE / file).read_bytes())

    # Puts the changes in, and returns those that compile there.
    def put_in(self, texts, changes):
        changes = set(changes)
        sources = [file for file in texts if file.endswith(".cpp")]
        while sources:
            rendered = {file: Rendered(text, [c for c in changes if c.file == file])
                        for file, text in texts.items()}
            for file, one in rendered.items():
                self.write(file, one.text)
            said, failing = [], []
            for file in sources:
                unit = parsed(self.source, file)
                said += errors(unit)
                failing += [file] if errors(unit) else []
            sources = failing
            wrong = {self.guilty(places, rendered) for _, places in said} - {None}
            if said and not wrong:
                sys.exit(f"mutants.py: {said[0][0]}")
            changes -= wrong
        return changes

    def guilty(self, places, rendered):
        for path, offset in places:
            file = os.path.relpath(path, self.source)
            change = rendered[file].change_at(offset) if file in rendered else None
            if change:
                return change
        return None

    def make(self, tests):
        subprocess.run(["cmake", "-G", "Ninja", "-S", self.source, "-B", self.build,
                        "-DCMAKE_CXX_COMPILER=clang++", "-DCMAKE_BUILD_TYPE=Debug",
                        # Without its last statement a function must not be taken to go on.
                        "-DCMAKE_CXX_FLAGS_DEBUG=-O1 -w -D_GLIBCXX_ASSERTIONS -fsanitize=return"
                        " -fsanitize-trap=return",
                        "-DQELTEMPLATE_BUILD_TESTS=ON", "-DQELTEMPLATE_STATIC_PROGRAM=OFF"],
                       check=True, stdout=subprocess.DEVNULL)
        made = subprocess.run(["cmake", "--build", self.build, "--target", *tests],
                              capture_output=True, text=True)
        if made.returncode != 0:
            sys.exit(f"mutants.py: the sources do not build\n{made.stdout}{made.stderr}")

    def passes(self, test, mutant):
        path = next(path for path in self.build.glob(f"tests/**/{test}") if path.is_file())
        folder = MEMORY if MEMORY.is_dir() else self.build
        with tempfile.TemporaryDirectory(dir=folder, ignore_cleanup_errors=True) as temporary:
            os.chmod(temporary, 0o755)  # other users edit there, too
            running = subprocess.Popen(
                [path, "--gtest_brief=1", "--gtest_fail_fast"], cwd=self.build,
                start_new_session=True, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                stderr=subprocess.DEVNULL, preexec_fn=before_test,
                env={**os.environ, "MUTANT": mutant, "RC_PARAMS": "seed=1", "TMPDIR": temporary})
            try:
                return running.wait(self.limits.get(test)) == 0
            except subprocess.TimeoutExpired:
                return False
            finally:
                running.kill()
                running.wait()
                end_descendants()

    def try_unchanged(self, tests):
        for test in tests:
            begin = time.monotonic()
            if not self.passes(test, ""):
                sys.exit(f"mutants.py: {test} fails without a change")
            self.limits[test] = 20 + 5 * (time.monotonic() - begin)

    # The first test that fails, "" when all pass.
    def noticed_by(self, change, tests):
        return next((test for test in tests if not self.passes(test, change.id)), "")


class Rendered:
    """The text of a file with all its changes: each behind its switch."""

    def __init__(self, text, changes):
        by_place = collections.defaultdict(list)
        for change in sorted(changes):
            by_place[change.begin, change.end].append(change)
        marks = []  # what is put in: at an offset what ends goes first, and what is longer is outside
        for (begin, end), here in by_place.items():
            before, behind = self.around(here)
            marks.append((begin, 1, begin - end, before, here))
            marks.append((end, 0, end - begin, behind, here))
        self.text = SWITCH.encode()
        self.spans = []  # of the text, with the change that they belong to
        opened = {}
        at = 0
        for offset, is_begin, _, added, here in sorted(marks, key=lambda mark: mark[:3]):
            self.text += text[at:offset]
            at = offset
            if is_begin:
                opened[here[0]] = len(self.text)
            self.text += added.encode()
            if not is_begin:
                self.spans.append((len(self.text) - opened[here[0]], opened[here[0]],
                                   len(self.text), here))
        self.text += text[at:]

    @staticmethod
    def around(changes):
        before, behind = "", ""
        instead = [change for change in changes if change.text]
        for change in changes:
            if not change.text:
                before += f"if (!mutants::On(0x{change.id})) "
        if instead:
            kind = "static_cast<bool>" if any(change.is_truth for change in instead) else ""
            choices = [f"mutants::On(0x{c.id}) ? {kind}({c.text}) : " for c in instead]
            before += f"({''.join(choices)}{kind}("
            behind = "))"
        return before, behind

    # The innermost.
    def change_at(self, offset):
        around = [span for span in self.spans if span[1] <= offset < span[2]]
        return min(around)[3][0] if around else None


def equivalents():
    lines = EQUIVALENT.read_text().splitlines()
    return {line.split()[0] for line in lines if line and line[0] not in "# "}


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--count", type=int, default=100, help="so many")
    parser.add_argument("--seed", type=int, default=int(time.time()))
    parser.add_argument("--only", metavar="REGEX", default="",
                        help="those with this in their line of --list: an ID, a file, a function")
    parser.add_argument("--list", action="store_true", help="show all, and try none")
    parser.add_argument("build", type=Path, metavar="BUILD_DIR")
    options = parser.parse_args()
    adopt_descendants()

    copy = Copy(options.build.resolve())
    texts, changes = {}, {}
    for part in PARTS:
        finder = Finder(SOURCE / part)
        for file in sorted((SOURCE / part).rglob("*.cpp")):
            finder.read(str(file.relative_to(SOURCE)))
        texts.update(finder.texts)
        changes.update((change, part) for change in finder.found.values())
    copy.copy(texts)
    compiling = copy.put_in(texts, changes)
    changes = [(change, part) for change, part in changes.items() if change in compiling]
    known = equivalents()
    for gone in sorted(known - {change.id for change, _ in changes}):
        print(f"{EQUIVALENT.name}: {gone} is no change of this code")
    changes = [(change, part) for change, part in changes
               if change.id not in known and re.search(options.only, shown(change))]
    if options.list:
        for change, _ in changes:
            print(shown(change))
        return

    print(f"{len(changes)} changes, seed {options.seed}", flush=True)
    random.Random(options.seed).shuffle(changes)
    changes = changes[:options.count]
    tests = sorted({test for _, part in changes for test in PARTS[part]})
    copy.make(tests)
    copy.try_unchanged(tests)
    tried, survivors = collections.Counter(), []
    for change, part in changes:
        test = copy.noticed_by(change, PARTS[part])
        tried[part] += 1
        if not test:
            survivors.append((part, change))
        print(f"{test or 'NOT NOTICED'}: {shown(change)}", flush=True)

    print("\nNot noticed:")
    for _, change in survivors:
        print(shown(change))
    for part, count in tried.items():
        print(f"{part}: {count - sum(of == part for of, _ in survivors)} of {count} noticed")
    if len(survivors) > (1 - LEAST_NOTICED) * sum(tried.values()):
        sys.exit(1)


if __name__ == "__main__":
    main()
