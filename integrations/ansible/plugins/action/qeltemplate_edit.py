# SPDX-License-Identifier: Apache-2.0

"""Reads the template of qeltemplate_edit on the controller, and has the module do the rest."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

import os

from ansible.errors import AnsibleError
from ansible.module_utils.common.text.converters import to_native, to_text
from ansible.module_utils.parsing.convert_bool import boolean
from ansible.plugins.action import ActionBase

MODULE = "qeltemplate.web.qeltemplate_edit"


class ActionModule(ActionBase):
    """The action of the module with the same name."""

    TRANSFERS_FILES = False
    _supports_async = True

    def run(self, tmp=None, task_vars=None):
        result = super(ActionModule, self).run(tmp, task_vars)
        del tmp
        arguments = dict(self._task.args)
        try:
            if not boolean(arguments.get("remote_src", False), strict=False):
                self._read_source(arguments)
        except AnsibleError as error:
            result.update(failed=True, msg=to_native(error))
            return result
        result.update(
            self._execute_module(
                module_name=MODULE,
                module_args=arguments,
                task_vars=task_vars,
                wrap_async=self._task.async_val,
            )
        )
        return result

    def _read_source(self, arguments):
        source = arguments.get("src")
        if not source or arguments.get("template") is not None:
            return  # the module says what is wrong, if anything
        found = self._find_needle("templates", source)
        real = self._loader.get_real_file(found)  # of a vault, too
        try:
            with open(real, "rb") as stream:
                arguments["template"] = to_text(stream.read(), errors="surrogate_or_strict")
        except (OSError, UnicodeError) as error:
            raise AnsibleError("%s: %s" % (source, to_native(error)))
        finally:
            self._loader.cleanup_tmp_file(real)
        arguments.setdefault("template_name", os.path.basename(source))
        del arguments["src"]
