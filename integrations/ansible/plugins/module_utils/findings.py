# SPDX-License-Identifier: Apache-2.0

"""What speaks against an edit, in the words of a playbook."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type


def remedy(name, finding):
    if name == "all":
        return "all: true edits all of them"
    if name == "quote":
        return "quote: true writes it in quotes"
    return "raw: [%s] puts it in as it is" % ", ".join(finding.get("values", []))


def shown(finding):
    """A finding on one line, with the options that help and its name in brackets."""
    remedies = [remedy(name, finding) for name in finding.get("remedies", [])]
    text = finding["said"] + ("; " + ", ".join(remedies) if remedies else "")
    return "%s [%s]" % (text, finding["name"])


def of_file(edited):
    """The findings about a file as a flat list."""
    found = []
    for weight in ("refusal", "warning"):
        for finding in edited.get(weight + "s", []):
            found.append(dict(finding, file=edited["file"], weight=weight))
    return found


def of_server(report):
    """Those about the edit of a whole server."""
    found = []
    for weight in ("refusal", "warning"):
        for finding in report.get(weight + "s", []):
            place = (finding.get("config_places") or [finding.get("template_place", {})])[0]
            found.append(dict(finding, file=place.get("file", ""), weight=weight))
    return found


def why_not(report):
    """Why nothing is written, for people."""
    lines = [shown(finding) for finding in report.get("refusals", [])]
    for edited in report["files"]:
        refusals = edited.get("refusals", [])
        if refusals:
            lines.append("%s: not edited:" % edited["file"])
            lines += ["  " + shown(finding) for finding in refusals]
        elif "problem" in edited:
            lines.append(edited["problem"])
    if "failure" in report:
        lines.append(report["failure"]["message"])
    return "\n".join(lines)
