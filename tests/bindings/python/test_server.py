# SPDX-License-Identifier: Apache-2.0

"""Whole servers: what is read, edited and written, beside what the program says of the same files."""

import json
import os
import pickle
import subprocess
from concurrent.futures import ThreadPoolExecutor

import pytest
from turns import others_run_during

import qeltemplate

# The program, where it is built as well; a wheel comes without.
PROGRAM = os.environ.get("QELTEMPLATE_PROGRAM")
beside_the_program = pytest.mark.skipif(PROGRAM is None, reason="there is no program beside")

MAIN = """events {}
http {
    include sites/*;
}
"""
SHOP = """server {
    listen 127.0.0.1:8080 default_server;
    listen 443 ssl;
    server_name shop.example *.Shop.example;
    include snippets/shop;
}
"""
MAIL = """server {
    listen 127.0.0.1:8080;
    server_name mail.example;
    root /srv/mail;
}
"""
TEMPLATE = """server {
    server_name {% $name %};
    root {% $root %};
}
"""


def made(folder, files):
    for name, text in files.items():
        path = folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8")
    return folder


@pytest.fixture(name="folder")
def folder_of_nginx(tmp_path):
    snippet = {"snippets/shop": "root /srv/shop;\n"}
    return made(tmp_path, {"nginx.conf": MAIN, "sites/mail": MAIL, "sites/shop": SHOP, **snippet})


def server_in(folder, **options):
    return qeltemplate.Server(folder / "nginx.conf", **options)


def everything_in(folder):
    """All files, with their texts."""
    return {
        str(path.relative_to(folder)): path.read_bytes()
        for path in folder.rglob("*")
        if path.is_file()
    }


def run(*arguments):
    """What the program writes as JSON."""
    outcome = subprocess.run(
        [PROGRAM, *map(str, arguments)], capture_output=True, text=True, check=False
    )
    return json.loads(outcome.stdout)


def request_of(root, *, name="mail.example", **options):
    return qeltemplate.Request(TEMPLATE, {"name": name, "root": root}, **options)


TO_NEW = ("/srv/mail", "/srv/new")
EDITED = MAIL.replace("/srv/mail", "/srv/new")


# --- Reading ---


def test_files_are_those_that_the_server_includes(folder):
    server = server_in(folder)
    names = ["nginx.conf", "sites/mail", "sites/shop", "snippets/shop"]
    found = [os.path.realpath(name) for name in server.files]
    assert found == [os.path.realpath(folder / name) for name in names]
    assert server.dialect == "nginx"
    assert server.findings == ()
    assert repr(server) == f"<qeltemplate.Server '{folder}/nginx.conf', 4 files>"


@pytest.mark.parametrize("as_path", [str, os.fsencode, lambda path: path], ids=["str", "bytes", "Path"])
def test_paths_of_any_type(folder, as_path):
    server = qeltemplate.Server(as_path(folder / "nginx.conf"), roots=as_path(folder))
    made_there = server.edit(request_of("/srv/a", name="a.example"), new_in=as_path(folder / "sites/a"))
    assert [file.name for file in made_there.files] == [f"{folder}/sites/a"]


def test_names_that_are_no_utf8_come_through(folder):
    name = os.fsencode(folder) + b"/sites/caf\xe9"
    with open(name, "wb") as file:
        file.write(b"# \xff\n" + MAIL.replace("mail", "caf").encode())
    server = server_in(folder)
    result = server.edit(request_of(("/srv/caf", "/srv/new"), name="caf.example"))
    assert os.fsencode(result.files[0].name) == name
    assert server.write(result).changed == (os.fsdecode(name),)
    with open(name, "rb") as file:
        assert file.read() == b"# \xff\n" + EDITED.replace("mail", "caf").encode()


def test_sites_are_typed_records(folder):
    mail, shop = server_in(folder).sites()
    Address = qeltemplate.SiteAddress
    assert mail == qeltemplate.Site(
        names=("mail.example",),
        addresses=(Address("127.0.0.1:8080"),),
        root="/srv/mail",
        place=qeltemplate.Place(f"{folder}/sites/mail", 1, 1),
        protocol="http",
    )
    assert shop.names == ("shop.example", "*.shop.example")
    assert shop.addresses == (
        Address("127.0.0.1:8080", default=True),
        Address("*:443", tls=True),
    )
    assert shop.root == "/srv/shop"


