# SPDX-License-Identifier: Apache-2.0

"""Read by mypy only; see test_typing.py."""

from pathlib import Path
from typing import Dict, Optional, Tuple

import qeltemplate
from qeltemplate import engine
from qeltemplate.engine import Parser

# --- The careful edit ---


def load(name: str, place: qeltemplate.Place) -> Optional[str]:
    return None if place.line == 1 else name


edited: str = qeltemplate.edit("x", "y").text
edited_bytes: bytes = qeltemplate.edit(b"x", "y", {b"a": "b", b"c": (b"d", None)}).text
result: qeltemplate.EditResult[str] = qeltemplate.edit(
    "x", b"y", {"a": {"old": "b"}}, dialect="nginx", name=Path("a"), imports=load, raw=["a"]
)
changed: bytes = qeltemplate.edit(b"x", "y").changes[0].text
line: Optional[int] = result.warnings[0].config_places[0].line
request = qeltemplate.Request("y", must_use=True, imports=Path("/etc"))
again: bytes = request.edit(b"x", "a.conf", refuse="return").text
said: str = qeltemplate.explain(b"x", "y").template_lines[0].said
explained: bytes = request.explain(b"x").result.text
found: Tuple[qeltemplate.Finding, ...] = qeltemplate.lint("y", None)
servers: Tuple[qeltemplate.Block, ...] = qeltemplate.inspect(b"x", dialect="nginx").servers
dialect: Optional[str] = qeltemplate.guess_dialect(b"x")
try:
    with qeltemplate.update(["a", Path("b")], backup="~", check="true") as files:
        for file in files:
            file.replace(file.read() + file.edit(request).text)
    assert files.result is not None
    names: Tuple[str, ...] = files.result.changed
except qeltemplate.Refused as error:
    reasons: Tuple[qeltemplate.Finding, ...] = error.findings
except qeltemplate.ServerRefused as refused:
    status: Optional[int] = refused.exit_status

adopted: qeltemplate.Adopted[bytes] = qeltemplate.adopt(b"x", b"y", values={"a": "b"}, managed=["c"])
made: bytes = qeltemplate.edit(b"x", adopted.template, adopted.values).text
common: qeltemplate.Common[str] = qeltemplate.adopt_common({"a": "x", "b": "y"})
shares: bool = common.sites["a"].shares
lost: str = qeltemplate.adopt(b"x").template  # refused: assignment
server = qeltemplate.Server(Path("a"), "nginx", roots=["b", Path("c")], modules=None)
shop: qeltemplate.Site = server.sites(name=b"a", address="80")[0]
tls: bool = shop.addresses[0].tls
whole: qeltemplate.ServerEditResult = server.edit(request, new_in="b/{name}", refuse="return")
old_text: bytes = whole.files[0].old_text
new_lines: bytes = whole.files[0].changes[0].text
file_of_line: str = server.explain(request).template_lines[0].events[0].file
written: Tuple[str, ...] = server.write(whole, check="nginx -t").changed

wrong: bytes = qeltemplate.edit("x", "y").text  # refused: assignment
qeltemplate.edit(7, "y")  # refused: type-var
qeltemplate.edit("x", Path("y"))  # refused: arg-type
qeltemplate.edit("x", "y", {"a": 7})  # refused: dict-item
qeltemplate.edit("x", "y", imports=lambda name: None)  # refused: arg-type,misc
result.text = "z"  # refused: misc
server.edit("server {\n}\n")  # refused: arg-type
server.write(result)  # refused: arg-type

# --- The engine ---


def handler(level: int, module: str, channel: str, text: str) -> None:
    print(level, module, channel, text)


def merge(parser: "Parser[str]", other: "Parser[bytes]") -> "Parser[str]":
    return parser.merge_values(other)


class Site(Parser[str]):
    pass


text: str = Parser("x", "Nginx").set_value("a", new="b").apply().config()
data: bytes = Parser(b"x", dialect="Nginx").set_value(b"a", old=None, new="b").prototype()
site: Site = Site("x", "Nginx").set_template_file(Path("site.template"))
engine.set_log_handler(handler)
engine.set_log_handler(None)
engine.set_log_level(engine.LOG_DEBUG)
params: Dict[str, str] = engine.FileError().params

other: str = Parser(b"x", "Nginx").config()  # refused: assignment
Parser(7, "Nginx")  # refused: type-var
Parser("x", b"Nginx")  # refused: arg-type
Parser("x", "Nginx").set_value("a", new=7)  # refused: arg-type
engine.set_log_handler(print)
engine.set_log_handler(7)  # refused: arg-type
