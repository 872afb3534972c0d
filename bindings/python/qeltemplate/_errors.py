# SPDX-License-Identifier: Apache-2.0

"""The exceptions of the module. Memory that runs out is a MemoryError, as everywhere."""

from typing import Any, Iterable, Optional, Tuple, Union

from ._results import EditResult, Finding, ServerEditResult
from ._texts import shown


class Error(Exception):
    """Something the library cannot do, or will not."""


class Refused(Error):
    """An edit that would do other than the template says. Nothing is edited.

    str() has one line for each reason, with its place and the way out.

    result: An EditResult, with the text as it was, and what would be done but for the refusals. Of
        a server's edit a ServerEditResult.
    """

    result: Any

    def __init__(self, result: Union[EditResult[Any], ServerEditResult]) -> None:
        super().__init__(result)
        self.result = result

    @property
    def findings(self) -> Tuple[Finding, ...]:
        """The reasons."""
        findings: Tuple[Finding, ...] = self.result.refusals
        return findings

    def __str__(self) -> str:
        return "\n".join(map(str, self.findings))


class NotAdopted(Error):
    """There is no template for adopt() or adopt_common() to make.

    findings: The reasons. str() has one line for each.
    """

    findings: Tuple[Finding, ...]

    def __init__(self, findings: Tuple[Finding, ...]) -> None:
        super().__init__(findings)
        self.findings = findings

    def __str__(self) -> str:
        return "\n".join(map(str, self.findings))


class UpdateError(Error):
    """Files cannot be replaced. All are the old ones, but for those in not_put_back.

    files: Those that it is about.
    not_put_back: Those that hold the new text although they should not: the message says where
        the old one is.
    command: The check or the reload that it is about, or "".
    exit_status: How that has ended by itself; None: it has not, or could not be run.
    signal: The signal that has ended it.
    timed_out: It has taken longer than it may, and was stopped.
    output: What it has written.
    in_place: Of Server.write(): see UpdateResult.
    """

    files: Tuple[str, ...]
    not_put_back: Tuple[str, ...]
    command: str
    exit_status: Optional[int]
    signal: Optional[int]
    timed_out: bool
    output: str
    in_place: str

    def __init__(
        self,
        message: str = "",
        files: Iterable[str] = (),
        not_put_back: Iterable[str] = (),
        command: str = "",
        exit_status: Optional[int] = None,
        signal: Optional[int] = None,
        timed_out: bool = False,
        output: str = "",
    ) -> None:
        super().__init__(
            message, files, not_put_back, command, exit_status, signal, timed_out, output
        )
        self.files = tuple(files)
        self.not_put_back = tuple(not_put_back)
        self.command = command
        self.exit_status = exit_status
        self.signal = signal
        self.timed_out = timed_out
        self.output = output
        self.in_place = ""

    def __str__(self) -> str:
        return shown(self.args[0])


class ServerRefused(UpdateError):
    """The check or the reload does not take the new files. The old ones are in their places."""


class Overtaken(UpdateError):
    """Another program has changed a file meanwhile. It stays as that program has left it; all
    others are the old ones."""


class Cancelled(UpdateError):
    """Somebody has called Update.cancel(). All files are the old ones."""


for _class in (Error, NotAdopted, Refused, UpdateError, ServerRefused, Overtaken, Cancelled):
    _class.__module__ = "qeltemplate"
del _class