@pytest.mark.parametrize(
    ("wanted", "expected"),
    [
        ({}, ["mail", "shop"]),
        ({"name": "MAIL.example"}, ["mail"]),
        ({"name": b"x.shop.example"}, ["shop"]),
        ({"address": "443"}, ["shop"]),
        ({"address": "127.0.0.1"}, ["mail", "shop"]),
        ({"name": "mail.example", "address": "443"}, []),
    ],
)
def test_sites_are_found_by_name_and_address(folder, wanted, expected):
    found = server_in(folder).sites(**wanted)
    assert [os.path.basename(site.place.file) for site in found] == expected


def test_nothing_outside_of_the_roots_is_read(folder):
    server = server_in(folder, roots=[folder / "sites", folder / "nginx.conf"])
    assert [finding.name for finding in server.findings] == ["outside-root"]
    assert len(server.files) == 3
    assert {place.file for finding in server.findings for place in finding.config_places} == {
        f"{folder}/sites/shop"
    }
    with pytest.raises(qeltemplate.Error, match="outside of the directories") as caught:
        server_in(folder, dialect="nginx", roots=[folder / "sites"])
    assert type(caught.value) is qeltemplate.Error


def test_what_cannot_be_read_is_a_finding(folder):
    (folder / "nginx.conf").write_text("include none.conf;\n" + MAIN, encoding="utf-8")
    server = server_in(folder)
    assert len(server.findings) == 1
    assert "none.conf" in server.findings[0].message
    assert str(server.findings[0].config_places[0]) == f"{folder}/nginx.conf:1:1"
    assert len(server.sites()) == 2


@pytest.mark.parametrize(
    ("name", "error"), [("none.conf", FileNotFoundError), ("sites", IsADirectoryError)]
)
@pytest.mark.parametrize("dialect", [None, "nginx"])
def test_a_main_file_that_cannot_be_read(folder, name, error, dialect):
    with pytest.raises(error) as caught:
        qeltemplate.Server(folder / name, dialect)
    assert caught.value.filename == str(folder / name)


def test_the_prefix_is_what_names_are_relative_to(folder, tmp_path):
    made(tmp_path, {"elsewhere/nginx.conf": MAIN})
    main = tmp_path / "elsewhere/nginx.conf"
    assert qeltemplate.Server(main).sites() == ()
    assert len(qeltemplate.Server(main, prefix=folder).sites()) == 2


APACHE = """<IfModule mod_odd.c>
Include odd.conf
</IfModule>
<IfDefine Extra>
Include extra.conf
</IfDefine>
LoadModule dir_module mod_dir.so
Include ${SITES}/*.conf
Listen 80
"""
HOST = "<VirtualHost *:80>\nServerName {}.example\nDocumentRoot /srv/{}\n</VirtualHost>\n"


@pytest.mark.parametrize(
    ("options", "names"),
    [
        ({"modules": ["mod_so.c"]}, ["a"]),
        ({"modules": ["mod_so.c", "mod_odd.c"]}, ["odd", "a"]),
        ({"modules": [], "define": ["Extra"]}, ["extra", "a"]),
    ],
)
def test_httpd_is_read_as_it_is_started(tmp_path, options, names):
    hosts = {f"{name}.conf": HOST.format(name, name) for name in ("odd", "extra", "sites/a")}
    hosts["sites/a.conf"] = HOST.format("a", "a")
    made(tmp_path, {"apache2.conf": APACHE, "envvars": "export SITES=sites\n", **hosts})
    server = qeltemplate.Server(tmp_path / "apache2.conf", **options)
    assert server.dialect == "apache"
    assert [site.names for site in server.sites()] == [(f"{name}.example",) for name in names]


