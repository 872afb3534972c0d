# SPDX-License-Identifier: Apache-2.0

"""Keeps secret values out of what a module returns.

Ansible hides each secret that it knows wherever it stands as a whole. That is not all: a file holds
an earlier secret that nobody has told, a value may be written with escapes, and a message may cut a
long line in the middle of one.
"""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

import re

HIDDEN = "********"
CUT = "...'"  # ends a quoted line that is too long for a message
HUNK = re.compile(r"^@@ -(\d+)(?:,(\d+))? \+\d+(?:,\d+)? @@")


def variants(secret):
    """The forms in which a configuration, or a message, may hold the text."""
    escaped = secret.replace("\\", "\\\\")
    forms = [secret, escaped.replace('"', '\\"'), escaped.replace("'", "\\'")]
    forms += [secret.replace('"', '\\"'), secret.replace("'", "\\'"), " ".join(secret.split())]
    forms += [line.strip() for line in secret.splitlines()]
    return set(form for form in forms if form)


class Secrets(object):
    """Those of one edit: their names, their texts, and the lines of the template with them."""

    def __init__(self, names, texts, template_name, template_text):
        self._texts = texts
        self._template_name = template_name
        self._lines = template_text.splitlines()
        alternatives = "|".join(re.escape(name) for name in names)
        self._place = re.compile(r"\$\s*(?:%s)(?![\w.-])" % alternatives) if names else None

    def hide_in_report(self, report):
        if self._place is None:
            return
        for edited in report["files"]:
            changes = [c for c in edited.get("changes", []) if self._is_secret_change(c)]
            if "diff" in edited:
                edited["diff"] = self._diff(edited["diff"], changes)
            for change in changes:
                change["text"] = HIDDEN
            for finding in edited.get("refusals", []) + edited.get("warnings", []):
                self._hide_in_finding(finding)
        for finding in report.get("refusals", []) + report.get("warnings", []):
            self._hide_in_finding(finding)

    def _hide_in_finding(self, finding):
        place = finding.get("template_place")
        if place is not None and self._is_secret(place, with_block=False):
            text = "not shown, as it is about a line of the template with a secret value"
            finding["message"] = text
            finding["said"] = "%s:%s: %s" % (place["file"], place.get("line", ""), text)
            finding.pop("hint", None)
        elif place is not None and "hint" in finding and self._is_secret(place, with_block=True):
            # It may show a line of the file that would tell blocks apart.
            end = ". " + finding.pop("hint")
            if finding["said"].endswith(end):
                finding["said"] = finding["said"][: -len(end)]
        for name in ("message", "hint", "said", "line_text"):
            if name in finding:
                finding[name] = self._without_cut(finding[name])

    def _is_secret_change(self, change):
        places = change["template_lines"]
        return not places or any(self._is_secret(place, with_block=True) for place in places)

    def _is_secret(self, place, with_block):
        """Whether the line, or the block that it opens, has a secret. Imports are not known."""
        if place["file"] != self._template_name:
            return True
        line = place.get("line", 0)
        if line < 1 or line > len(self._lines):
            return True
        at = line - 1
        text = self._lines[at].strip()
        opens = text.endswith("{") or (text.startswith("<") and text.endswith(">"))
        looked_at = self._lines[at:] if opens and with_block else [text]
        return any(self._place.search(each) for each in looked_at)

    def _without_cut(self, text):
        at = text.find(CUT)
        while at >= 0:
            for secret in self._texts:
                for length in range(min(len(secret), at), 2, -1):
                    if text[:at].endswith(secret[:length]):
                        text = text[: at - length] + HIDDEN + text[at:]
                        at += len(HIDDEN) - length
                        break
            at = text.find(CUT, at + len(CUT))
        return text

    def _diff(self, diff, changes):
        """Without the lines of each run of changed lines that a secret change has a part in."""
        ranges = [(c["line"], c["line"] + c["count"]) for c in changes]
        hidden = []
        run = []
        old_line = run_start = 0

        def end_run():
            touched = any(start <= old_line and end >= run_start for start, end in ranges)
            known = any(text in line for line in run for text in self._texts)
            for line in run:
                hidden.append(line[0] + HIDDEN + "\n" if touched or known else line)
            del run[:]

        for line in diff.splitlines(True):
            header = HUNK.match(line)
            if line.startswith(("-", "+")) and old_line > 0:
                if not run:
                    run_start = old_line
                run.append(line)
                old_line += line.startswith("-")
                continue
            if line.startswith("\\") and run:
                continue
            end_run()
            if header:
                # A hunk without old lines names the line before it.
                old_line = int(header.group(1)) + (header.group(2) == "0")
            elif old_line > 0:
                old_line += 1
            hidden.append(line)
        end_run()
        return "".join(hidden)
