# SPDX-License-Identifier: Apache-2.0

"""The golden cases of the library through the module, as str and as bytes."""

import json
import re
from pathlib import Path

import pytest

from qeltemplate import engine

GOLDEN = Path(__file__).resolve().parents[2] / "golden"
DIALECTS = {"nginx": "Nginx", "apache": "Apache"}
CASES = sorted(path.parent for path in GOLDEN.glob("*/*/config"))


def read_text(path):
    """Without the line end that the file has and the library's result has not."""
    return path.read_bytes().removesuffix(b"\n")


def values_of(case):
    """In the order of the names, which is that of the log."""
    values = json.loads((case / "values.json").read_text(encoding="utf-8"))
    for name, value in sorted(values.items()):
        if isinstance(value, dict):
            yield name, value.get("old"), value.get("new")
        else:
            yield name, None, value


def run(case, config):
    parser = engine.Parser(config, DIALECTS[case.parent.name])
    for name, old, new in values_of(case):
        parser.set_value(name, old=old, new=new)
    parser.set_template_file("template").apply()
    return parser.config(), parser.prototype()


def test_all_cases_are_there():
    assert {case.parent.name for case in CASES} == set(DIALECTS)


@pytest.mark.parametrize("case", CASES, ids=lambda case: f"{case.parent.name}/{case.name}")
def test_golden(case, monkeypatch):
    monkeypatch.chdir(case)
    expected = (read_text(case / "expected.config"), read_text(case / "expected.prototype"))
    config = (case / "config").read_bytes()
    records = []
    engine.set_log_handler(lambda level, module, channel, text: records.append(text))
    engine.set_log_level(engine.LOG_DEBUG)
    try:
        assert run(case, config) == expected
    finally:
        engine.set_log_level(engine.LOG_OFF)
        engine.set_log_handler(None)
    log = "".join(re.sub(r"^template\.cpp:\d+ ", "", text) + "\n" for text in records)
    expected_log = (case / "expected.log").read_bytes().decode("utf-8", "surrogateescape")
    assert log.replace(str(case), "CASE") == expected_log

    as_str = run(case, config.decode("utf-8", "surrogateescape"))
    assert tuple(text.encode("utf-8", "surrogateescape") for text in as_str) == expected
