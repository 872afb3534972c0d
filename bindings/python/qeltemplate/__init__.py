# SPDX-License-Identifier: Apache-2.0

"""Edits nginx and Apache httpd configurations by templates, and leaves everything else as it is.

    import qeltemplate

    template = '''
    server {
        server_name {% $name %};
        root {% $root %};
    }
    '''
    result = qeltemplate.edit(config, template, {"name": "a.example", "root": "/srv/a"})
    print(result.text)

The template names what is to be there. edit() finds the block that it means, changes what differs,
and touches nothing else; an edit that would do other than the template says raises Refused, which
says why, where, and what to write instead. The text is never edited in part.

    edit(config, template, values)   edits one text
    Request(template, values)        the same edit of any number of texts
    explain(config, template, ...)   what becomes of each line of the template, and why
    lint(template)                   what is wrong with a template
    inspect(config)                  a configuration as its server reads it
    adopt(config)                    a template and its values, from a configuration
    adopt_common(configs)            the template that most of many sites share
    guess_dialect(text)              "nginx" or "apache"
    Server(main)                     all files of a server: its sites, and edits wherever these stand
    update(paths)                    replaces files: all or none, with locks, backups, the server's check
    engine                           the engine below, which protects from nothing

Texts are str or bytes. What goes in as bytes comes out as bytes, what goes in as str comes out as
str. A configuration need not be UTF-8: as bytes it is taken as it is; as str, read such files with
errors="surrogateescape" and write them so, and the bytes that are not UTF-8 come through as well.
Names, values and templates may be either, whatever the configuration is. Messages are str, with
"\\\\xe9" for such a byte.

While the library works the GIL is released: several threads edit several configurations at once.
"""

from . import engine
from ._adopt import adopt, adopt_common
from ._edit import ImportedFile, Request, edit, explain, guess_dialect, inspect, lint
from ._errors import Cancelled, Error, NotAdopted, Overtaken, Refused, ServerRefused, UpdateError
from ._qeltemplate import __version__
from ._results import (
    Adopted,
    Block,
    Change,
    Common,
    CommonSite,
    Directive,
    EditResult,
    Explanation,
    FileEdit,
    Finding,
    Inspection,
    LineEvent,
    Place,
    ServerEditResult,
    ServerExplanation,
    Site,
    SiteAddress,
    Statement,
    TemplateBlock,
    TemplateLine,
)
from ._server import Server
from ._update import File, Update, UpdateResult, update

__all__ = [
    "Adopted",
    "Block",
    "Cancelled",
    "Change",
    "Common",
    "CommonSite",
    "Directive",
    "EditResult",
    "Error",
    "Explanation",
    "File",
    "FileEdit",
    "Finding",
    "ImportedFile",
    "Inspection",
    "LineEvent",
    "NotAdopted",
    "Overtaken",
    "Place",
    "Refused",
    "Request",
    "Server",
    "ServerEditResult",
    "ServerExplanation",
    "ServerRefused",
    "Site",
    "SiteAddress",
    "Statement",
    "TemplateBlock",
    "TemplateLine",
    "Update",
    "UpdateError",
    "UpdateResult",
    "__version__",
    "adopt",
    "adopt_common",
    "edit",
    "engine",
    "explain",
    "guess_dialect",
    "inspect",
    "lint",
    "update",
]

for _class in (
    Adopted,
    Block,
    Change,
    Common,
    CommonSite,
    Directive,
    EditResult,
    Explanation,
    FileEdit,
    Finding,
    Inspection,
    LineEvent,
    Place,
    ServerEditResult,
    ServerExplanation,
    Site,
    SiteAddress,
    Statement,
    TemplateBlock,
    TemplateLine,
):
    _class.__module__ = "qeltemplate"
del _class