@pytest.mark.parametrize(
    ("call", "error", "message"),
    [
        (lambda folder: qeltemplate.Server(7), TypeError, "main must be str, bytes or a path, not int"),
        (lambda folder: server_in(folder, dialect="iis"), ValueError, "no dialect 'iis'"),
        (lambda folder: server_in(folder, roots=[7]), TypeError, "a path must be str"),
        (lambda folder: server_in(folder, define="X"), TypeError, "define must be a collection"),
        (lambda folder: server_in(folder).sites(name=7), TypeError, "name must be str or bytes"),
        (lambda folder: server_in(folder).edit(TEMPLATE), TypeError, "must be a Request, not str"),
        (lambda folder: server_in(folder).edit(request_of("a"), new_in=7), TypeError, "new_in must be"),
        (lambda folder: server_in(folder).edit(request_of("a"), refuse="x"), ValueError, "refuse"),
        (lambda folder: server_in(folder).write(7), TypeError, "must be a ServerEditResult, not int"),
        (
            lambda folder: server_in(folder).edit(request_of("a", dialect="apache")),
            ValueError,
            "the request is for apache, and the server is nginx",
        ),
        (
            lambda folder: qeltemplate.Server(made(folder, {"empty": ""}) / "empty"),
            ValueError,
            "its language cannot be told",
        ),
    ],
)
def test_what_cannot_be_asked(folder, call, error, message):
    with pytest.raises(error, match=message):
        call(folder)


# --- Edits ---


def test_a_site_is_edited_where_it_stands(folder):
    before = everything_in(folder)
    result = server_in(folder).edit(request_of(TO_NEW))
    assert everything_in(folder) == before
    (file,) = result.files
    assert (file.name, file.is_new) == (f"{folder}/sites/mail", False)
    assert (file.old_text, file.text) == (MAIL.encode(), EDITED.encode())
    assert [(change.line, change.count, change.text) for change in file.changes] == [
        (4, 1, b"    root /srv/new;\n")
    ]
    assert (result.changed, result.refused, result.skipped) == (True, False, False)
    assert pickle.loads(pickle.dumps(result)) == result


def test_blocks_of_one_template_may_stand_in_several_files(folder):
    template = "server {\n    listen 127.0.0.1:8080;\n    gzip on;\n}\n"
    server = server_in(folder)
    request = qeltemplate.Request(template, all=True)
    result = server.edit(request)
    assert [os.path.basename(file.name) for file in result.files] == ["mail", "shop"]
    assert server.write(result).changed == tuple(file.name for file in result.files)
    assert [(folder / "sites" / name).read_text().count("gzip on;") for name in ("mail", "shop")] == [1, 1]
    assert server_in(folder).edit(request) == qeltemplate.ServerEditResult(dialect="nginx")


def test_a_refusal_has_the_places_in_both_files(folder):
    server = server_in(folder)
    template = "server {\n    listen 127.0.0.1:8080;\n    gzip on;\n}\n"
    request = qeltemplate.Request(template, template_name="gzip.template")
    with pytest.raises(qeltemplate.Refused) as caught:
        server.edit(request)
    (finding,) = caught.value.findings
    assert (finding.name, str(finding.template_place)) == ("ambiguous", "gzip.template:1:1")
    places = [f"{folder}/sites/mail:1:1", f"{folder}/sites/shop:1:1"]
    assert [str(place) for place in finding.config_places] == places
    result = server.edit(request, refuse="return")
    assert result == caught.value.result
    assert (result.files, result.refused) == ((), True)
    with pytest.raises(qeltemplate.Refused):
        server.write(result)


def test_a_name_that_another_file_has_is_refused(folder):
    request = qeltemplate.Request(
        "server {\n    server_name {% $name %};\n}\n", {"name": ("mail.example", "shop.example")}
    )
    result = server_in(folder).edit(request, refuse="return")
    assert [finding.name for finding in result.refusals] == ["collision"]
    files = {place.file for place in result.refusals[0].config_places}
    assert files == {f"{folder}/sites/mail", f"{folder}/sites/shop"}


def test_a_new_site_gets_a_file_of_its_own(folder):
    server = server_in(folder)
    request = request_of("/srv/a", name="a.example")
    result = server.edit(request, new_in=folder / "sites/{name}")
    (file,) = result.files
    assert (file.name, file.is_new, file.old_text) == (f"{folder}/sites/a.example", True, b"")
    assert server.write(result).changed == (file.name,)
    assert (folder / "sites/a.example").read_bytes() == file.text
    assert [site.names for site in server_in(folder).sites(name="a.example")] == [("a.example",)]


def test_a_new_site_needs_a_file_that_the_server_reads(folder):
    request = request_of("/srv/a", name="a.example")
    for new_in in (None, folder / "other/a"):
        result = server_in(folder).edit(request, new_in=new_in, refuse="return")
        assert [finding.name for finding in result.refusals] == ["no-file"]


