# SPDX-License-Identifier: Apache-2.0

"""What an edit and its relatives give."""

import dataclasses
from dataclasses import dataclass
from typing import Any, AnyStr, Dict, Generic, Mapping, Optional, Tuple

from ._texts import shown

_LONGEST = 200


def _short(value: object) -> str:
    """repr(), but for long texts, of which only the size is told."""
    if isinstance(value, (str, bytes)) and len(value) > _LONGEST:
        unit = "bytes" if isinstance(value, bytes) else "characters"
        return f"<{len(value)} {unit}>"
    return repr(value)


class _Record:
    """A dataclass whose repr() has what differs from the usual, and no whole configuration."""

    def __repr__(self) -> str:
        told = []
        for field in dataclasses.fields(self):
            value = getattr(self, field.name)
            if value != field.default:
                told.append(f"{field.name}={_short(value)}")
        return f"{type(self).__name__}({', '.join(told)})"


@dataclass(frozen=True, repr=False)
class Place(_Record):
    """A place in a file. str() is "site.conf:12:5", without what is None.

    file: The name that the text was given, or the path of an import.
    line: From 1.
    column: From 1, in bytes.
    """

    file: str
    line: Optional[int] = None
    column: Optional[int] = None

    def __str__(self) -> str:
        parts = [self.file, *(str(n) for n in (self.line, self.column) if n is not None)]
        return shown(":".join(parts))


@dataclass(frozen=True, repr=False)
class Finding(_Record):
    """What speaks against an edit, or should be known about it.

    str() is the whole of it for people, with what makes the edit all the same and its name:
    "site.template:2:1: 'server {' fits several blocks: ... [ambiguous]".

    name: Of the kind: "ambiguous". docs/warnings.md explains each.
    message: What is wrong, without its place.
    hint: What to do instead.
    said: Place, message and hint.
    template_place: The line of the template that it is about.
    config_places: What of the configuration it is about, the most important first.
    in_result: config_places are those of the edited text, not of the one before.
    values: The names of the values that it is about.
    remedies: The options with which the edit would be made: "all", "quote", "raw" (for these
        values).
    can_be_forced: force={name} makes the edit all the same.
    line_text: Of a finding of lint() or inspect(): the line, as it stands there.
    """

    name: str
    message: str
    hint: str = ""
    said: str = ""
    template_place: Optional[Place] = None
    config_places: Tuple[Place, ...] = ()
    in_result: bool = False
    values: Tuple[str, ...] = ()
    remedies: Tuple[str, ...] = ()
    can_be_forced: bool = False
    line_text: str = ""

    def __str__(self) -> str:
        ways = {
            "all": "all=True edits all of them",
            "quote": "quote=True writes it in quotes",
            "raw": f"raw={set(self.values) or '{name}'} puts it in as it is",
        }
        text = self.said or self.message
        remedies = ", ".join(ways.get(remedy, remedy) for remedy in self.remedies)
        return f"{text}{'; ' if remedies else ''}{shown(remedies)} [{self.name}]"


@dataclass(frozen=True, repr=False)
class Change(_Record, Generic[AnyStr]):
    """Lines of a text in whose place others have come.

    line: The number of the first one, from 1.
    count: How many; 0: the new ones have come before that line.
    text: The new ones, with their line ends; empty: there are none.
    template_lines: Whose doing it is.
    """

    line: int
    count: int
    text: AnyStr
    template_lines: Tuple[Place, ...] = ()


@dataclass(frozen=True, repr=False)
class EditResult(_Record, Generic[AnyStr]):
    """What has become of a text.

    text: Edited; as it was, when the edit is refused. str for str, bytes for bytes.
    changed: It is another one than before.
    skipped: It has none of the template's blocks (skip_missing).
    changes: What makes the text of the one before, carried out from the last to the first. Of a
        refused edit what would be done but for the refusals.
    warnings: What should be known about the edit.
    refusals: Why the edit is refused; none: it is made.
    dialect: "nginx" or "apache".
    """

    text: AnyStr
    changed: bool = False
    skipped: bool = False
    changes: Tuple[Change[AnyStr], ...] = ()
    warnings: Tuple[Finding, ...] = ()
    refusals: Tuple[Finding, ...] = ()
    dialect: str = ""

    @property
    def refused(self) -> bool:
        """The edit is not made."""
        return bool(self.refusals)


@dataclass(frozen=True, repr=False)
class Statement(_Record):
    """An if, elif, else, end or import of a template.

    text: "if $ssl == on".
    taken: The branch is taken; of an import False: there is no such file. None: it is neither.
    values: What the names in a condition stand for: "ssl is 'off'".
    """

    place: Place
    text: str
    taken: Optional[bool] = None
    values: str = ""


