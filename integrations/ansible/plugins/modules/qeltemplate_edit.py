#!/usr/bin/python
# SPDX-License-Identifier: Apache-2.0

"""Edits configurations of nginx and Apache httpd by a template."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

DOCUMENTATION = r"""
---
module: qeltemplate_edit
short_description: Edit nginx and Apache httpd configurations by a template
version_added: "0.1.0"
description:
  - Edits the blocks of a configuration that a template means, and leaves every other byte as it is.
  - The file is read as its server reads it. An edit that would do something else than the template says
    is refused, and the task fails with the findings.
  - All files of a task are replaced or none. The server judges the result before it is reloaded. When it
    does not take the result, or the reload fails, the old files are put back.
  - An edit that has been made already changes nothing.
options:
  template:
    description:
      - The text of the template.
      - Its placeholders look like those of a playbook. Write C(!unsafe) before a text in YAML, as in the
        examples, or name a file in I(src).
      - Exactly one of I(template) and I(src) must be given.
    type: str
  src:
    description:
      - A file with the template, looked up on the controller as C(ansible.builtin.template) does.
      - The file itself is not a Jinja template.
      - With I(remote_src) a path on the host. Only then can the template import other files.
    type: path
  remote_src:
    description: Whether I(src) is on the host.
    type: bool
    default: false
  template_name:
    description: How messages name the template. Without it, the name of I(src).
    type: str
  files:
    description:
      - The configurations, with full paths.
      - Patterns of the shell are followed, as in C(/etc/nginx/sites-available/*). One that fits no file is an
        error.
      - Files that are named like copies of others, such as C(site.orig) beside C(site), are left out.
      - Exactly one of I(files) and I(server) must be given.
    type: list
    elements: path
    aliases: [file, path]
  server:
    description:
      - Edit the whole server, with all files that it includes, as if they were one. So a block is found in whatever
        file it stands, and a name that another file has is noticed.
    type: bool
    default: false
  main:
    description: With I(server), the server's main file. When it is not given, it is looked for where it usually is.
    type: path
  new_in:
    description:
      - With I(server), the file for a block that is in none. It is one that the server reads, or will read.
        C({name}) in it stands for the first name of the block.
    type: path
  defines:
    description: With I(server), what httpd is started with as C(-D).
    type: list
    elements: str
    default: []
  dialect:
    description: The language of the files. Guessed from each text when it is not given.
    type: str
    choices: [nginx, apache]
  values:
    description:
      - The values of the template by name.
      - A value is its new text, or a mapping with C(old), which is the text that the file holds now, and
        C(new).
      - C(old=auto) takes the old text from each host, out of the directive that the template means. So
        hosts may differ.
      - A value that is null or empty in YAML is not set. What depends on it is removed.
      - Write words such as C("on") and C("yes") in quotes, since YAML makes C(true) of them otherwise.
    type: dict
    default: {}
  secrets:
    description:
      - Values like those of I(values), which are kept out of all output.
      - Lines of the diff that have to do with one are hidden, with the earlier text.
    type: dict
    default: {}
  remove:
    description:
      - Values that have no new text, whatever I(values) says. What depends on them is removed.
    type: list
    elements: str
    default: []
  must_exist:
    description: Refuse to remove what is not there.
    type: bool
    default: false
  create:
    description:
      - What to do about a block that is not there. C(if_missing) makes it, C(never) refuses the edit, and
        C(only) refuses the edit if the block is there already.
    type: str
    choices: [if_missing, never, only]
    default: if_missing
  create_file:
    description:
      - Make the file if it is not there. Needs a single file, and I(dialect).
    type: bool
    default: false
  all:
    description: Edit all blocks that fit, where several do. Otherwise such an edit is refused.
    type: bool
    default: false
  skip_missing:
    description: Leave files alone that have none of the template's blocks.
    type: bool
    default: false
  quote:
    description: Write a value in quotes where it needs them.
    type: bool
    default: false
  raw:
    description: Values that are put in whatever they hold. Never name one that comes from outside.
    type: list
    elements: str
    default: []
  force:
    description: Reasons for which the edit is not to be refused, by the names in brackets in messages.
    type: list
    elements: str
    choices: [unmatched-section, other-value, collision, mixed-options, unused-value, syntax]
    default: []
  ignore:
    description: Warnings that are not to be shown, by the names in brackets in messages.
    type: list
    elements: str
    default: []
  import_root:
    description: Refuse a template that imports a file from outside of this directory of the host.
    type: path
  backup:
    description: Keep the old file beside each one that changes.
    type: bool
    default: false
  backup_suffix:
    description: What is put behind the name of the backup.
    type: str
    default: .orig
  check:
    description:
      - Have the server judge the result, with C(nginx -t) or C(apache2ctl -t). When it refuses, the old files
        are put back before anything has been reloaded.
    type: bool
    default: true
  strict:
    description: Refuse a result about which the server has new warnings.
    type: bool
    default: false
  check_command:
    description:
      - Another command to judge the result. With C({}) in it, it is run for each new text before that is put in
        place, with its path for C({}).
    type: str
  reload:
    description:
      - The command with which the server takes the new files. It is run when a file has changed.
      - When it fails, the old files are put back, and it is run once more.
      - A handler cannot do that. Without this option nothing is reloaded, and a handler may be notified.
    type: str
extends_documentation_fragment: qeltemplate.web.program
attributes:
  check_mode:
    description: Says what would be changed and changes nothing. The server is not asked.
    support: full
  diff_mode:
    description: The diff is the program's own, of every file that changes.
    support: full
notes:
  - A host needs the program and nothing else.
  - Where an earlier run was ended between the change of a file and the reload, by a lost connection for example,
    the next run notices. It asks the server and reloads it, and reports the file as changed.
author:
  - The libqeltemplate authors (!UNKNOWN)
"""

EXAMPLES = r"""
- name: Rename a site
  qeltemplate.web.qeltemplate_edit:
    src: site.template
    files: /etc/nginx/sites-available/*
    skip_missing: true
    values:
      name: {old: shop.example, new: store.example}
    reload: systemctl reload nginx

- name: Set the size of uploads, with the template in the playbook
  qeltemplate.web.qeltemplate_edit:
    template: !unsafe |
      server {
          server_name shop.example;
          client_max_body_size {% $size %};
      }
    files: /etc/nginx/sites-available/shop
    all: true
    values:
      size: {old: auto, new: 50m}
    backup: true
    reload: systemctl reload nginx

- name: Rename a site in whatever file it stands
  qeltemplate.web.qeltemplate_edit:
    src: site.template
    server: true
    dialect: nginx
    values:
      name: {old: shop.example, new: store.example}
    reload: systemctl reload nginx

- name: Give a backend another password, of which nothing is shown
  qeltemplate.web.qeltemplate_edit:
    template: !unsafe |
      <VirtualHost *:80>
          ServerName shop.example
          RequestHeader set X-Backend-Key "{% $key %}"
      </VirtualHost>
    files: /etc/apache2/sites-available/shop.conf
    secrets:
      key: {old: "{{ old_key }}", new: "{{ new_key }}"}
    quote: true
    reload: systemctl reload apache2

- name: Take a site out, and install the program when it is not there
  qeltemplate.web.qeltemplate_edit:
    template: !unsafe |
      {% if $site %}
      server {
          server_name shop.example;
      }
      {% endif %}
    files: /etc/nginx/sites-available/shop
    remove: [site]
    install: true
    reload: systemctl reload nginx
"""

RETURN = r"""
outcome:
  description:
    - How it has ended. C(refused) when the edit is, C(refused-by-server) when the check or the reload has failed,
      C(overtaken) when another program has changed a file meanwhile.
  returned: when the program has run
  type: str
  sample: done
changed_files:
  description: The files that hold another text now, or would in check mode.
  returned: when the program has run
  type: list
  elements: str
  sample: [/etc/nginx/sites-available/shop]
backup_files:
  description: The backups of those.
  returned: when the program has run
  type: list
  elements: str
  sample: [/etc/nginx/sites-available/shop.orig]
edits:
  description: What becomes of each file.
  returned: when the program has run
  type: list
  elements: dict
  contains:
    file:
      description: Its path.
      type: str
    changed:
      description: Whether the edited text is another one.
      type: bool
    skipped:
      description: Whether it has none of the template's blocks.
      type: bool
    changes:
      description: The lines that go, by number and count, and the text that comes in their place.
      type: list
      elements: dict
findings:
  description:
    - What speaks against the edit (C(weight) is C(refusal)) or should be known about it (C(warning)), each with the
      file, its name, the message and the places in the template and in the configuration.
  returned: when the program has run
  type: list
  elements: dict
  sample:
    - file: /etc/nginx/sites-available/shop
      weight: refusal
      name: ambiguous
      message: "'server {' fits several blocks"
      template_place: {file: site.template, line: 1, column: 1}
checked:
  description: Whether the server has judged the result, and takes it.
  returned: when the program has run
  type: bool
reloaded:
  description: Whether the reload has been run and has succeeded.
  returned: when the program has run
  type: bool
resumed:
  description: Files that an earlier run has changed, which was ended before the reload.
  returned: when there are some
  type: list
  elements: str
rolled_back:
  description: Whether the old files have been put back.
  returned: when the server has refused, or a reload has failed
  type: bool
failure:
  description: The command that has failed, its output and how it has ended.
  returned: when the files could not be replaced
  type: dict
installed:
  description: Whether the package has been installed, or would be in check mode.
  returned: always
  type: bool
"""

import glob
import os

from ansible.module_utils.basic import AnsibleModule
from ansible.module_utils.common.text.converters import to_bytes, to_native
from ansible_collections.qeltemplate.web.plugins.module_utils import findings
from ansible_collections.qeltemplate.web.plugins.module_utils.program import (
    PROGRAM_ARGUMENTS,
    Program,
)
from ansible_collections.qeltemplate.web.plugins.module_utils.secrets import Secrets, variants

NOTHING = "/dev/null"
CREATE_OPTIONS = dict(if_missing=[], never=["--no-create"], only=["--only-create"])
TEXTS = (str, type(""))  # two types in Python 2
OLD_SUFFIX = ".qeltemplate-old"


class WrongValue(Exception):
    """A value that is none."""


def text_of(name, given):
    """The text of one side of a value; None is none."""
    if given is None or isinstance(given, TEXTS):
        return given
    if isinstance(given, int) and not isinstance(given, bool):
        return str(given)
    if isinstance(given, bool):
        raise WrongValue(
            "the value %s is true or false, as YAML reads on, yes, off and no; write it in quotes"
            % name
        )
    raise WrongValue("the value %s is neither a text nor a mapping of old and new" % name)


def value_of(name, given):
    """A value as the program reads it."""
    if not isinstance(given, dict):
        return dict(new=text_of(name, given))
    unknown = set(given) - set(("old", "new"))
    if unknown:
        raise WrongValue(
            "the value %s has %s; only old and new may be" % (name, ", ".join(sorted(unknown)))
        )
    value = dict((side, text_of(name, given[side])) for side in ("old", "new") if side in given)
    if value.get("old") == "auto":
        del value["old"]
        value["read_old"] = True
    return value


def all_values(params):
    """Those of both options, as the program reads them."""
    twice = set(params["values"]) & set(params["secrets"])
    if twice:
        raise WrongValue("%s: both a value and a secret" % ", ".join(sorted(twice)))
    given = dict(params["values"], **params["secrets"])
    values = dict((name, value_of(name, each)) for name, each in given.items())
    for name in params["remove"]:
        values.setdefault(name, {})["new"] = None
    return values


def secret_texts(params):
    """All forms of the secret texts."""
    texts = set()
    for name, given in params["secrets"].items():
        for side, text in value_of(name, given).items():
            if side != "read_old" and text:
                texts |= variants(text)
    return texts


def old_copy(path):
    """Where the old text is kept until a change of the file has been seen through."""
    real = os.path.realpath(path)
    return os.path.join(os.path.dirname(real), "." + os.path.basename(real) + OLD_SUFFIX)


class Edit(object):
    """The edit that a task asks for."""

    def __init__(self, module):
        self.module = module
        self.params = module.params
        self.program = Program(module)
        self.result = dict(changed=self.program.installed, installed=self.program.installed)
        if self.program.is_missing():
            module.exit_json(
                msg="the package is not installed yet; what the edit would change is not known",
                **self.result
            )
        self.files = self._files()
        self.dialect = self.params["dialect"]
        self.new_file = None
        if self.params["create_file"]:
            self._expect_one_file()
        self.template = self._template()

    def run(self):
        """Makes the edit and ends the module."""
        interrupted = [path for path in self._may_change() if os.path.exists(old_copy(path))]
        values = self._values()
        report = self.program.report(self._arguments(), values, self.module.tmpdir)
        self._rename_new_file(report)
        self._secrets().hide_in_report(report)
        self._tell(report)
        if report["outcome"] != "done":
            self._fail(report)
        resumed = [path for path in interrupted if path not in report["changed"]]
        resumed = [path for path in resumed if os.path.exists(old_copy(path))]
        if resumed:
            self._resume(resumed, report)
        self.module.exit_json(**self.result)

    def _files(self):
        files = []
        for given in self.params["files"] or []:
            if not os.path.isabs(given):
                self.module.fail_json(msg="%s: not a full path" % given)
            found = sorted(glob.glob(given)) if glob.has_magic(given) else [given]
            found = [path for path in found if path == given or os.path.isfile(path)]
            if not found:
                self.module.fail_json(msg="%s: no file fits" % given)
            files += [path for path in found if path not in files]
        return files

    def _may_change(self):
        """The files that the edit may change."""
        if not self.params["server"]:
            return self.files
        arguments = ["inspect", "--server", "--json"]
        if self.dialect:
            arguments += ["--dialect", self.dialect]
        read = self.program.report(arguments + self._server_names())
        self.dialect = read["dialect"]
        return [each["config"] for each in read["files"]]

    def _expect_one_file(self):
        if len(self.files) != 1 or self.params["dialect"] is None:
            self.module.fail_json(msg="create_file needs a single file, and the dialect")
        if not os.path.exists(self.files[0]):
            self.new_file = self.files[0]

    def _template(self):
        """The name by which the program finds the template, from the module's directory."""
        if self.params["template"] is None:
            return self.params["src"]
        name = os.path.basename(self.params["template_name"] or "") or "template"
        with open(os.path.join(self.module.tmpdir, name), "wb") as stream:
            stream.write(to_bytes(self.params["template"]))
        return name

    def _values(self):
        try:
            return all_values(self.params)
        except WrongValue as error:
            return self.module.fail_json(msg=to_native(error))

    def _secrets(self):
        texts = secret_texts(self.params)
        self.module.no_log_values.update(texts)
        text = self.params["template"]
        if text is None:
            try:
                with open(self.template, "rb") as stream:
                    text = to_native(stream.read(), errors="surrogate_or_replace")
            except (IOError, OSError):
                text = ""
        return Secrets(list(self.params["secrets"]), texts, self.template, text)

    def _arguments(self):
        params = self.params
        arguments = ["apply", "--json", "--template", self.template, "--values", "-"]
        for option in ("dialect", "import_root"):
            if params[option] is not None:
                arguments += ["--" + option.replace("_", "-"), params[option]]
        for option in ("all", "quote", "must_exist", "skip_missing"):
            if params[option]:
                arguments.append("--" + option.replace("_", "-"))
        arguments += CREATE_OPTIONS[params["create"]]
        for option in ("force", "raw"):
            for name in params[option]:
                arguments += ["--" + option, name]
        if self.module._diff:
            arguments.append("--diff")
        return arguments + self._writing() + self._names()

    def _writing(self):
        params = self.params
        if self.new_file:
            arguments = ["--output", self.new_file]
        else:
            arguments = ["--in-place" + ("=" + params["backup_suffix"] if params["backup"] else "")]
        if self.module.check_mode:
            return arguments + ["--dry-run"]
        if params["check"]:
            command = params["check_command"] or ("strict" if params["strict"] else "")
            arguments.append("--check" + ("=" + command if command else ""))
        if params["reload"]:
            arguments += ["--reload", params["reload"]]
        return arguments

    def _server_names(self):
        arguments = []
        for name in self.params["defines"]:
            arguments += ["--define", name]
        return arguments + (["--", self.params["main"]] if self.params["main"] else [])

    def _names(self):
        if self.params["server"]:
            new_in = self.params["new_in"]
            return ["--server"] + (["--new-in", new_in] if new_in else []) + self._server_names()
        return ["--", NOTHING] if self.new_file else ["--"] + self.files

    def _rename_new_file(self, report):
        """A file that is made is edited out of nothing."""
        if not self.new_file:
            return
        for edited in report["files"]:
            edited["file"] = self.new_file
            if "diff" in edited:
                edited["diff"] = edited["diff"].replace(
                    "+++ " + NOTHING + "\n", "+++ " + self.new_file + "\n", 1
                )
        report["changed"] = [
            self.new_file if name == NOTHING else name for name in report["changed"]
        ]

    def _tell(self, report):
        result = self.result
        result["outcome"] = report["outcome"]
        result["changed"] = result["changed"] or bool(report["changed"])
        result["changed_files"] = report["changed"]
        result["backup_files"] = report["backups"]
        result["checked"] = report["checked"]
        result["reloaded"] = report["reloaded"]
        result["edits"] = [
            dict(
                file=edited["file"],
                changed=edited.get("changed", False),
                skipped=edited.get("skipped", False),
                changes=edited.get("changes", []),
            )
            for edited in report["files"]
        ]
        result["findings"] = [
            found for edited in report["files"] for found in findings.of_file(edited)
        ] + findings.of_server(report)
        if self.module._diff:
            texts = [edited.get("diff") for edited in report["files"]]
            result["diff"] = [dict(prepared=text) for text in texts if text]
        told = set()
        for found in result["findings"]:
            text = findings.shown(found)
            is_shown = found["weight"] == "warning" and found["name"] not in self.params["ignore"]
            if is_shown and text not in told:
                told.add(text)
                self.module.warn(text)
        for text in report["new_warnings"]:
            self.module.warn(text)
        if report["left_out"]:
            self.module.warn("left out, as copies of others: " + ", ".join(report["left_out"]))

    def _fail(self, report):
        if "failure" in report:
            self.result["failure"] = report["failure"]
            if report["outcome"] == "refused-by-server":
                self.result["rolled_back"] = not report["failure"].get("not_put_back")
        self.result.pop("diff", None)
        self.module.fail_json(msg=findings.why_not(report), **self.result)

    def _resume(self, files, report):
        """An earlier run has changed these files and was ended before it was through."""
        result = self.result
        result["resumed"] = files
        result["changed"] = True
        if self.module.check_mode:
            return
        for step, command in (
            ("checked", self._check_command(report)),
            ("reloaded", self.params["reload"]),
        ):
            # One that has been run for other files has had these, too.
            if not command or result[step]:
                continue
            code, out, err = self.program.shell(command)
            if code != 0:
                self.module.fail_json(
                    msg="%s: changed by an earlier run, which was ended before it was through; now "
                    "%s fails (exit status %d): %s\nThe text before that is in %s"
                    % (
                        ", ".join(files),
                        command,
                        code,
                        (out + err).strip(),
                        ", ".join(old_copy(path) for path in files),
                    ),
                    **result
                )
            result[step] = True
        for path in files:
            os.unlink(old_copy(path))

    def _check_command(self, report):
        params = self.params
        if not params["check"]:
            return None
        if params["check_command"]:
            return None if "{}" in params["check_command"] else params["check_command"]
        dialects = set(edited.get("dialect") for edited in report["files"])
        is_apache = "apache" in dialects or self.dialect == "apache"
        return "apache2ctl -t" if is_apache else "nginx -t"


def main():
    """The module."""
    module = AnsibleModule(
        argument_spec=dict(
            template=dict(type="str"),
            src=dict(type="path"),
            remote_src=dict(type="bool", default=False),
            template_name=dict(type="str"),
            files=dict(type="list", elements="path", aliases=["file", "path"]),
            server=dict(type="bool", default=False),
            main=dict(type="path"),
            new_in=dict(type="path"),
            defines=dict(type="list", elements="str", default=[]),
            dialect=dict(type="str", choices=["nginx", "apache"]),
            values=dict(type="dict", default={}),
            secrets=dict(type="dict", default={}, no_log=True),
            remove=dict(type="list", elements="str", default=[]),
            must_exist=dict(type="bool", default=False),
            create=dict(type="str", choices=["if_missing", "never", "only"], default="if_missing"),
            create_file=dict(type="bool", default=False),
            all=dict(type="bool", default=False),
            skip_missing=dict(type="bool", default=False),
            quote=dict(type="bool", default=False),
            raw=dict(type="list", elements="str", default=[]),
            force=dict(
                type="list",
                elements="str",
                choices=[
                    "unmatched-section",
                    "other-value",
                    "collision",
                    "mixed-options",
                    "unused-value",
                    "syntax",
                ],
                default=[],
            ),
            ignore=dict(type="list", elements="str", default=[]),
            import_root=dict(type="path"),
            backup=dict(type="bool", default=False),
            backup_suffix=dict(type="str", default=".orig"),
            check=dict(type="bool", default=True),
            strict=dict(type="bool", default=False),
            check_command=dict(type="str"),
            reload=dict(type="str"),
            **PROGRAM_ARGUMENTS
        ),
        mutually_exclusive=[
            ("template", "src"),
            ("files", "server"),
            ("create_file", "server"),
            ("strict", "check_command"),
        ],
        required_one_of=[("template", "src"), ("files", "server")],
        supports_check_mode=True,
    )
    Edit(module).run()


if __name__ == "__main__":
    main()
