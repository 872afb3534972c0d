# SPDX-License-Identifier: Apache-2.0

"""The check of a whole server by the real one, before anything is in its place."""

import os
import pickle
import shutil
import signal
import threading
import time

import pytest

import qeltemplate

PATH = os.environ["PATH"] + ":/usr/sbin"

NGINX = {
    "program": "nginx",
    "main": "nginx.conf",
    "files": {
        "nginx.conf": "pid pid;\nerror_log stderr;\nevents {}\n"
        "http {\n  access_log off;\n  include types;\n  include FOLDER/sites/*;\n}\n",
        "types": "types {\n  text/html html;\n}\n",
        "sites/mail": "server {\n  listen 127.0.0.1:8475;\n  server_name mail.example;\n  ROOT\n}\n",
    },
    "root": "root {};",
    "template": "server {\n  server_name mail.example;\n  root {% $root %};\n}\n",
    "add": "server {\n  listen 127.0.0.1:8475;\n  server_name new.example;\n  root {% $root %};\n}\n",
    "wrong": ("root {%", "nonsense {%"),
    "warned": ("server {\n  server_name {% $name %};\n}\n", {"name": ("mail.example", "a/b")},
               'server name "a/b" has suspicious symbols'),
    "check": "{}/bin/nginx -t",
}

APACHE = {
    "program": "apache2",
    "main": "httpd.conf",
    "files": {
        "httpd.conf": "ServerRoot FOLDER\n"
        + "".join(
            f"LoadModule {name}_module /usr/lib/apache2/modules/mod_{name}.so\n"
            for name in ("mpm_event", "authz_core")
        )
        + "ServerName main.example\nListen 127.0.0.1:8476\nPidFile pid\nErrorLog error.log\n"
        "IncludeOptional sites/*\n",
        "sites/mail": "<VirtualHost 127.0.0.1:8476>\n  ServerName mail.example\n  ROOT\n</VirtualHost>\n",
    },
    "root": "DocumentRoot {}",
    "template": "<VirtualHost 127.0.0.1:8476>\n  ServerName mail.example\n  DocumentRoot {% $root %}\n"
    "</VirtualHost>\n",
    "add": "<VirtualHost 127.0.0.1:8476>\n  ServerName new.example\n  DocumentRoot {% $root %}\n"
    "</VirtualHost>\n",
    "wrong": ("DocumentRoot", "Nonsense"),
    "warned": ("<VirtualHost 127.0.0.1:8476>\n  ServerName mail.example\n  DocumentRoot {% $root %}\n"
               "</VirtualHost>\n", {"root": ("/srv/old", "/srv/nowhere")},
               "DocumentRoot [/srv/nowhere] does not exist"),
    "check": "{}/bin/apache2 -t",
}

OLD = "/srv/old"
NEW = "/srv/new"
SITE = "sites/mail"


class Tree:
    """A server's files, and its program, which keeps what the site holds whenever it is asked."""

    def __init__(self, folder, server):
        self.folder = folder
        self.server = server
        for name, text in server["files"].items():
            path = folder / name
            path.parent.mkdir(exist_ok=True)
            root = server["root"].format(OLD)
            path.write_text(text.replace("FOLDER", str(folder)).replace("ROOT\n", root + "\n"))
        (folder / "seen").mkdir()
        self.have_program_do(":")

    def have_program_do(self, first):
        program = shutil.which(self.server["program"], path=PATH)
        script = self.folder / "bin" / self.server["program"]
        script.parent.mkdir(exist_ok=True)
        script.write_text(
            f"#!/bin/sh\ncat {self.folder}/{SITE} >{self.folder}/seen/$$\n{first}\nexec {program} \"$@\"\n"
        )
        script.chmod(0o755)

    @property
    def check(self):
        return self.server["check"].format(self.folder)

    def read(self, **options):
        return qeltemplate.Server(self.folder / self.server["main"], **options)

    def with_root(self, root, **options):
        return qeltemplate.Request(self.server["template"], {"root": root}, **options)

    def site(self):
        return (self.folder / SITE).read_text()

    def seen(self):
        """What the site has held while the program was asked."""
        return {path.read_text() for path in (self.folder / "seen").iterdir()}

    def state(self):
        """Which files there are, and what they are."""
        files = [path for path in self.folder.rglob("*") if path.is_file()]
        return {
            path: (path.stat().st_ino, path.stat().st_mtime_ns, path.read_bytes())
            for path in files
            if path.parent.name != "seen" and path.suffix != ".log"
        }


@pytest.fixture(name="temporary", autouse=True)
def folder_for_temporary_files(tmp_path, monkeypatch):
    folder = tmp_path / "temporary"
    folder.mkdir()
    monkeypatch.setenv("TMPDIR", str(folder))
    yield folder
    assert not list(folder.iterdir())


@pytest.fixture(name="tree", params=[NGINX, APACHE], ids=["nginx", "apache"])
def tree_of_server(request, tmp_path):
    if shutil.which(request.param["program"], path=PATH) is None:
        pytest.fail(f"there is no {request.param['program']}")
    (tmp_path / "server").mkdir()
    return Tree(tmp_path / "server", request.param)


def test_the_server_agrees_before_anything_is_in_its_place(tree):
    before = tree.site()
    server = tree.read()
    copied = tree.folder / "at_reload"
    outcome = server.write(
        server.edit(tree.with_root((OLD, NEW))),
        check=tree.check,
        backup="~",
        reload=f"cp {tree.folder}/{SITE} {copied}",
    )
    site = f"{tree.folder}/{SITE}"
    assert outcome == qeltemplate.UpdateResult((site,), (site + "~",), (), True, True, "")
    assert tree.seen() == {before}
    assert tree.site() == copied.read_text() == before.replace(OLD, NEW)


