# SPDX-License-Identifier: Apache-2.0

"""What mypy makes of the package: the stubs are those of the module, and say what is right."""

import ast
import os
import re
import subprocess
import sys
from pathlib import Path

import pytest

import qeltemplate

PACKAGE = Path(qeltemplate.__file__).parent
# Lines that must not pass say so, and why.
USE = Path(__file__).with_name("typed_use.py")
# The oldest Python that the package is for.
OLDEST = (3, 9)


def run(module, *arguments):
    environment = dict(os.environ)
    if PACKAGE.parent.name != "site-packages":  # where mypy looks by itself
        environment["MYPYPATH"] = str(PACKAGE.parent)
    command = [sys.executable, "-m", module, *map(str, arguments)]
    return subprocess.run(command, capture_output=True, text=True, check=False, env=environment)


def test_stubs_are_those_of_the_module(tmp_path):
    allowed = tmp_path / "allowed"
    # Only the metaclass of pybind11: there is nothing to say of it in a stub.
    classes = ("Files", "Parser", "Request", "Server")
    allowed.write_text("".join(f"qeltemplate._qeltemplate.{name}\n" for name in classes), encoding="utf-8")
    outcome = run("mypy.stubtest", "--allowlist", allowed, "qeltemplate._qeltemplate")
    assert outcome.returncode == 0, outcome.stdout + outcome.stderr


def test_the_package_itself_is_typed(tmp_path):
    version = ".".join(map(str, OLDEST))
    outcome = run("mypy", "--strict", "--python-version", version, "--cache-dir", tmp_path, PACKAGE)
    assert outcome.returncode == 0, outcome.stdout + outcome.stderr


@pytest.mark.parametrize("source", sorted(PACKAGE.glob("*.py")), ids=lambda path: path.name)
def test_the_oldest_python_reads_it(source):
    ast.parse(source.read_text(encoding="utf-8"), source.name, feature_version=OLDEST)


def test_types_are_checked(tmp_path):
    outcome = run("mypy", "--strict", "--cache-dir", tmp_path, USE)
    found = {}
    for line, name in re.findall(r":(\d+): error: .*\[([a-z-]+)\]", outcome.stdout):
        found.setdefault(int(line), set()).add(name)
    lines = USE.read_text(encoding="utf-8").splitlines()
    expected = {
        number: set(line.partition("# refused: ")[2].split(","))
        for number, line in enumerate(lines, 1)
        if "# refused: " in line
    }
    assert expected
    assert found == expected, outcome.stdout + outcome.stderr
