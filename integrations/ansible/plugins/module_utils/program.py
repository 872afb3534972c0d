# SPDX-License-Identifier: Apache-2.0

"""How the modules find, install and run the program qeltemplate."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

import json
import os
import re

PROGRAM_ARGUMENTS = dict(
    program=dict(type="path", default="qeltemplate"),
    install=dict(type="bool", default=False),
    package=dict(type="str", default="qeltemplate"),
)

# Where servers and their tests are, which the PATH of a remote command may not have.
SERVER_DIRECTORIES = ("/usr/local/sbin", "/usr/sbin", "/sbin")


class Program(object):
    """The program on this host. Fails the module where it cannot be had."""

    def __init__(self, module):
        self._module = module
        self.installed = False
        self._path = self._find()
        if self._path is None and module.params["install"]:
            self._install()
            self._path = self._find()
        if self._path is None and not self.installed:
            module.fail_json(
                msg="%s is not on this host; install: true installs the package"
                % module.params["program"]
            )

    def is_missing(self):
        """In check mode, which installs nothing."""
        return self._path is None

    def run(self, arguments, values=None, directory=None):
        """What the program exits with, and has written to each stream."""
        data = None if values is None else json.dumps(values)
        return self._module.run_command(
            [self._path] + arguments,
            data=data,
            cwd=directory,
            environ_update=dict(PATH=search_path()),
        )

    def report(self, arguments, values=None, directory=None):
        """The report that the program writes as JSON. Fails the module where there is none."""
        code, out, err = self.run(arguments, values, directory)
        try:
            return json.loads(out)
        except ValueError:
            self._module.fail_json(
                msg=said(err) or "qeltemplate has ended with %d and no word" % code, rc=code
            )

    def shell(self, command):
        """Runs a command of the user's as the program does, by the shell."""
        return self._module.run_command(
            ["/bin/sh", "-c", command], environ_update=dict(PATH=search_path())
        )

    def _find(self):
        name = self._module.params["program"]
        if os.sep in name:
            return name if os.access(name, os.X_OK) else None
        return self._module.get_bin_path(name)

    def _install(self):
        module = self._module
        package = module.params["package"]
        self.installed = True
        if module.check_mode:
            return
        apt_get = module.get_bin_path("apt-get")
        if apt_get is None:
            module.fail_json(msg="install: true needs apt-get; install %s otherwise" % package)
        quiet = dict(DEBIAN_FRONTEND="noninteractive", LC_ALL="C.UTF-8")
        command = [apt_get, "install", "--yes", "--quiet", package]
        code, out, err = module.run_command(command, environ_update=quiet)
        if code != 0:  # perhaps the lists of packages are old
            module.run_command([apt_get, "update", "--quiet"], environ_update=quiet)
            code, out, err = module.run_command(command, environ_update=quiet)
        if code != 0:
            module.fail_json(
                msg="%s cannot be installed: %s" % (package, err.strip() or out.strip()), rc=code
            )
        if self._find() is None:
            module.fail_json(
                msg="%s is installed, but there is no %s" % (package, module.params["program"])
            )


def search_path():
    """PATH with the directories of servers."""
    given = [part for part in os.environ.get("PATH", "").split(os.pathsep) if part]
    given = given or ["/usr/local/bin", "/usr/bin", "/bin"]
    return os.pathsep.join(given + [part for part in SERVER_DIRECTORIES if part not in given])


def said(err):
    """What the program has written to standard error, without its name before each line."""
    lines = [re.sub("^qeltemplate: ", "", line) for line in err.splitlines()]
    return "\n".join(line for line in lines if not line.startswith("Try '")).strip()
