# SPDX-License-Identifier: Apache-2.0

"""Read by mypy only; see test_typing.py."""

from pathlib import Path
from typing import Dict

import qeltemplate
from qeltemplate import Parser


def handler(level: int, module: str, channel: str, text: str) -> None:
    print(level, module, channel, text)


def merge(parser: "Parser[str]", other: "Parser[bytes]") -> "Parser[str]":
    return parser.merge_values(other)


class Site(Parser[str]):
    pass


text: str = Parser("x", "Nginx").set_value("a", new="b").apply().config()
data: bytes = Parser(b"x", dialect="Nginx").set_value(b"a", old=None, new="b").prototype()
site: Site = Site("x", "Nginx").set_template_file(Path("site.template"))
qeltemplate.set_log_handler(handler)
qeltemplate.set_log_handler(None)
qeltemplate.set_log_level(qeltemplate.LOG_DEBUG)
params: Dict[str, str] = qeltemplate.FileError().params

other: str = Parser(b"x", "Nginx").config()  # refused: assignment
Parser(7, "Nginx")  # refused: type-var
Parser("x", b"Nginx")  # refused: arg-type
Parser("x", "Nginx").set_value("a", new=7)  # refused: arg-type
qeltemplate.set_log_handler(print)
qeltemplate.set_log_handler(7)  # refused: arg-type
