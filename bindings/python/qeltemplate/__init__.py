# SPDX-License-Identifier: Apache-2.0

"""Edits nginx and Apache httpd configurations by templates, and leaves everything else as it is.

    import qeltemplate

    parser = qeltemplate.Parser(config, dialect="Nginx")
    parser.set_value("name", old="a.example", new="b.example")
    parser.set_template_file("site.template")
    edited = parser.apply().config()

Texts are str or bytes. A configuration need not be UTF-8: one that is given as bytes comes back as
bytes, untouched but for the edits. One that is given as str comes back as str; read such files with
errors="surrogateescape" and write them so, and the bytes that are not UTF-8 come through as well.
Names, values and templates may be either, whatever the configuration is.

Errors are subclasses of Error and say what is wrong in `type`, `object` and `params`.

While the library works the GIL is released: several threads edit several configurations at once.
"""

from ._errors import BusyError, Error, FileError, TemplateError, UnknownDialectError
from ._qeltemplate import (
    LOG_DEBUG,
    LOG_OFF,
    LOG_TRACE,
    Parser,
    set_log_handler,
    set_log_level,
)

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
