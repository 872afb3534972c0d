# SPDX-License-Identifier: Apache-2.0

"""The options of all modules, as plugins/module_utils/program.py has them."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type


class ModuleDocFragment(object):
    DOCUMENTATION = r"""
options:
  program:
    description: The program's name, or its path on the host.
    type: path
    default: qeltemplate
  install:
    description: Install the program's package, with C(apt-get), if the program is not there.
    type: bool
    default: false
  package:
    description: The package to install, or the path of its file on the host.
    type: str
    default: qeltemplate
"""
