# SPDX-License-Identifier: Apache-2.0

"""The pages on other languages: what they show is true."""

import doctest
import re
from pathlib import Path

import pytest

from qeltemplate import engine

ROOT = Path(__file__).resolve().parents[3]


def blocks_of(page):
    """The fenced blocks of a page, each with its language and the last file linked before it."""
    text = (ROOT / "docs" / page).read_text(encoding="utf-8")
    for match in re.finditer(r"^```(\w*)\n(.*?)^```$", text, re.MULTILINE | re.DOTALL):
        links = re.findall(r"\]\(\.\./([\w./]+)\)", text[: match.start()])
        yield match[1], match[2], links[-1] if links else None


def test_the_page_on_python_is_true():
    blocks = [block for language, block, _ in blocks_of("python.md") if language == "python"]
    assert all(block.startswith(">>> ") for block in blocks)
    test = doctest.DocTestParser().get_doctest("\n".join(blocks), {}, "python.md", None, 0)
    try:
        outcome = doctest.DocTestRunner().run(test)
    finally:
        engine.set_log_level(engine.LOG_OFF)
        engine.set_log_handler(None)
    assert outcome.attempted > 15
    assert outcome.failed == 0


def test_the_overview_shows_one_edit_in_python(capsys):
    blocks = {language: block for language, block, _ in reversed(list(blocks_of("../README.md")))}
    known = {"config": blocks["nginx"], "template": blocks[""]}
    exec(blocks["python"], known)
    expected = known["config"].replace("/srv/a.example", "/data/a.example")
    assert expected != known["config"]
    assert capsys.readouterr().out == expected + "\n"


@pytest.mark.parametrize("page", ["c.md", "ffi.md"])
def test_code_is_that_of_the_example_linked_before_it(page):
    blocks = [block for block in blocks_of(page) if block[0] in ("c", "python", "perl")]
    assert blocks
    for _, block, example in blocks:
        assert block in (ROOT / example).read_text(encoding="utf-8")


@pytest.mark.parametrize("page", ["c.md", "ffi.md"])
def test_names_are_those_of_the_header(page):
    header = (ROOT / "bindings/c/qeltemplate_c.h").read_text(encoding="utf-8")
    names = re.findall(r"\b(?:qel|QEL)_\w+", (ROOT / "docs" / page).read_text(encoding="utf-8"))
    assert len(names) > 10
    assert set(names) <= set(re.findall(r"\w+", header))