def test_what_the_server_refuses_has_never_been_in_its_place(tree, temporary):
    server = tree.read()
    before = tree.state()
    site = tree.site()
    for template in ("template", "add"):
        wrong = tree.server[template].replace(*tree.server["wrong"])
        request = qeltemplate.Request(wrong, {"root": NEW})
        result = server.edit(request, new_in=tree.folder / "sites/{name}")
        (file,) = result.files
        with pytest.raises(qeltemplate.ServerRefused, match="nothing is changed") as caught:
            server.write(result, check=tree.check, backup="~")
        refusal = caught.value
        assert (refusal.in_place, refusal.exit_status, refusal.command) == ("", 1, tree.check)
        assert file.name in refusal.output
        assert str(temporary) not in str(refusal) + refusal.output
        assert tree.state() == before
    assert tree.seen() == {site}


def test_a_new_file_is_judged_where_it_will_be(tree):
    server = tree.read()
    request = qeltemplate.Request(tree.server["add"], {"root": NEW})
    result = server.edit(request, new_in=tree.folder / "sites/{name}")
    assert result.files[0].is_new
    outcome = server.write(result, check=tree.check)
    assert (outcome.changed, outcome.checked, outcome.in_place) == (
        (f"{tree.folder}/sites/new.example",),
        True,
        "",
    )
    assert len(tree.read().sites()) == 2


def test_new_warnings_are_told_or_refused(tree, temporary):
    template, values, said = tree.server["warned"]
    server = tree.read()
    before = tree.state()
    result = server.edit(qeltemplate.Request(template, values))
    with pytest.raises(qeltemplate.ServerRefused, match="warns of the new files"):
        server.write(result, check=tree.check, new_warnings="refuse")
    assert tree.state() == before
    outcome = server.write(result, check=tree.check, new_warnings="tell")
    (warning,) = outcome.new_warnings
    assert said in warning
    assert str(temporary) not in warning
    assert (outcome.checked, outcome.in_place) == (True, "")


def refuse_copies(tree):
    """The server's program takes the files in their places only."""
    main = tree.folder / tree.server["main"]
    tree.have_program_do(f'case " $* " in *" {main} "*|*" -t ") ;; *) exit 1;; esac')


@pytest.mark.parametrize(
    ("command", "prepare", "options", "why"),
    [
        ("CHECK && true", None, {}, "it is no plain test of the server's"),
        ("true", None, {}, "it is no plain test of the server's"),
        ("CHECK", refuse_copies, {}, "it does not take a copy of the configuration as it is"),
        ("CHECK", None, {"prefix": "."}, "the server was read with a prefix of the caller's"),
    ],
    ids=["shell", "another program", "copies", "prefix"],
)
def test_where_it_is_asked_in_place_the_result_says_why(
    tree, monkeypatch, command, prepare, options, why
):
    monkeypatch.chdir(tree.folder)
    option = "-c" if tree.server is NGINX else "-f"
    check = f"{tree.check} {option} {tree.folder / tree.server['main']}"
    if prepare:
        prepare(tree)
    before = tree.site()
    server = tree.read(**options)
    outcome = server.write(
        server.edit(tree.with_root((OLD, NEW))), check=command.replace("CHECK", check)
    )
    assert (outcome.checked, outcome.in_place) == (True, why)
    assert tree.site() == before.replace(OLD, NEW)
    assert (tree.site() in tree.seen()) == ("CHECK" in command)


def test_a_refusal_of_what_was_in_place_says_so_too(tree):
    server = tree.read()
    before = tree.site()
    with pytest.raises(qeltemplate.ServerRefused, match="the old ones are back") as caught:
        server.write(server.edit(tree.with_root((OLD, NEW))), check="false")
    assert caught.value.in_place == "it is no plain test of the server's"
    assert pickle.loads(pickle.dumps(caught.value)).in_place == caught.value.in_place
    assert tree.site() == before


def test_a_check_of_each_file_by_itself_is_none_of_the_server(tree):
    server = tree.read()
    result = server.edit(tree.with_root((OLD, NEW)))
    outcome = server.write(result, check="grep -q /srv/new {}")
    assert (outcome.checked, outcome.in_place, tree.seen()) == (True, "", set())


def test_a_check_that_takes_too_long_is_stopped(tree):
    tree.have_program_do("sleep 60")
    server = tree.read()
    before = tree.state()
    with pytest.raises(qeltemplate.ServerRefused, match="nothing is changed") as caught:
        server.write(
            server.edit(tree.with_root((OLD, NEW))), check=tree.check, command_limit=0.2
        )
    assert (caught.value.timed_out, caught.value.in_place) == (True, "")
    assert tree.state() == before


def test_ctrl_c_ends_a_check(tree):
    tree.have_program_do("sleep 60")
    server = tree.read()
    before = tree.state()

    def interrupt():
        while not tree.seen():
            time.sleep(0.01)
        os.kill(os.getpid(), signal.SIGINT)

    interrupter = threading.Thread(target=interrupt)
    interrupter.start()
    with pytest.raises(KeyboardInterrupt):
        server.write(server.edit(tree.with_root((OLD, NEW))), check=tree.check)
    interrupter.join()
    assert tree.state() == before
