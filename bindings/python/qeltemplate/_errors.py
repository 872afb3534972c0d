# SPDX-License-Identifier: Apache-2.0

"""The exceptions of the module. Memory that runs out is a MemoryError, as everywhere."""

from typing import Dict, Optional


class Error(Exception):
    """Something the library cannot do.

    str() of it is one readable line: "file: read (filename=/etc/nginx/site.template)".
    """

    type: str
    """What kind of error it is: "file"."""

    object: str
    """What it is about, or "": "read"."""

    params: Dict[str, str]
    """Its named parameters: {"filename": "/etc/nginx/site.template"}."""

    def __init__(
        self,
        message: str = "",
        type: str = "",
        object: str = "",
        params: Optional[Dict[str, str]] = None,
    ) -> None:
        super().__init__(message)
        self.type = type
        self.object = object
        self.params = params or {}


class BusyError(Error, RuntimeError):
    """A call of a parser that is in another call, made by another thread or by the log handler."""


class FileError(Error):
    """A template, or a file that a template imports, cannot be read: params["filename"]."""


class TemplateError(Error):
    """A template imports a file twice: params["filename"]."""


class UnknownDialectError(Error, ValueError):
    """There is no such dialect: params["name"]."""


for _class in (Error, BusyError, FileError, TemplateError, UnknownDialectError):
    _class.__module__ = "qeltemplate"
del _class