@dataclass(frozen=True, repr=False)
class LineEvent(_Record):
    """What a line of a template has to do with one directive of the configuration.

    kind: "found", "added", "changed", "removed".
    line: Where it begins before the edit; None: it is new.
    file: Of a server's edit: the file that it stands in. "": it is new, or the one file.
    """

    kind: str
    line: Optional[int] = None
    column: Optional[int] = None
    before: str = ""
    after: str = ""
    file: str = ""


@dataclass(frozen=True, repr=False)
class TemplateLine(_Record):
    """A line of a template that is no statement, and what becomes of it.

    text: As it stands in the template.
    action: "added", "changed", "removed", "already-there", "not-there", "missing-value", "no-
        block", "nothing".
    said: The same for people, and why.
    taken: False: its branch is not taken, and the line has to go.
    statement: Because of which statement it is not taken.
    line: With its values.
    key: What the directive is looked for by.
    key_is_beginning: The key ends where a trailing place stands.
    missing: The names of the values that there are none of.
    block: Its block; None: it is for the top level of the file.
    """

    place: Place
    text: str
    action: str
    said: str
    taken: bool = True
    statement: Optional[int] = None
    line: str = ""
    key: str = ""
    key_is_beginning: bool = False
    missing: Tuple[str, ...] = ()
    block: Optional[int] = None
    events: Tuple[LineEvent, ...] = ()


@dataclass(frozen=True, repr=False)
class TemplateBlock(_Record):
    """A block of a template.

    opening: Its opening line among the template lines.
    text: That line, as it stands in the template.
    created: It was not there, and is made.
    renamed: Its opening line changes.
    found: Where it was; several with all=True.
    """

    opening: int
    text: str
    created: bool = False
    renamed: bool = False
    found: Tuple[Place, ...] = ()


@dataclass(frozen=True, repr=False)
class Explanation(_Record, Generic[AnyStr]):
    """An edit, and what becomes of each line of the template.

    str() is a table of the template lines.
    """

    result: EditResult[AnyStr]
    statements: Tuple[Statement, ...] = ()
    template_lines: Tuple[TemplateLine, ...] = ()
    blocks: Tuple[TemplateBlock, ...] = ()

    def __str__(self) -> str:
        return _table(self.template_lines)


def _table(template_lines: Tuple[TemplateLine, ...]) -> str:
    lines = [(str(line.place), line.text.strip(), line.said) for line in template_lines]
    width = max((len(place) for place, _, _ in lines), default=0)
    return "\n".join(f"{place:{width}}  {shown(text)}  # {said}" for place, text, said in lines)


@dataclass(frozen=True, repr=False)
class SiteAddress(_Record):
    """Where a site listens.

    address: In normal form: "*:80", "[::1]:8080", "*:443/udp".
    tls: It speaks TLS there.
    default: It is nginx's default_server there, as it says itself.
    """

    address: str
    tls: bool = False
    default: bool = False


@dataclass(frozen=True, repr=False)
class Site(_Record):
    """A site of a server: a block of nginx's server, or a <VirtualHost>.

    names: In lower case, but for regular expressions; a ServerName is the first.
    addresses: Those that the server takes where none is stated, too.
    root: The directory with its documents, as it is written; "": none is stated.
    place: Where its block begins.
    protocol: "http", of nginx also "stream" or "mail".
    """

    names: Tuple[str, ...]
    addresses: Tuple[SiteAddress, ...]
    root: str
    place: Place
    protocol: str = "http"


@dataclass(frozen=True, repr=False)
class FileEdit(_Record):
    """A file of a server that an edit changes, or makes.

    name: As the server names it.
    text: Edited.
    old_text: As it has been read; empty for a new one.
    is_new: It is not there yet.
    changes: What makes the text of the old one, carried out from the last to the first.
    """

    name: str
    text: bytes
    old_text: bytes = b""
    is_new: bool = False
    changes: Tuple[Change[bytes], ...] = ()


@dataclass(frozen=True, repr=False)
class ServerEditResult(_Record):
    """What an edit makes of a server's files. Nothing is written; see Server.write().

    files: Those that change, in the order in which the server reads them; of a refused edit none.
    skipped: The server has none of the template's blocks (skip_missing).
    warnings: What should be known about the edit.
    refusals: Why the edit is refused; none: it is made.
    dialect: "nginx" or "apache".
    """

    files: Tuple[FileEdit, ...] = ()
    skipped: bool = False
    warnings: Tuple[Finding, ...] = ()
    refusals: Tuple[Finding, ...] = ()
    dialect: str = ""

    @property
    def changed(self) -> bool:
        """There are files that change."""
        return bool(self.files)

    @property
    def refused(self) -> bool:
        """The edit is not made."""
        return bool(self.refusals)


