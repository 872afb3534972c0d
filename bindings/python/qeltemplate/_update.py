# SPDX-License-Identifier: Apache-2.0

"""The replacing of files."""

import os
import threading
from dataclasses import dataclass
from types import TracebackType
from typing import Iterable, Iterator, List, Optional, Tuple, Type, Union

from . import _qeltemplate
from ._edit import Request
from ._results import EditResult, _Record
from ._texts import Path, Text, checked_text, one_of, type_name


@dataclass(frozen=True, repr=False)
class UpdateResult(_Record):
    """What an update has done.

    changed: The files that hold another text now.
    backups: The backups of those.
    new_warnings: What the server warns of now and did not before (new_warnings="tell").
    checked: The check has been run, and takes the files.
    reloaded: The server has been reloaded.
    in_place: Of Server.write(): why its check could be asked only when the new files were in their
        places. "": it was asked before, or there was none.
    """

    changed: Tuple[str, ...] = ()
    backups: Tuple[str, ...] = ()
    new_warnings: Tuple[str, ...] = ()
    checked: bool = False
    reloaded: bool = False
    in_place: str = ""


class File:
    """One file of an Update.

    name: As it was given.
    """

    name: str

    def __init__(self, files: _qeltemplate.Files, number: int, name: str) -> None:
        self.name = name
        self._files = files
        self._number = number

    def read(self) -> bytes:
        """What the file holds, whatever replace() was told."""
        return self._files.read(self._number)

    def read_text(self) -> str:
        """The same as str, with surrogates for what is not UTF-8."""
        return self.read().decode("utf-8", "surrogateescape")

    def replace(self, text: Text) -> None:
        """Has the update replace what the file holds. One that holds just that is left alone."""
        self._files.replace(self._number, checked_text("the text", text))

    def edit(self, request: Request, *, refuse: str = "raise") -> EditResult[bytes]:
        """Reads the file, edits it, and has the update replace it by the result."""
        result = request.edit(self.read(), self.name, refuse=refuse)
        self.replace(result.text)
        return result

    def __repr__(self) -> str:
        return f"<qeltemplate.File {self.name!r}>"


def _paths(paths: object) -> List[Path]:
    if isinstance(paths, (str, bytes, os.PathLike)):
        return [paths]
    if not isinstance(paths, Iterable):
        raise TypeError(f"paths must be paths, not {type_name(paths)}")
    several = list(paths)
    for path in several:
        if not isinstance(path, (str, bytes, os.PathLike)):
            raise TypeError(f"a path must be str, bytes or a path, not {type_name(path)}")
    return several


class _Commit:
    """How an update ends."""

    def __init__(
        self,
        backup: Optional[Text],
        check: Text,
        reload: Text,
        new_warnings: str,
        command_limit: Optional[float],
    ) -> None:
        if backup is not None:
            checked_text("backup", backup)
        self._backup = backup
        self._check = checked_text("check", check)
        self._reload = checked_text("reload", reload)
        self._new_warnings = one_of("new_warnings", new_warnings, ("ignore", "tell", "refuse"))
        self._command_limit = None if command_limit is None else float(command_limit)

    @property
    def judges_whole_server(self) -> bool:
        """Whether there is a check, and not one of each file by itself."""
        check = self._check
        if isinstance(check, str):
            check = check.encode("utf-8", "surrogateescape")
        return bool(check) and b"{}" not in check

    @property
    def judgement(self) -> Tuple[Text, str, Optional[float]]:
        """What Server.judge() has to know."""
        return self._check, self._new_warnings, self._command_limit

    def without_check(self) -> "_Commit":
        """The same when the server has judged the files already."""
        return _Commit(self._backup, "", self._reload, "ignore", self._command_limit)

    def __call__(self, files: _qeltemplate.Files) -> UpdateResult:
        changed, backups, warnings, checked, reloaded = files.commit(
            self._backup, self._check, self._reload, self._new_warnings, self._command_limit
        )
        return UpdateResult(tuple(changed), tuple(backups), tuple(warnings), checked, reloaded)


