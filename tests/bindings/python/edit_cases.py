# SPDX-License-Identifier: Apache-2.0

"""Every edit of the tables in tests/edit once more, through Python: all of its result is the same.

Needs the folder QELTEMPLATE_EDIT_CASES, which those tests have written; see tests/edit/case_writer.h.
"""

import json
import os
from pathlib import Path

import pytest

import qeltemplate

FILES = sorted(Path(os.environ["QELTEMPLATE_EDIT_CASES"]).glob("*.jsonl"))


def data(text):
    """The bytes of a text, of which each character is one."""
    return text.encode("latin-1")


def name_of(text):
    return os.fsdecode(data(text))


def place_of(json_place):
    return qeltemplate.Place(
        name_of(json_place["file"]), json_place["line"] or None, json_place["column"] or None
    )


def line_of(json_place):
    """The places of changes are lines."""
    return qeltemplate.Place(name_of(json_place["file"]), json_place["line"] or None)


def printed(text):
    return data(text).decode("utf-8", "backslashreplace")


def finding_of(expected):
    place = place_of(expected["template_place"])
    return qeltemplate.Finding(
        name=name_of(expected["name"]),
        message=printed(expected["message"]),
        hint=printed(expected["hint"]),
        said=printed(expected["said"]),
        template_place=place if place.file else None,
        config_places=tuple(map(place_of, expected["config_places"])),
        in_result=expected["in_result"],
        values=tuple(map(name_of, expected["values"])),
        remedies=tuple(expected["remedies"]),
        can_be_forced=expected["can_be_forced"],
    )


def change_of(change, text):
    lines = tuple(map(line_of, change["template_lines"]))
    return qeltemplate.Change(change["line"], change["count"], text(change["text"]), lines)


def importer_of(answers):
    """Gives what was given, in the same order."""
    left = iter(answers)

    def load(name, place):
        answer = next(left)
        assert (name, place) == (name_of(answer["name"]), place_of(answer["from"]))
        found = answer["found"]
        if found is None:
            return None
        return qeltemplate.ImportedFile(*(data(found[part]) for part in ("name", "text", "problem")))

    return load


def request_of(case, text):
    values = {}
    for name, value in case["values"].items():
        values[text(name)] = {
            side: of if isinstance(of, bool) else text(of) for side, of in value.items()
        }
    return qeltemplate.Request(
        text(case["template"]),
        values,
        dialect=case["dialect"],
        template_name=text(case["template_name"]),
        all=case["all"],
        must_exist=case["must_exist"],
        create=case["create"],
        skip_missing=case["skip_missing"],
        quote=case["quote"],
        raw=map(text, case["raw"]),
        force=map(text, case["forced"]),
        must_use=map(text, case["must_be_used"]),
        imports=None if case["imports"] is None else importer_of(case["imports"]),
    )


def result_of(case, text):
    expected = case["result"]
    return qeltemplate.EditResult(
        text(expected["text"]),
        changed=expected["changed"],
        skipped=expected["skipped"],
        changes=tuple(change_of(change, text) for change in expected["changes"]),
        warnings=tuple(map(finding_of, expected["warnings"])),
        refusals=tuple(map(finding_of, expected["refusals"])),
        dialect=case["dialect"],
    )


def as_str(text):
    return data(text).decode("utf-8", "surrogateescape")


def test_there_are_cases():
    assert len(FILES) > 50


@pytest.mark.parametrize("text", [data, as_str], ids=["bytes", "str"])
@pytest.mark.parametrize("file", FILES, ids=lambda file: file.stem)
def test_edits_as_in_cpp(file, text):
    cases = file.read_text(encoding="utf-8").split("\n")[:-1]
    assert cases
    for line in cases:
        case = json.loads(line)
        expected = result_of(case, text)
        config, name = text(case["config"]), text(case["config_name"])
        assert request_of(case, text).edit(config, name, refuse="return") == expected
        assert request_of(case, text).explain(config, name).result == expected
        if expected.refusals:
            with pytest.raises(qeltemplate.Refused) as caught:
                request_of(case, text).edit(config, name)
            assert caught.value.result == expected
            for finding in caught.value.findings:
                assert f"[{finding.name}]" in str(caught.value)