@dataclass(frozen=True, repr=False)
class ServerExplanation(_Record):
    """An edit of a server, and what becomes of each line of the template, in which file.

    str() is a table of the template lines.
    """

    result: ServerEditResult
    statements: Tuple[Statement, ...] = ()
    template_lines: Tuple[TemplateLine, ...] = ()
    blocks: Tuple[TemplateBlock, ...] = ()

    def __str__(self) -> str:
        return _table(self.template_lines)


@dataclass(frozen=True, repr=False)
class Block(_Record):
    """A block of a configuration. str() is its opening: "server", "location /img".

    name: "server", "VirtualHost".
    arguments: As the server reads them, without quotes.
    line: Where it opens.
    column: Where it opens, in bytes.
    end_line: Where it closes; None: it does not.
    parent: The block around it, by its position among the blocks; None: there is none.
    depth: How many blocks are around it.
    opaque: Code in another language, which is not looked into.
    is_server: A server's block: names and addresses are what it answers to, in normal form.
    """

    name: str
    arguments: Tuple[str, ...] = ()
    line: int = 1
    column: int = 1
    end_line: Optional[int] = None
    parent: Optional[int] = None
    depth: int = 0
    opaque: bool = False
    is_server: bool = False
    names: Tuple[str, ...] = ()
    addresses: Tuple[str, ...] = ()

    def __str__(self) -> str:
        return shown(" ".join((self.name, *self.arguments)))


@dataclass(frozen=True, repr=False)
class Directive(_Record):
    """A directive of a configuration. str() is its words: "listen 443 ssl".

    name: "listen", "DocumentRoot".
    arguments: As the server reads them, without quotes.
    line: Where it begins.
    column: Where it begins, in bytes.
    end_line: Where it ends.
    block: The block that it stands in, by its position among the blocks; None: there is none.
    """

    name: str
    arguments: Tuple[str, ...] = ()
    line: int = 1
    column: int = 1
    end_line: int = 1
    block: Optional[int] = None

    def __str__(self) -> str:
        return shown(" ".join((self.name, *self.arguments)))


@dataclass(frozen=True, repr=False)
class Inspection(_Record):
    """A configuration as its server reads it.

    blocks: In the order of the text, a block before those inside of it.
    directives: In the order of the text.
    error: Why the server cannot read the text from there on. Its second place is where the
        innermost block begins that is open there.
    warnings: What the server would refuse although it can read it, or reads otherwise than it looks.
    dialect: "nginx" or "apache".
    """

    blocks: Tuple[Block, ...] = ()
    directives: Tuple[Directive, ...] = ()
    error: Optional[Finding] = None
    warnings: Tuple[Finding, ...] = ()
    dialect: str = ""

    @property
    def servers(self) -> Tuple[Block, ...]:
        """The blocks of servers."""
        return tuple(block for block in self.blocks if block.is_server)


# --- Out of the module's dictionaries ---

_Json = Mapping[str, Any]


def place_of(json: Optional[_Json]) -> Optional[Place]:
    return None if json is None else _place(json)


def _place(json: _Json, file: str = "") -> Place:
    return Place(json.get("file", file), json.get("line"), json.get("column"))


def _places(json: Any, file: str = "") -> Tuple[Place, ...]:
    return tuple(_place(place, file) for place in json)


def finding_of(json: _Json) -> Finding:
    fields: Dict[str, Any] = dict(json)
    for text in ("message", "hint", "said"):
        fields[text] = shown(fields.get(text, ""))
    fields["template_place"] = place_of(fields.get("template_place"))
    fields["config_places"] = _places(fields.get("config_places", ()))
    for several in ("values", "remedies"):
        fields[several] = tuple(fields.get(several, ()))
    return Finding(**fields)


@dataclass(frozen=True, repr=False)
class Adopted(_Record, Generic[AnyStr]):
    """The template of a configuration, with its values.

    template: str for str, bytes for bytes.
    values: By their names, each with its old text and its new one: what edit() takes.
    left_out: What a template cannot express, with place and reason.
    refusals: Why there is no template; none: there is one.
    dialect: "nginx" or "apache".
    """

    template: AnyStr
    values: Dict[str, Tuple[str, str]]
    left_out: Tuple[Finding, ...] = ()
    refusals: Tuple[Finding, ...] = ()
    dialect: str = ""


