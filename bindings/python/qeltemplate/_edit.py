# SPDX-License-Identifier: Apache-2.0

"""The careful edit."""

import errno
import os
from typing import Any, AnyStr, Callable, Iterable, NamedTuple, Optional, Tuple, Union

from . import _qeltemplate
from ._errors import Refused
from ._results import (
    Block,
    Directive,
    EditResult,
    Explanation,
    Finding,
    Inspection,
    Place,
    explanation_of,
    finding_of,
    findings_of,
    result_of,
)
from ._texts import (
    Path,
    Text,
    Values,
    checked_dialect,
    checked_text,
    name_of_text,
    named_values,
    names,
    one_of,
    type_name,
)


class ImportedFile(NamedTuple):
    """What a callable gives for an import.

    name: Tells it from all other files, for messages and for imports in it.
    problem: Why its text cannot be had, for a refusal; "": here it is.
    """

    name: Text
    text: Text = ""

    problem: Text = ""


Imports = Union[None, Path, Callable[[str, Place], Union[None, Text, ImportedFile]]]
"""None: a template imports nothing. A folder out of which no import may lead. A callable that gets
the name in an import and the place where that stands, and gives the text, an ImportedFile, or None:
there is no such file."""

_Loader = Optional[Callable[[str, str, int, int], Optional[Tuple[Text, Text, Text]]]]


def _loader(ask: Callable[[str, Place], object]) -> _Loader:
    def load(name: str, file: str, line: int, column: int) -> Optional[Tuple[Text, Text, Text]]:
        found = ask(name, Place(file, line or None, column or None))
        if found is None:
            return None
        if not isinstance(found, ImportedFile):
            found = ImportedFile(name, checked_text("what imports() gives", found))
        for text in found:
            checked_text("what imports() gives", text)
        return found.name, found.text, found.problem

    return load


def _folder(imports: Any) -> Path:
    if not isinstance(imports, (str, bytes, os.PathLike)):
        raise TypeError(f"imports must be a folder, a callable or None, not {type_name(imports)}")
    folder: Path = imports
    if not os.path.isdir(folder):
        raise NotADirectoryError(errno.ENOTDIR, "imports is not a directory", os.fsdecode(folder))
    return folder


class Request:
    """An edit, with all that it needs but the configuration: for any number of texts, by several
    threads at a time.

        request = qeltemplate.Request(template, {"name": ("a.example", "b.example")})
        for path in sites:
            edited = request.edit(path.read_bytes(), path)

    template is the text of the template, values are the values by their names:

        "new"                          the value that the configuration is to hold, or holds already
        ("old", "new")                 what it holds now, and what it is to hold
        {"old": "old", "new": "new"}   the same; either may be left out
        {"read_old": True, "new": ...} each configuration says the old one itself: it is what stands
                                       in the value's place there
        None                           no value

    dialect is "nginx" or "apache", in letters of any case. None: it is guessed from each
    configuration, or else from the template; where it cannot be told, the edit is a ValueError.

    template_name is how messages call the template ("site.template:3:1"), and what imports of a
    folder are looked for beside.

    all: edit each block that fits; several are refused otherwise. must_exist: what is to be removed
    has to be there. create: what becomes of blocks that are not there, "if-missing", "never" or
    "only" (and only those). skip_missing: leave a text alone that has none of the template's blocks.

    quote: values are texts, and those that the server would not read as such are put in quotes. raw:
    the names of values that may be more than a word. must_use: the names of values that a line or a
    condition of the template has to use, since somebody may have misspelt them; True: all of them.

    force: the names of refusals that do not count.

    imports: where {% import %} finds files. None: nowhere. A path: a folder out of which no import
    may lead; a file is looked for beside the file that imports it, else from the current directory,
    else in the folder. A callable: imports(name, place) gives its text, an ImportedFile, or None:
    there is no such file; what it raises passes through the edit.
    """

    def __init__(
        self,
        template: Text,
        values: Values = {},
        *,
        dialect: Optional[str] = None,
        template_name: Optional[Path] = None,
        all: bool = False,
        must_exist: bool = False,
        create: str = "if-missing",
        skip_missing: bool = False,
        quote: bool = False,
        raw: Iterable[Text] = (),
        force: Iterable[Text] = (),
        must_use: Union[bool, Iterable[Text]] = (),
        imports: Imports = None,
    ) -> None:
        checked_text("the template", template)
        given = named_values(values)
        if isinstance(must_use, bool):
            must_use = [name for name, _, _, _ in given] if must_use else ()
        self._loader: _Loader = None
        folder: Optional[Path] = None
        if callable(imports):
            self._loader = _loader(imports)
        elif imports is not None:
            folder = _folder(imports)
        self._request = _qeltemplate.Request(
            template,
            name_of_text("template_name", template_name, "template"),
            given,
            checked_dialect(dialect),
            one_of("create", create, ("if-missing", "never", "only")),
            (bool(all), bool(must_exist), bool(skip_missing), bool(quote)),
            (names("raw", raw), names("force", force), names("must_use", must_use)),
            folder,
        )

    def edit(
        self, config: AnyStr, name: Optional[Path] = None, *, refuse: str = "raise"
    ) -> EditResult[AnyStr]:
        """Carries the request out on the text config, which messages call name.

        An edit that would do other than the template says raises Refused, or with refuse="return"
        gives a result with refusals and the text as it was.
        """
        one_of("refuse", refuse, ("raise", "return"))
        checked_text("config", config)
        called = name_of_text("name", name, "config")
        text, json = self._request.edit(config, called, self._loader)
        result: EditResult[AnyStr] = result_of(text, json)
        if result.refusals and refuse == "raise":
            raise Refused(result)
        return result

    def explain(self, config: AnyStr, name: Optional[Path] = None) -> Explanation[AnyStr]:
        """The same edit, and what becomes of each line of the template. Refusals are in its result."""
        checked_text("config", config)
        called = name_of_text("name", name, "config")
        text, json = self._request.explain(config, called, self._loader)
        explanation: Explanation[AnyStr] = explanation_of(text, json)
        return explanation

    def _lint(self, values_are_given: bool) -> Tuple[Finding, ...]:
        return findings_of(self._request.lint(values_are_given, self._loader))


