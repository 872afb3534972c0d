# SPDX-License-Identifier: Apache-2.0

"""Writes what each host has answered to the file FLEET_RECORD, one JSON object on a line."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

DOCUMENTATION = """
name: fleet_record
type: aggregate
short_description: records the results for the tests of the fleet
description: [Records the results for the tests of the fleet.]
"""

import json
import os
import time

from ansible.parsing.ajson import AnsibleJSONEncoder
from ansible.plugins.callback import CallbackBase


class CallbackModule(CallbackBase):
    CALLBACK_VERSION = 2.0
    CALLBACK_TYPE = "aggregate"
    CALLBACK_NAME = "fleet_record"

    def _record(self, kind, result):
        line = dict(
            kind=kind,
            host=result._host.get_name(),
            task=result._task.get_name(),
            time=time.time(),
            result=result._result,
        )
        with open(os.environ["FLEET_RECORD"], "a") as stream:
            stream.write(json.dumps(line, cls=AnsibleJSONEncoder) + "\n")

    def v2_runner_on_ok(self, result):
        self._record("ok", result)

    def v2_runner_on_failed(self, result, ignore_errors=False):
        self._record("failed", result)

    def v2_runner_on_unreachable(self, result):
        self._record("unreachable", result)

    def v2_runner_on_skipped(self, result):
        self._record("skipped", result)