@dataclass(frozen=True, repr=False)
class CommonSite(_Record):
    """One of many sites, beside the template that most of them share.

    values: For that template: what edit() takes.
    shares: An edit with them changes nothing.
    beyond: The site's lines that the template does not have.
    lacking: The template's lines that the site does not have.
    """

    values: Dict[str, Tuple[str, str]]
    shares: bool = False
    beyond: Tuple[Finding, ...] = ()
    lacking: Tuple[Finding, ...] = ()


@dataclass(frozen=True, repr=False)
class Common(_Record, Generic[AnyStr]):
    """The template that most of many sites share.

    template: str or bytes, as the first configuration.
    sites: By the names of the configurations.
    refusals: Why there is no template; none: there is one.
    dialect: "nginx" or "apache".
    """

    template: AnyStr
    sites: Mapping[Any, CommonSite]
    refusals: Tuple[Finding, ...] = ()
    dialect: str = ""


def findings_of(json: Any) -> Tuple[Finding, ...]:
    return tuple(finding_of(finding) for finding in json)


def result_of(text: AnyStr, json: _Json) -> EditResult[AnyStr]:
    def as_given(part: str) -> Any:
        return part if isinstance(text, str) else part.encode("utf-8", "surrogateescape")

    changes = tuple(
        Change(
            change["line"],
            change["count"],
            as_given(change["text"]),
            _places(change["template_lines"]),
        )
        for change in json["changes"]
    )
    return EditResult(
        text,
        changed=json["changed"],
        skipped=json.get("skipped", False),
        changes=changes,
        warnings=findings_of(json["warnings"]),
        refusals=findings_of(json["refusals"]),
        dialect=json["dialect"],
    )


def _template_line(json: _Json) -> TemplateLine:
    fields: Dict[str, Any] = dict(json)
    events = fields.pop("lines")
    fields["place"] = _place(fields["place"])
    fields["said"] = shown(fields["said"])
    fields["missing"] = tuple(fields.get("missing", ()))
    fields["events"] = tuple(
        LineEvent(
            event["kind"],
            event.get("line"),
            event.get("column"),
            event.get("from", ""),
            event.get("to", ""),
        )
        for event in events
    )
    return TemplateLine(**fields)


_Report = Tuple[Tuple[Statement, ...], Tuple[TemplateLine, ...], Tuple[TemplateBlock, ...]]


def _report_of(json: _Json) -> _Report:
    config = json["config"]
    statements = (
        Statement(
            _place(statement["place"]),
            statement["text"],
            statement.get("taken"),
            statement.get("values", ""),
        )
        for statement in json["statements"]
    )
    blocks = (
        TemplateBlock(
            block["opening"],
            block["text"],
            block["created"],
            block["renamed"],
            _places(block["found"], config),
        )
        for block in json["blocks"]
    )
    lines = tuple(_template_line(line) for line in json["template_lines"])
    return tuple(statements), lines, tuple(blocks)


def explanation_of(text: AnyStr, json: _Json) -> Explanation[AnyStr]:
    return Explanation(result_of(text, json), *_report_of(json))


# --- Of a server ---


def site_of(fields: Any) -> Site:
    names, addresses, root, place, protocol = fields
    several = tuple(SiteAddress(*address) for address in addresses)
    return Site(tuple(names), several, root, Place(*place), protocol)


def _file_edit(fields: Any) -> FileEdit:
    name, is_new, old_text, text, json = fields
    return FileEdit(name, text, old_text, is_new, result_of(text, json).changes)


def server_result_of(files: Any, json: _Json) -> ServerEditResult:
    return ServerEditResult(
        tuple(_file_edit(file) for file in files),
        json.get("skipped", False),
        findings_of(json["warnings"]),
        findings_of(json["refusals"]),
        json["dialect"],
    )


def _in_files(names: Any, places: Any) -> Any:
    """The places, or events, each in the file of the same number."""
    return tuple(
        dataclasses.replace(place, file=name) for name, place in zip(names, places)
    )


def server_explanation_of(
    files: Any, result: _Json, report: _Json, where: Any
) -> ServerExplanation:
    statements, lines, blocks = _report_of(report)
    in_blocks, in_lines = where
    return ServerExplanation(
        server_result_of(files, result),
        statements,
        tuple(
            dataclasses.replace(line, events=_in_files(names, line.events))
            for names, line in zip(in_lines, lines)
        ),
        tuple(
            dataclasses.replace(block, found=_in_files(names, block.found))
            for names, block in zip(in_blocks, blocks)
        ),
    )