def edit(
    config: AnyStr,
    template: Text,
    values: Values = {},
    *,
    dialect: Optional[str] = None,
    name: Optional[Path] = None,
    template_name: Optional[Path] = None,
    all: bool = False,
    must_exist: bool = False,
    create: str = "if-missing",
    skip_missing: bool = False,
    quote: bool = False,
    raw: Iterable[Text] = (),
    force: Iterable[Text] = (),
    must_use: Union[bool, Iterable[Text]] = (),
    imports: Imports = None,
    refuse: str = "raise",
) -> EditResult[AnyStr]:
    """Edits the text config by a template and values, and leaves everything else byte by byte.

    An edit that would do other than the template says is never made in part: it raises Refused, or
    with refuse="return" gives a result with refusals and the text as it was.

    name is how messages call config. Request explains the rest, and is what to use for several texts.
    """
    request = Request(
        template,
        values,
        dialect=dialect,
        template_name=template_name,
        all=all,
        must_exist=must_exist,
        create=create,
        skip_missing=skip_missing,
        quote=quote,
        raw=raw,
        force=force,
        must_use=must_use,
        imports=imports,
    )
    return request.edit(config, name, refuse=refuse)


def explain(
    config: AnyStr,
    template: Text,
    values: Values = {},
    *,
    dialect: Optional[str] = None,
    name: Optional[Path] = None,
    template_name: Optional[Path] = None,
    all: bool = False,
    must_exist: bool = False,
    create: str = "if-missing",
    skip_missing: bool = False,
    quote: bool = False,
    raw: Iterable[Text] = (),
    force: Iterable[Text] = (),
    must_use: Union[bool, Iterable[Text]] = (),
    imports: Imports = None,
) -> Explanation[AnyStr]:
    """What edit() does with the same arguments, and what becomes of each line of the template.

    Nothing is raised for a refusal: explanation.result.refusals has it.
    """
    request = Request(
        template,
        values,
        dialect=dialect,
        template_name=template_name,
        all=all,
        must_exist=must_exist,
        create=create,
        skip_missing=skip_missing,
        quote=quote,
        raw=raw,
        force=force,
        must_use=must_use,
        imports=imports,
    )
    return request.explain(config, name)


def lint(
    template: Text,
    values: Optional[Values] = None,
    *,
    dialect: Optional[str] = None,
    template_name: Optional[Path] = None,
    imports: Imports = None,
) -> Tuple[Finding, ...]:
    """What is wrong with a template, or probably not meant; nothing: an empty tuple.

    values: all that there will be, so that a name which none of them sets is missed; None: they are
    not known yet.
    """
    request = Request(
        template,
        {} if values is None else values,
        dialect=dialect,
        template_name=template_name,
        imports=imports,
    )
    return request._lint(values is not None)


def inspect(
    config: Text, *, dialect: Optional[str] = None, name: Optional[Path] = None
) -> Inspection:
    """The text config as its server reads it: blocks, directives, and what the server would refuse."""
    checked_text("config", config)
    called = name_of_text("name", name, "config")
    read_as, blocks, directives, error, warnings = _qeltemplate.inspect(
        config, called, checked_dialect(dialect)
    )
    return Inspection(
        tuple(Block(*block) for block in blocks),
        tuple(Directive(*directive) for directive in directives),
        None if error is None else finding_of(error),
        findings_of(warnings),
        read_as,
    )


def guess_dialect(text: Text) -> Optional[str]:
    """"nginx" or "apache", as a configuration or a template is written; None: that cannot be told."""
    return _qeltemplate.guess_dialect(checked_text("the text", text))


for _public in (ImportedFile, Request, edit, explain, lint, inspect, guess_dialect):
    _public.__module__ = "qeltemplate"
del _public
