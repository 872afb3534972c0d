# SPDX-License-Identifier: Apache-2.0

"""What mypy makes of the package: the stubs are those of the module, and say what is right."""

import os
import re
import subprocess
import sys
from pathlib import Path

import qeltemplate

PACKAGE = Path(qeltemplate.__file__).parent
# Lines that must not pass say so, and why.
USE = Path(__file__).with_name("typed_use.py")


def run(module, *arguments):
    environment = dict(os.environ)
    if PACKAGE.parent.name != "site-packages":  # where mypy looks by itself
        environment["MYPYPATH"] = str(PACKAGE.parent)
    command = [sys.executable, "-m", module, *map(str, arguments)]
    return subprocess.run(command, capture_output=True, text=True, check=False, env=environment)


def test_stubs_are_those_of_the_module(tmp_path):
    allowed = tmp_path / "allowed"
    # Only the metaclass of pybind11: there is nothing to say of it in a stub.
    allowed.write_text("qeltemplate.Parser\nqeltemplate._qeltemplate.Parser\n", encoding="utf-8")
    outcome = run("mypy.stubtest", "--allowlist", allowed, "qeltemplate")
    assert outcome.returncode == 0, outcome.stdout + outcome.stderr


def test_types_are_checked(tmp_path):
    outcome = run("mypy", "--strict", "--cache-dir", tmp_path, USE)
    found = re.findall(r":(\d+): error: .*\[([a-z-]+)\]", outcome.stdout)
    lines = USE.read_text(encoding="utf-8").splitlines()
    expected = [
        (str(number), line.partition("# refused: ")[2])
        for number, line in enumerate(lines, 1)
        if "# refused: " in line
    ]
    assert expected
    assert found == expected, outcome.stdout + outcome.stderr
