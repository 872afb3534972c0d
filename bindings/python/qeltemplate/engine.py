# SPDX-License-Identifier: Apache-2.0

"""The engine by itself, below the careful edit.

It works on lines of text, drops all blank lines, and protects from nothing: a template that fits
badly, a value with a ";" in it or a configuration in another style gives another text than meant,
without a word. Whoever edits files that people have written calls qeltemplate.edit() instead. The
engine is for texts that one's own program has written, and where each line has to become what it
always has become. docs/engine.md says how it finds lines.

    from qeltemplate import engine

    parser = engine.Parser(config, dialect="Nginx")
    parser.set_value("name", old="a.example", new="b.example")
    parser.set_template_file("site.template")
    edited = parser.apply().config()

Errors are subclasses of engine.Error and say what is wrong in `type`, `object` and `params`.
"""

from typing import Any, AnyStr, Callable, Dict, Generic, Optional, TypeVar

from . import _qeltemplate
from ._errors import Error as _BaseError
from ._qeltemplate import LOG_DEBUG, LOG_OFF, LOG_TRACE
from ._texts import Path, Text, checked_text, checked_value, type_name

__all__ = [
    "LOG_DEBUG",
    "LOG_OFF",
    "LOG_TRACE",
    "BusyError",
    "Error",
    "FileError",
    "Parser",
    "TemplateError",
    "UnknownDialectError",
    "set_log_handler",
    "set_log_level",
]

_Self = TypeVar("_Self", bound="Parser[Any]")


class Error(_BaseError):
    """Something the engine cannot do.

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


class Parser(Generic[AnyStr]):
    """Edits one configuration by a template and named values.

    config is the whole text of a configuration, str or bytes, and decides which of the two config()
    and prototype() return. dialect is "Nginx" or "Apache"; anything else is an UnknownDialectError.

    Values come first, then the template, then the application: a template sees the values set before
    it. A second application works on the configuration as the first left it; for an independent
    request take a new parser. All methods but config() and prototype() return the parser, so that
    calls chain.

    A parser serves one call at a time: a call during another one, made by another thread or by the
    log handler, is a BusyError and changes nothing. Different parsers do not disturb one another.
    """

    def __init__(self, config: AnyStr, dialect: str) -> None:
        checked_text("config", config)
        if not isinstance(dialect, str):
            raise TypeError(f"dialect must be str, not {type_name(dialect)}")
        self._parser = _qeltemplate.Parser(config, dialect)

    def set_value(
        self: _Self, name: Text, old: Optional[Text] = None, new: Optional[Text] = None
    ) -> _Self:
        """Sets the old value (what the configuration holds now) and the new one (what it is to
        hold) of the parameter name.

        None is no value: as old value it removes the one stored; as new value it also removes the
        old value stored before this call, and leaves the stored new value as it is.
        """
        checked_text("name", name)
        self._parser.set_value(name, checked_value("old", old), checked_value("new", new))
        return self

    def merge_values(self: _Self, other: "Parser[Any]") -> _Self:
        """Takes over all values of another parser. Names that it does not hold keep theirs."""
        if not isinstance(other, Parser):
            raise TypeError(f"other must be a Parser, not {type_name(other)}")
        self._parser.merge_values(other._parser)
        return self

    def clear_values(self: _Self) -> _Self:
        """Forgets all values and the template."""
        self._parser.clear_values()
        return self

    def set_template(self: _Self, text: Text) -> _Self:
        """Reads a template against the values set so far.

        Files that it imports are looked up from the current directory. One that is not there is
        skipped; one that cannot be read is a FileError, and one that is imported twice a
        TemplateError: the template is then half read. After an application it takes a set_value()
        or clear_values() for the new template to be applied.
        """
        self._parser.set_template(checked_text("the template", text))
        return self

    def set_template_file(self: _Self, path: Path) -> _Self:
        """set_template() with the content of a file.

        When it cannot be read, which is a FileError, the template set before stays.
        """
        self._parser.set_template_file(path)
        return self

    def apply(self: _Self) -> _Self:
        """Edits the configuration.

        Does nothing when it has been done since the last set_value(), merge_values() or
        clear_values().
        """
        self._parser.apply()
        return self

    def config(self) -> AnyStr:
        """The configuration as the last apply() left it, without blank lines and without a line end
        at its end; empty before the first."""
        text: AnyStr = self._parser.config()
        return text

    def prototype(self) -> AnyStr:
        """The template's own result: the opening, closing and identifying lines of its blocks, with
        the new values and without the branches not taken."""
        text: AnyStr = self._parser.prototype()
        return text


def set_log_handler(handler: Optional[Callable[[int, str, str, str], object]]) -> None:
    """Sets what is called with each record of the log, in place of the handler before; None removes
    it.

    The handler is called as handler(level, module, channel, text), in the thread that logs. What it
    raises goes to sys.unraisablehook and does not disturb the edit. There is one log for the whole
    process, off until a handler is set and a level lets records through.
    """
    _qeltemplate.set_log_handler(handler)


def set_log_level(level: int) -> None:
    """Lets records of the level and below through: LOG_TRACE for each call of a parser, LOG_DEBUG
    also for what was done to the configuration. LOG_OFF, the level at the start, lets none."""
    _qeltemplate.set_log_level(level)