def test_a_server_without_the_block_is_left_alone(folder):
    request = request_of("/srv/a", name="a.example", create="never", skip_missing=True)
    result = server_in(folder).edit(request)
    assert (result.skipped, result.changed) == (True, False)


def test_imports_come_from_a_callable(folder):
    asked = []

    def load(name, place):
        asked.append((name, place.file, place.line))
        return "    root {% $root %};\n"

    template = "server {\n    server_name mail.example;\n    {% import root %}\n}\n"
    request = qeltemplate.Request(template, {"root": TO_NEW}, imports=load, template_name="t")
    assert server_in(folder).edit(request).files[0].text == EDITED.encode()
    assert ("root", "t", 3) in asked
    broken = qeltemplate.Request(template, imports=lambda name, place: 1 / 0)
    with pytest.raises(ZeroDivisionError):
        server_in(folder).edit(broken)


def test_what_becomes_of_each_line_and_in_which_file(folder):
    explanation = server_in(folder).explain(request_of(TO_NEW))
    assert explanation.blocks[0].found == (qeltemplate.Place(f"{folder}/sites/mail", 1, 1),)
    (event,) = explanation.template_lines[2].events
    assert (event.kind, event.file, event.line) == ("changed", f"{folder}/sites/mail", 4)
    assert explanation.result == server_in(folder).edit(request_of(TO_NEW))
    assert f"{folder}/sites/mail:4 'root /srv/mail;' to 'root /srv/new;'" in str(explanation)
    refused = server_in(folder).explain(request_of("/srv/a", name="a.example"))
    assert [finding.name for finding in refused.result.refusals] == ["no-file"]


# --- Writing ---


def test_files_are_written_with_all_that_an_update_does(folder):
    server = server_in(folder)
    log = folder / "log"
    check = f"grep -q /srv/new {folder}/sites/mail"
    outcome = server.write(
        server.edit(request_of(TO_NEW)), backup="~", check=check, reload=f"echo reloaded >{log}"
    )
    mail = f"{folder}/sites/mail"
    in_place = "it is no plain test of the server's"
    assert outcome == qeltemplate.UpdateResult((mail,), (mail + "~",), (), True, True, in_place)
    assert (folder / "sites/mail").read_text() == EDITED
    assert (folder / "sites/mail~").read_text() == MAIL
    assert log.read_text() == "reloaded\n"


def test_a_check_that_refuses_leaves_all_as_it_was(folder):
    before = everything_in(folder)
    server = server_in(folder)
    edits = (
        server.edit(request_of(TO_NEW)),
        server.edit(request_of("/srv/a", name="a.example"), new_in=folder / "sites/a"),
    )
    for result in edits:
        with pytest.raises(qeltemplate.ServerRefused, match="no, never"):
            server.write(result, check="echo no, never; false")
        assert everything_in(folder) == before


def make_another(folder):
    made(folder, {"sites/another": MAIL})


def change_the_edited(folder):
    made(folder, {"sites/mail": MAIL + "#"})


def change_another(folder):
    made(folder, {"sites/shop": SHOP + "#"})


def change_a_snippet(folder):
    made(folder, {"snippets/shop": "root /x;\n"})


def remove_another(folder):
    (folder / "sites/shop").unlink()


@pytest.mark.parametrize(
    ("disturb", "name"),
    [
        (change_the_edited, "sites/mail"),
        (change_another, "sites/shop"),
        (change_a_snippet, "snippets/shop"),
        (make_another, "sites/another"),
        (remove_another, None),
    ],
)
def test_what_was_judged_is_what_is_there(folder, disturb, name):
    server = server_in(folder)
    result = server.edit(request_of(TO_NEW))
    disturb(folder)
    before = everything_in(folder)
    with pytest.raises(qeltemplate.Overtaken, match="nothing is written") as caught:
        server.write(result)
    if name is not None:
        assert [os.path.realpath(file) for file in caught.value.files] == [str(folder / name)]
    assert everything_in(folder) == before


def test_a_new_file_that_has_come_meanwhile_stays(folder):
    server = server_in(folder)
    result = server.edit(request_of("/srv/a", name="a.example"), new_in=folder / "sites/a")
    made(folder, {"sites/a": "# mine\n"})
    with pytest.raises(qeltemplate.Overtaken):
        server.write(result)
    assert (folder / "sites/a").read_text() == "# mine\n"


