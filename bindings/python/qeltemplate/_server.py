# SPDX-License-Identifier: Apache-2.0

"""The files of a whole server."""

import os
from dataclasses import replace
from typing import Iterable, List, Optional, Tuple, Union

from . import _qeltemplate
from ._edit import Request
from ._errors import Overtaken, Refused, UpdateError
from ._results import (
    FileEdit,
    Finding,
    ServerEditResult,
    ServerExplanation,
    Site,
    findings_of,
    server_explanation_of,
    server_result_of,
    site_of,
)
from ._texts import Path, Text, checked_dialect, checked_text, names, one_of, type_name
from ._update import UpdateResult, _Commit, _paths


def _one_path(what: str, path: object) -> Path:
    if not isinstance(path, (str, bytes, os.PathLike)):
        raise TypeError(f"{what} must be str, bytes or a path, not {type_name(path)}")
    return path


def _checked_request(request: object) -> Request:
    if isinstance(request, Request):
        return request
    raise TypeError(f"the request must be a Request, not {type_name(request)}")


class Server:
    """The files of a server, as it includes them: its sites, and edits wherever these stand.

        server = qeltemplate.Server("/etc/nginx/nginx.conf")
        for site in server.sites(name="a.example"):
            print(site.place, site.addresses)
        result = server.edit(qeltemplate.Request(template, {"root": ("/srv/a", "/srv/b")}))
        server.write(result, check="nginx -t", reload="systemctl reload nginx")

    main is the server's main file. It and all that it includes are read when the object is made,
    and not again: for what there is later, make another one. Several threads may use one at a time.

    dialect is "nginx" or "apache", in letters of any case. None: it is guessed from the main file;
    where it cannot be told, that is a ValueError.

    prefix: the directory that relative names in the files are relative to. None: of nginx that of
    the main file, and of httpd the ServerRoot. roots: directories outside of which nothing is read,
    wherever links lead; none: there is no limit. define: what httpd is started with as -D NAME.
    modules: the modules that httpd is built with, as <IfModule> names them ("mod_so.c",
    "so_module"); what LoadModule loads comes on top. None: the usual ones. The variables in
    "envvars" beside httpd's main file are known.

    Raises OSError when the main file cannot be read, Error when it is outside of the roots. What is
    wrong with other files is in findings.

    dialect: "nginx" or "apache".
    files: The names of all files, the main one first, each once. They are absolute if main is.
    findings: What could not be read, or not be followed: docs/warnings.md explains the names.
    """

    dialect: str
    files: Tuple[str, ...]
    findings: Tuple[Finding, ...]

    def __init__(
        self,
        main: Path,
        dialect: Optional[str] = None,
        *,
        prefix: Optional[Path] = None,
        roots: Union[Path, Iterable[Path]] = (),
        define: Iterable[Text] = (),
        modules: Optional[Iterable[Text]] = None,
    ) -> None:
        self._server = _qeltemplate.Server(
            _one_path("main", main),
            checked_dialect(dialect),
            None if prefix is None else _one_path("prefix", prefix),
            _paths(roots),
            names("define", define),
            None if modules is None else names("modules", modules),
        )
        self.dialect = self._server.dialect()
        self.files = tuple(self._server.names())
        self.findings = findings_of(self._server.findings())

    def sites(
        self, name: Optional[Text] = None, address: Optional[Text] = None
    ) -> Tuple[Site, ...]:
        """The sites, in the order in which the server reads them.

        What stands in a file that is included in the block of a site counts as the site's.

        name: Only sites with this name, or a wildcard that stands for it. address: Only sites with
        this address, "127.0.0.1:80", this port, "80", or this host, "[::1]".
        """
        for what, text in (("name", name), ("address", address)):
            if text is not None:
                checked_text(what, text)
        return tuple(site_of(fields) for fields in self._server.sites(name, address))

    def edit(
        self, request: Request, *, new_in: Optional[Path] = None, refuse: str = "raise"
    ) -> ServerEditResult:
        """Carries the request out on the server, as if all its files were one text.

        The template's blocks are found in whatever files they stand, several that fit are refused
        with their places, and so is what would collide with another file. Nothing is written, and
        the server stays as it was read: write() does the one, another Server sees the other.

        An edit that would do other than the template says raises Refused, or with refuse="return"
        gives a result with refusals and no files. The request's dialect is that of the server.

        new_in: the file in which blocks are made when none of the template's blocks are there: one
        of the server's, or a new one that it will read. "{name}" in it stands for the first name
        that the template gives to a server. None: then blocks are not made, unless the server has
        one file only.
        """
        one_of("refuse", refuse, ("raise", "return"))
        asked = _checked_request(request)
        new_file = None if new_in is None else _one_path("new_in", new_in)
        result = server_result_of(*self._server.edit(asked._request, new_file, asked._loader))
        if result.refusals and refuse == "raise":
            raise Refused(result)
        return result

    def explain(self, request: Request, *, new_in: Optional[Path] = None) -> ServerExplanation:
        """The same edit, and what becomes of each line of the template. Refusals are in its result."""
        asked = _checked_request(request)
        new_file = None if new_in is None else _one_path("new_in", new_in)
        return server_explanation_of(
            *self._server.explain(asked._request, new_file, asked._loader)
        )

    def write(
        self,
        result: ServerEditResult,
        *,
        backup: Optional[Text] = None,
        check: Text = "",
        reload: Text = "",
        new_warnings: str = "ignore",
        lock_wait: float = 30,
        command_limit: Optional[float] = None,
    ) -> UpdateResult:
        """Puts the files of a result of edit() in their places, all of them or none.

        What was judged is what is there: when one of the server's files, also one that stays, is
        not what it was when the server was read, or has come or gone, nothing is written, and
        Overtaken is raised. A result of another Server is held to the same.

        check: "nginx -t", "apache2ctl -t" and the like judge the whole server, its main file being
        main, before anything is in its place: with the new files in a directory for temporary
        files, and links to all others. What the server refuses has not been there for a moment. Any
        other command, and one that cannot be asked so, is asked when all files are in their places:
        in_place in the result, or in the exception, says why. Whenever it refuses, all files are the
        old ones, a new one is gone, and ServerRefused has the reasons.

        The rest is as for update().
        """
        if not isinstance(result, ServerEditResult):
            raise TypeError(f"the result must be a ServerEditResult, not {type_name(result)}")
        commit = _Commit(backup, check, reload, new_warnings, command_limit)
        if result.refused:
            raise Refused(result)
        if not result.files:
            return UpdateResult()
        return self._replace(result, commit, float(lock_wait))

    def _replace(
        self, result: ServerEditResult, commit: _Commit, lock_wait: float
    ) -> UpdateResult:
        # One that may be missing comes last.
        edits = sorted(result.files, key=lambda edit: edit.is_new)
        paths: List[Path] = [edit.name for edit in edits]
        files = _qeltemplate.Files()
        try:
            files.open(paths, edits[-1].is_new, lock_wait)
            numbers = {name: number for number, name in enumerate(files.names())}
            for edit in edits:
                if files.read(numbers[edit.name]) != edit.old_text:
                    raise _overtaken(edit.name)
            changed = self._server.overtaken()
            if changed is not None:
                raise _overtaken(changed)
            for edit in edits:
                files.replace(numbers[edit.name], edit.text)
            return self._commit(commit, edits, files)
        finally:
            files.close()

    def _commit(
        self, commit: _Commit, edits: List[FileEdit], files: _qeltemplate.Files
    ) -> UpdateResult:
        """Has the server judge the files before they are in their places, where it can be asked."""
        if not commit.judges_whole_server:
            return commit(files)
        judged = [(edit.name, edit.is_new, edit.old_text, edit.text) for edit in edits]
        in_place, warnings = self._server.judge(judged, *commit.judgement)
        if not in_place:
            return replace(commit.without_check()(files), checked=True, new_warnings=tuple(warnings))
        try:
            return replace(commit(files), in_place=in_place)
        except UpdateError as error:
            error.in_place = in_place
            raise

    def __repr__(self) -> str:
        return f"<qeltemplate.Server {self.files[0]!r}, {len(self.files)} files>"


def _overtaken(file: str) -> Overtaken:
    message = f"{file}: another program has changed this file meanwhile; nothing is written"
    return Overtaken(message, [file])


Server.__module__ = "qeltemplate"
