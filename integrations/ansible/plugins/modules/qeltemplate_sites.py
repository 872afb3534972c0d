#!/usr/bin/python
# SPDX-License-Identifier: Apache-2.0

"""Lists the sites of nginx or Apache httpd."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

DOCUMENTATION = r"""
---
module: qeltemplate_sites
short_description: List the sites of nginx or Apache as facts
version_added: "0.1.0"
description:
  - Reads the configuration of a server with all files that it includes, as the server does, and returns its sites
    as the fact C(qeltemplate_sites).
  - The server need not run. Nothing is changed.
options:
  main:
    description: The server's main file. When it is not given, it is looked for where it usually is.
    type: path
  dialect:
    description: Which server, on a host that has both.
    type: str
    choices: [nginx, apache]
  names:
    description: Only sites with one of these names, or with a wildcard for it.
    type: list
    elements: str
    default: []
  addresses:
    description: Only sites with one of these addresses, such as C(443) or C(127.0.0.1:8080).
    type: list
    elements: str
    default: []
  roots:
    description: Read nothing outside of these directories.
    type: list
    elements: path
    default: []
  defines:
    description: What httpd is started with as C(-D).
    type: list
    elements: str
    default: []
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
- name: Find the sites of nginx
  qeltemplate.web.qeltemplate_sites:
    dialect: nginx

- name: Say which sites answer without TLS only
  ansible.builtin.debug:
    msg: "{{ item.names[0] }} in {{ item.file }}:{{ item.line }}"
  loop: "{{ qeltemplate_sites }}"
  when: item.names and not item.addresses | selectattr('tls') | list
"""

RETURN = r"""
ansible_facts:
  description: The sites.
  returned: always
  type: dict
  contains:
    qeltemplate_sites:
      description:
        - A site for each C(server) or C(VirtualHost). Its names, its addresses (each with C(address), C(tls) and
          C(default)), its C(root) where it has one, and its place as C(file), C(line) and C(column).
      type: list
      elements: dict
      sample:
        - protocol: http
          names: [shop.example, www.shop.example]
          addresses: [{address: "*:80", tls: false, default: true}]
          root: /srv/shop
          file: /etc/nginx/sites-enabled/shop
          line: 1
          column: 1
main:
  description: The server's main file.
  returned: always
  type: str
dialect:
  description: Which server it is.
  returned: always
  type: str
findings:
  description: What the files leave open, such as one that cannot be read.
  returned: always
  type: list
  elements: dict
installed:
  description: Whether the package has been installed, or would be in check mode.
  returned: always
  type: bool
"""

from ansible.module_utils.basic import AnsibleModule
from ansible_collections.qeltemplate.web.plugins.module_utils import findings
from ansible_collections.qeltemplate.web.plugins.module_utils.program import (
    PROGRAM_ARGUMENTS,
    Program,
)

LISTS = dict(names="--name", addresses="--address", roots="--root", defines="--define")


def main():
    """The module."""
    module = AnsibleModule(
        argument_spec=dict(
            main=dict(type="path"),
            dialect=dict(type="str", choices=["nginx", "apache"]),
            names=dict(type="list", elements="str", default=[]),
            addresses=dict(type="list", elements="str", default=[]),
            roots=dict(type="list", elements="path", default=[]),
            defines=dict(type="list", elements="str", default=[]),
            **PROGRAM_ARGUMENTS
        ),
        supports_check_mode=True,
    )
    params = module.params
    program = Program(module)
    result = dict(changed=program.installed, installed=program.installed)
    if program.is_missing():
        module.exit_json(msg="the package is not installed yet; the sites are not known", **result)
    arguments = ["sites", "--json"]
    if params["dialect"]:
        arguments += ["--dialect", params["dialect"]]
    for name, option in sorted(LISTS.items()):
        for word in params[name]:
            arguments += [option, word]
    read = program.report(arguments + (["--", params["main"]] if params["main"] else []))
    for finding in read["warnings"]:
        module.warn(findings.shown(finding))
    module.exit_json(
        ansible_facts=dict(qeltemplate_sites=read["sites"]),
        main=read["main"],
        dialect=read["dialect"],
        findings=read["warnings"],
        **result
    )


if __name__ == "__main__":
    main()