class Update:
    """Replaces what files hold, all of them or none; see update().

    result: What has been done; None before the end of `with`.
    """

    result: Optional[UpdateResult]

    def __init__(
        self,
        paths: Union[Path, Iterable[Path]],
        *,
        backup: Optional[Text] = None,
        check: Text = "",
        reload: Text = "",
        new_warnings: str = "ignore",
        may_be_missing: bool = False,
        lock_wait: float = 30,
        command_limit: Optional[float] = None,
    ) -> None:
        self._paths = _paths(paths)
        if may_be_missing and len(self._paths) != 1:
            raise ValueError("may_be_missing is for an update of one file")
        self._commit = _Commit(backup, check, reload, new_warnings, command_limit)
        self._may_be_missing = bool(may_be_missing)
        self._lock_wait = float(lock_wait)
        self._handles: List[File] = []
        self._files = _qeltemplate.Files()
        self._entered = threading.Lock()
        self.result = None

    def __enter__(self) -> "Update":
        if not self._entered.acquire(blocking=False):
            raise RuntimeError("an update can be entered once")
        self._files.open(self._paths, self._may_be_missing, self._lock_wait)
        self._handles = [File(self._files, *item) for item in enumerate(self._files.names())]
        return self

    def __exit__(
        self,
        exception_type: Optional[Type[BaseException]],
        exception: Optional[BaseException],
        traceback: Optional[TracebackType],
    ) -> None:
        try:
            if exception_type is None:
                self.result = self._commit(self._files)
        finally:
            self._files.close()

    def __iter__(self) -> Iterator[File]:
        """The files in their order; of several names of one file only the first counts."""
        return iter(self._handles)

    def __len__(self) -> int:
        return len(self._handles)

    def __getitem__(self, number: int) -> File:
        return self._handles[number]

    def cancel(self) -> None:
        """From any thread: ends what the update waits for, which raises Cancelled. All files are
        then the old ones. When they have been replaced already it does nothing."""
        self._files.cancel()

    def __repr__(self) -> str:
        return f"<qeltemplate.Update of {len(self._paths)} files, result={self.result!r}>"


def update(
    paths: Union[Path, Iterable[Path]],
    *,
    backup: Optional[Text] = None,
    check: Text = "",
    reload: Text = "",
    new_warnings: str = "ignore",
    may_be_missing: bool = False,
    lock_wait: float = 30,
    command_limit: Optional[float] = None,
) -> Update:
    """Replaces what files hold, all of them or none.

        with qeltemplate.update(sites, backup="~", check="nginx -t", reload="nginx -s reload") as files:
            for file in files:
                file.edit(request)

    At the beginning of `with` the files are locked, at its end those that have got another text are
    replaced. An exception that leaves it means that nothing is written. Whatever happens, each file
    is the old one or the new one, whole.

    backup: keeps the old files under their names with this suffix. check: a command that judges the
    new files by its exit status; with "{}" in it, it is run for each new text, whose path stands for
    that, before any is put in place; without, it is run when all are. When it refuses, all files are
    the old ones, and ServerRefused has the reasons. reload: has the server take the new files; when
    it fails, the old ones are put back, and it is run once more. new_warnings: what becomes of
    warnings that the check gives for the new files and not for the old ones, "ignore", "tell" (in
    the result) or "refuse".

    may_be_missing: the one file may be missing, reads as empty then, and is made. lock_wait: for how
    many seconds it is waited for others who hold the files. command_limit: how many seconds a
    command may take.

    Raises ServerRefused; Overtaken, when another program has changed a file meanwhile, which stays;
    Cancelled; and UpdateError for all else. Ctrl-C ends it too, with the old files in their places.
    """
    return Update(
        paths,
        backup=backup,
        check=check,
        reload=reload,
        new_warnings=new_warnings,
        may_be_missing=may_be_missing,
        lock_wait=lock_wait,
        command_limit=command_limit,
    )


for _public in (File, Update, UpdateResult, update):
    _public.__module__ = "qeltemplate"
del _public
