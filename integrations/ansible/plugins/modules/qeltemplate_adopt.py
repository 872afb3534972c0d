#!/usr/bin/python
# SPDX-License-Identifier: Apache-2.0

"""Makes a template and its values of a site that a host has."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

DOCUMENTATION = r"""
---
module: qeltemplate_adopt
short_description: Make a template and its values of a site that a host has
version_added: "0.1.0"
description:
  - Reads a configuration, and returns a template of a site in it and the template's values.
  - An edit of that file with the two changes nothing. With another text for a value, it changes each line that has the
    value, and nothing else.
  - Nothing is changed on the host.
options:
  file:
    description: The configuration, with its full path.
    type: path
    required: true
    aliases: [path]
  site:
    description:
      - Which site is meant where the file has several, by a name, by an address such as C(127.0.0.1:443), or by a line
        as C(:12).
    type: str
  dialect:
    description: The language of the file. Guessed from its text when it is not given.
    type: str
    choices: [nginx, apache]
  values:
    description: Texts that become values wherever they stand, by the names of the values.
    type: dict
    default: {}
  managed:
    description: Directives and blocks that the template is to have. All when it is empty.
    type: list
    elements: str
    default: []
  comment:
    description: Explain each line of the template.
    type: bool
    default: false
extends_documentation_fragment: qeltemplate.web.program
attributes:
  check_mode:
    description: Does the same, but installs nothing.
    support: full
  diff_mode:
    description: There is nothing to be shown.
    support: none
author:
  - The libqeltemplate authors (!UNKNOWN)
"""

EXAMPLES = r"""
- name: Make a template of the shop
  qeltemplate.web.qeltemplate_adopt:
    file: /etc/nginx/sites-available/shop
  register: shop

- name: Keep it beside the playbook
  ansible.builtin.copy:
    content: "{{ shop.template }}"
    dest: "{{ playbook_dir }}/templates/shop.template"
    mode: "0644"
  delegate_to: localhost
"""

RETURN = r"""
template:
  description: The template.
  returned: success
  type: str
site_values:
  description: Its values, each with the text that the file holds as C(old) and as C(new).
  returned: success
  type: dict
left_out:
  description: What of the site the template cannot say, and why.
  returned: success
  type: list
  elements: str
installed:
  description: Whether the package has been installed, or would be in check mode.
  returned: always
  type: bool
"""

import io
import json
import os

from ansible.module_utils.basic import AnsibleModule
from ansible_collections.qeltemplate.web.plugins.module_utils.program import (
    PROGRAM_ARGUMENTS,
    Program,
    said,
)

COMPLETE, INCOMPLETE = 0, 6


def text_of(directory, name):
    """The content of a file that the program has written."""
    with io.open(os.path.join(directory, name), encoding="utf-8", errors="replace") as stream:
        return stream.read()


def main():
    """The module."""
    module = AnsibleModule(
        argument_spec=dict(
            file=dict(type="path", required=True, aliases=["path"]),
            site=dict(type="str"),
            dialect=dict(type="str", choices=["nginx", "apache"]),
            values=dict(type="dict", default={}),
            managed=dict(type="list", elements="str", default=[]),
            comment=dict(type="bool", default=False),
            **PROGRAM_ARGUMENTS
        ),
        supports_check_mode=True,
    )
    params = module.params
    if not os.path.isabs(params["file"]):
        module.fail_json(msg="%s: not a full path" % params["file"])
    program = Program(module)
    result = dict(changed=program.installed, installed=program.installed)
    if program.is_missing():
        module.exit_json(msg="the package is not installed yet; the site is not known", **result)
    arguments = ["adopt", "--template", "site.template", "--values", "site.json"]
    for option in ("site", "dialect"):
        if params[option]:
            arguments += ["--" + option, params[option]]
    for name, text in sorted(params["values"].items()):
        arguments += ["--value", "%s=%s" % (name, text)]
    if params["managed"]:
        arguments += ["--managed", ",".join(params["managed"])]
    if params["comment"]:
        arguments.append("--comment")
    code, dummy, err = program.run(arguments + ["--", params["file"]], directory=module.tmpdir)
    if code not in (COMPLETE, INCOMPLETE):
        module.fail_json(msg=said(err), rc=code, **result)
    left_out = [line for line in said(err).splitlines() if "; use --dialect if" not in line]
    module.exit_json(
        template=text_of(module.tmpdir, "site.template"),
        site_values=json.loads(text_of(module.tmpdir, "site.json")),
        left_out=left_out,
        **result
    )


if __name__ == "__main__":
    main()