def test_a_result_can_be_written_once(folder):
    server = server_in(folder)
    result = server.edit(request_of(TO_NEW))
    server.write(result)
    with pytest.raises(qeltemplate.Overtaken):
        server.write(result)
    assert server_in(folder).write(server_in(folder).edit(request_of("/srv/new"))).changed == ()


# --- Beside the program ---


@beside_the_program
def test_sites_are_those_of_the_program(folder):
    server = server_in(folder)
    told = run("sites", "--json", "--dialect", "nginx", folder / "nginx.conf")
    assert told["main"] == server.files[0]
    assert len(told["sites"]) == 2
    for site, expected in zip(server.sites(), told["sites"]):
        as_json = {
            "protocol": site.protocol,
            "names": list(site.names),
            "addresses": [
                {"address": each.address, "tls": each.tls, "default": each.default}
                for each in site.addresses
            ],
            "root": site.root,
            "file": site.place.file,
            "line": site.place.line,
            "column": site.place.column,
        }
        assert as_json == expected


EDITS = {
    "an old value": (["--set", "name=mail.example", "--set", "root=/srv/new", "--old", "root=/srv/mail"],
                     {"name": "mail.example", "root": TO_NEW}, {}),
    "another value": (["--set", "name=mail.example", "--set", "root=/srv/new"],
                      {"name": "mail.example", "root": "/srv/new"}, {}),
    "a collision": (["--old", "name=mail.example", "--set", "name=shop.example", "--set", "root=/srv/mail"],
                    {"name": ("mail.example", "shop.example"), "root": "/srv/mail"}, {}),
    "no file": (["--set", "name=a.example", "--set", "root=/srv/a"],
                {"name": "a.example", "root": "/srv/a"}, {}),
    "a new file": (["--set", "name=a.example", "--set", "root=/srv/a", "--new-in", "sites/{name}"],
                   {"name": "a.example", "root": "/srv/a"}, {"new_in": "sites/{name}"}),
}


@beside_the_program
@pytest.mark.parametrize(("arguments", "values", "options"), EDITS.values(), ids=EDITS)
def test_edits_are_those_of_the_program(folder, monkeypatch, arguments, values, options):
    monkeypatch.chdir(made(folder, {"site.template": TEMPLATE}))
    server = qeltemplate.Server("nginx.conf", roots=".")
    request = qeltemplate.Request(TEMPLATE, values, template_name="site.template")
    result = server.edit(request, refuse="return", **options)
    told = run("apply", "--server", "--template", "site.template", *arguments, "--root", ".",
               "--dialect", "nginx", "--json", "--in-place", "nginx.conf")
    assert [finding.name for finding in result.refusals] == [each["name"] for each in told["refusals"]]
    assert [finding.said for finding in result.refusals] == [each["said"] for each in told["refusals"]]
    assert [finding.said for finding in result.warnings] == [each["said"] for each in told["warnings"]]
    assert [file.name for file in result.files] == told["changed"]
    assert bool(result.files) != bool(result.refusals)
    for file, expected in zip(result.files, told["files"]):
        assert (folder / file.name).read_bytes() == file.text
        changes = [(each["line"], each["count"], each["text"].encode()) for each in expected["changes"]]
        assert [(each.line, each.count, each.text) for each in file.changes] == changes


# --- Threads ---


def test_threads_share_a_server(folder):
    server = server_in(folder)
    request = request_of(TO_NEW)
    expected = (server.edit(request), server.sites())
    with ThreadPoolExecutor(8) as pool:
        found = pool.map(lambda _: (server.edit(request), server.sites()), range(80))
        assert all(each == expected for each in found)


def test_python_goes_on_while_a_server_is_read(tmp_path):
    names = {f"sites/{i}": MAIL.replace("mail", f"mail{i}") for i in range(200)}
    made(tmp_path, {"nginx.conf": MAIN, **names})
    server = server_in(tmp_path)
    request = request_of(("/srv/mail7", "/srv/new"), name="mail7.example")
    for work in (lambda: server_in(tmp_path), lambda: server.edit(request)):
        assert others_run_during(work)
