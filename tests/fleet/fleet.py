#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0

"""Edits the web servers of eight hosts by Ansible, and looks at what becomes of them.

fleet.py PROGRAM             the tests
fleet.py PROGRAM --scale     how long 8, 16 and 32 hosts take

Each host has a root, a network and processes of its own (target.py), its own sshd on 127.0.1.N, and
a real nginx or Apache. Needs root. However it ends, nothing of it stays: everything runs in a
namespace of processes that ends with this program, and writes to a file system in memory.
"""

import argparse
import json
import os
import pathlib
import re
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time

import machine
from machine import HERE, NEW, OLD, PORT, Host, wait_for, write

ROOT = HERE.parent.parent
COLLECTION = ROOT / "integrations/ansible"
PAGE = ROOT / "docs/ansible.md"
NAMES = ["n1", "n2", "n3", "n4", "a1", "a2", "a3", "a4"]
NEED_ATTENTION = {"n3", "a3"}  # the others are those that can be edited
INSIDE = "FLEET_INSIDE"  # set in the namespaces


def server_of(name):
    return "nginx" if name.startswith("n") else "apache"


def expect(condition, message):
    if not condition:
        raise AssertionError(message)


def expect_equal(found, wanted, what):
    if found != wanted:
        raise AssertionError(f"{what}:\n  found:  {found!r}\n  wanted: {wanted!r}")


def blocks_of_page():
    """The files that the page shows: each fenced block behind a line that ends with `NAME`:"""
    files = {}
    name = None
    lines = iter(PAGE.read_text().splitlines())
    for line in lines:
        named = re.search(r"`([\w./-]+)`:$", line)
        if line.startswith("```"):
            block = []
            for inner in lines:
                if inner.startswith("```"):
                    break
                block.append(inner)
            if name:
                files[name] = "\n".join(block) + "\n"
            name = None
        elif line.strip():
            name = named.group(1) if named else None
    return files


class Run:
    """What a playbook has done: the results of its tasks by hosts, and what it has written."""

    def __init__(self, code, output, record):
        self.code, self.output = code, output
        self.lines = [json.loads(line) for line in record.splitlines()]

    def of(self, host):
        """The last result of the host, and its kind."""
        found = [line for line in self.lines if line["host"] == host]
        expect(found, f"{host} has no result:\n{self.output}")
        return found[-1]["kind"], found[-1]["result"]

    def changed(self, host):
        kind, result = self.of(host)
        expect(kind == "ok", f"{host}: {kind}: {result.get('msg')}")
        return result["changed"]

    def failure(self, host):
        kind, result = self.of(host)
        expect_equal(kind, "failed", f"{host}: {result}")
        return result


class Fleet:
    """The hosts, and the controller."""

    def __init__(self, program, work, names):
        self.work = work
        self._program = program
        self._controller = work / "controller"
        self._controller.mkdir()
        key = self._controller / "key"
        subprocess.run(["ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", str(key)], check=True)
        public = key.with_suffix(".pub").read_text()
        package = self._package()
        self.hosts = {}
        for number, name in enumerate(names, 1):
            kept = name if name in NAMES else name[0] + "1"
            site = (HERE / "sites" / kept).read_text().replace(f"on {kept}", f"on {name}")
            self.hosts[name] = Host(number, name, server_of(name), work, public, site)
        for host in self.hosts.values():
            host.wait()
        for host in self.hosts.values():
            shutil.copy(package, host.path("/root/qeltemplate.deb"))
        self._write_controller()

    def _package(self):
        """A Debian package with the program alone."""
        tree = self.work / "package"
        (tree / "DEBIAN").mkdir(parents=True)
        (tree / "usr/bin").mkdir(parents=True)
        write(
            tree / "DEBIAN/control",
            "Package: qeltemplate\nVersion: 0.1.0\nArchitecture: amd64\nDescription: the program\n"
            "Maintainer: libqeltemplate maintainers <maintainers@qeltemplate.example>\n"
            "Depends: libc6, libgit2-1.5\n",
        )
        shutil.copy(self._program, tree / "usr/bin/qeltemplate")
        file = self.work / "qeltemplate.deb"
        subprocess.run(
            ["dpkg-deb", "--root-owner-group", "-Znone", "--build", str(tree), str(file)],
            check=True,
            stdout=subprocess.DEVNULL,
        )
        return file

    def _write_controller(self):
        place = self._controller
        known = "".join(
            f"[{host.address}]:{PORT} {' '.join(host.host_key)}\n" for host in self.hosts.values()
        )
        write(place / "known_hosts", known)
        inventory = ""
        for server in ("nginx", "apache"):
            inventory += f"[{server}]\n" + "".join(
                f"{host.name} ansible_host={host.address}\n"
                for host in self.hosts.values()
                if host.server == server
            )
        inventory += (
            f"[all:vars]\nansible_port={PORT}\nansible_user=root\n"
            "ansible_python_interpreter=/usr/bin/python3\n"
            f"ansible_ssh_private_key_file={place}/key\n"
        )
        write(place / "inventory", inventory)
        write(
            place / "ansible.cfg",
            "[defaults]\nforks = 16\nhost_key_checking = True\ninventory = inventory\n"
            f"collections_path = {place}/collections\ncallback_plugins = {HERE}/callback\n"
            "callbacks_enabled = fleet_record\nretry_files_enabled = False\ntimeout = 20\n"
            f"remote_tmp = /tmp/ansible\nlocal_tmp = {place}/tmp\n"
            "[ssh_connection]\npipelining = True\n"
            f"control_path_dir = {place}/cp\n"
            f"ssh_args = -F /dev/null -o UserKnownHostsFile={place}/known_hosts "
            "-o ControlMaster=auto -o ControlPersist=30s\n",
        )
        (place / "collections/ansible_collections/qeltemplate").mkdir(parents=True)
        (place / "collections/ansible_collections/qeltemplate/web").symlink_to(COLLECTION)
        for name, text in blocks_of_page().items():
            write(place / name, text)

    def play(self, playbook, *options, values=None):
        """Runs a playbook of the page, or the text of one."""
        place = self._controller
        if "\n" in playbook:
            write(place / "playbook.yml", playbook)
            playbook = "playbook.yml"
        record = place / "record"
        record.write_text("")
        extra = dict({"reload": "reload-web"}, **(values or {}))
        environment = dict(
            os.environ,
            ANSIBLE_CONFIG=str(place / "ansible.cfg"),
            HOME=str(place),
            FLEET_RECORD=str(record),
            ANSIBLE_NOCOLOR="1",
            LC_ALL="C.UTF-8",
        )
        done = subprocess.run(
            ["ansible-playbook", "--extra-vars", json.dumps(extra), *options, playbook],
            cwd=place,
            env=environment,
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            text=True,
            check=False,
        )
        return Run(done.returncode, done.stdout, record.read_text())

    def trees(self):
        return {name: host.tree() for name, host in self.hosts.items()}

    def reset(self, *names):
        for name in names or self.hosts:
            self.hosts[name].reset()
        for name in NEED_ATTENTION & set(names or self.hosts):
            if name == "a3":
                self.hosts[name].write(self.hosts[name].text().replace("</VirtualHost>\n", ""))


def task(name, hosts="all", **options):
    """A playbook with one task of the module; JSON is YAML."""
    text = (
        json.dumps(
            [
                {
                    "name": name,
                    "hosts": hosts,
                    "gather_facts": False,
                    "tasks": [{"name": name, "qeltemplate.web.qeltemplate_edit": options}],
                }
            ],
            indent=1,
        )
        + "\n"
    )
    return text.replace('"template": "', '"template": !unsafe "')


# --- What is tested ---


def test_the_package_is_installed_when_told(fleet):
    """Not in check mode; once; and a host without it says so."""
    options = dict(
        src="{{ server }}.template",
        files="{{ sites }}",
        dialect="{{ server }}",
        skip_missing=True,
        values={"name": "none.example"},
    )
    missing = fleet.play(task("missing", **options))
    for name in fleet.hosts:
        expect("install: true" in missing.failure(name)["msg"], missing.failure(name)["msg"])
    options.update(install=True, package="/root/qeltemplate.deb")
    would = fleet.play(task("would", **options), "--check")
    for name, host in fleet.hosts.items():
        expect(would.changed(name), f"{name}: check mode would install nothing")
        expect(not host.path("/usr/bin/qeltemplate").exists(), f"{name}: installed in check mode")
    done = fleet.play(task("install", **options))
    again = fleet.play(task("again", **options))
    for name, host in fleet.hosts.items():
        expect(done.changed(name) and done.of(name)[1]["installed"], f"{name}: not installed")
        expect(host.path("/usr/bin/qeltemplate").exists(), f"{name}: the program is missing")
        expect(not again.changed(name), f"{name}: installed twice")


def test_check_mode_changes_nothing(fleet):
    """Byte by byte, and its diff is that of the edit."""
    fleet.reset()
    before = fleet.trees()
    run = fleet.play("rename.yml", "--check", "--diff")
    expect_equal(fleet.trees(), before, "what check mode has changed")
    for name, host in fleet.hosts.items():
        if name in NEED_ATTENTION:
            run.failure(name)
            continue
        expect(run.changed(name), f"{name}: would not be changed")
        shown = run.of(name)[1]["diff"][0]["prepared"]
        expect(shown in run.output, f"{name}: the diff is not shown")
        patched = fleet.work / "patched"
        patched.write_text(host.text())
        subprocess.run(["patch", "--quiet", str(patched)], input=shown, text=True, check=True)
        expect_equal(patched.read_text(), host.site_named(NEW), f"{name}: its diff")


def test_a_site_is_renamed_everywhere(fleet):
    """Two hosts at a time; two need attention, and say why; the second run changes nothing."""
    fleet.reset()
    run = fleet.play("rename.yml")
    expect(run.code != 0, "two hosts have not failed")
    order = [line["host"] for line in run.lines]
    expect_equal(
        [sorted(order[i : i + 2]) for i in range(0, 8, 2)],
        [["n1", "n2"], ["n3", "n4"], ["a1", "a2"], ["a3", "a4"]],
        "the order of hosts",
    )
    page = PAGE.read_text()
    for name, host in fleet.hosts.items():
        if name in NEED_ATTENTION:
            failure = run.failure(name)
            expect(failure["msg"] in page, f"{name}: the page says otherwise:\n{failure['msg']}")
            expect_equal(failure["findings"][0]["weight"], "refusal", f"{name}: the finding")
            expect_equal(host.answer(OLD), f"shop on {name}", f"{name}: the old site")
            continue
        expect(run.changed(name), f"{name}: not changed")
        expect_equal(run.of(name)[1]["changed_files"], [host.site], f"{name}: the files")
        expect_equal(host.text(), host.site_named(NEW), f"{name}: the file")
        wait_for(f"the new site on {name}", lambda: host.answer(NEW) == f"shop on {name}")
        wait_for(f"the end of the old site on {name}", lambda: host.answer(OLD) == "nothing here")
    expect_equal(run.failure("n3")["findings"][0]["name"], "ambiguous", "n3")
    expect_equal(run.failure("a3")["findings"][0]["name"], "syntax", "a3")
    before = fleet.trees()
    again = fleet.play("rename.yml")
    expect_equal(fleet.trees(), before, "what the second run has changed")
    for name in fleet.hosts:
        if name not in NEED_ATTENTION:
            expect(not again.changed(name), f"{name}: changed again")


def test_a_host_that_dies_is_seen_through_by_the_next_run(fleet):
    """sshd and the program are killed while the server is to be reloaded."""
    fleet.reset()
    doomed = fleet.hosts["n2"], fleet.hosts["a2"]
    for host in doomed:
        host.reload_with("touch /run/reloading; sleep 600")

    def kill(host):
        wait_for(f"the reload of {host.name}", host.path("/run/reloading").exists, 60)
        host.cut_off()

    killers = [threading.Thread(target=kill, args=(host,)) for host in doomed]
    for killer in killers:
        killer.start()
    run = fleet.play("rename.yml")
    for killer in killers:
        killer.join()
    for name, host in fleet.hosts.items():
        if host in doomed:
            expect_equal(run.of(name)[0], "unreachable", f"{name}: {run.of(name)[1]}")
            expect_equal(host.text(), host.site_named(NEW), f"{name}: the file")
            expect_equal(
                host.answer(OLD), f"shop on {name}", f"{name}: the server has not been told"
            )
        elif name not in NEED_ATTENTION:
            expect(run.changed(name), f"{name}: not changed")
    for host in doomed:
        host.let_in()
        host.reload_with("")
    would = fleet.play("rename.yml", "--check")
    again = fleet.play("rename.yml")
    for name, host in fleet.hosts.items():
        if name in NEED_ATTENTION:
            continue
        is_doomed = host in doomed
        expect_equal(would.changed(name), is_doomed, f"{name}: changed in check mode")
        expect_equal(again.changed(name), is_doomed, f"{name}: changed")
        expect_equal(again.of(name)[1].get("resumed"), [host.site] if is_doomed else None, name)
        wait_for(f"the new site on {name}", lambda: host.answer(NEW) == f"shop on {name}")
    third = fleet.play("rename.yml")
    for host in doomed:
        expect(not third.changed(host.name), f"{host.name}: changed a third time")


def test_a_reload_that_fails_is_rolled_back(fleet):
    """And one that the server's own test refuses."""
    fleet.reset()
    failing = fleet.hosts["n1"], fleet.hosts["a4"]
    for host in failing:
        host.reload_with(f"if grep -q {NEW} {host.site}; then echo no memory >&2; exit 7; fi")
    before = {host.name: host.tree() for host in failing}
    run = fleet.play("rename.yml")
    for host in failing:
        failure = run.failure(host.name)
        expect_equal(failure["outcome"], "refused-by-server", host.name)
        expect(failure["rolled_back"], f"{host.name}: not rolled back")
        expect_equal(failure["failure"]["exit_status"], 7, host.name)
        expect("no memory" in failure["msg"], failure["msg"])
        expect_equal(host.text(), host.site_named(OLD), f"{host.name}: the file")
        expect_equal(host.answer(OLD), f"shop on {host.name}", f"{host.name}: the server")
        expect_equal(host.tree(), before[host.name], f"{host.name}: what is left")
    expect(run.changed("n2") and run.changed("a1"), "the others have not gone on")


def test_what_the_server_refuses_is_rolled_back(fleet):
    """By nginx -t and apache2ctl -t, before anything is reloaded."""
    fleet.reset()
    before = fleet.trees()
    lines = {
        "nginx": (
            "server {\n server_name shop.example;\n listen 443 ssl;\n"
            " ssl_certificate {% $file %};\n ssl_certificate_key {% $file %};\n}\n",
            "cannot load certificate",
        ),
        "apache": (
            "<VirtualHost *:80>\n ServerName shop.example\n SSLEngine on\n"
            " SSLCertificateFile {% $file %}\n</VirtualHost>\n",
            "does not exist or is empty",
        ),
    }
    for name, host in (("n1", fleet.hosts["n1"]), ("a1", fleet.hosts["a1"])):
        template, words = lines[host.server]
        host.reload_with("touch /run/reloaded")
        before[name] = host.tree()
        run = fleet.play(
            task(
                "certificate",
                hosts=name,
                template=template,
                files=host.site,
                values={"file": "/none.pem"},
                backup=True,
                reload="reload-web",
            )
        )
        failure = run.failure(name)
        expect_equal(failure["outcome"], "refused-by-server", name)
        expect(failure["rolled_back"], f"{name}: not rolled back")
        expect(words in failure["msg"], failure["msg"])
        expect(not host.path("/run/reloaded").exists(), f"{name}: reloaded")
    expect_equal(fleet.trees(), before, "what has changed")


def test_secrets_are_nowhere_to_be_seen(fleet):
    """The new one, the old one, and one that only the file holds; with diffs and as a failure."""
    fleet.reset()
    host = fleet.hosts["n1"]
    held, given, told = "held-by-the-file-77", 'gi"ven-now-88', "told-before-99"
    keyed = host.site_named(OLD).replace(
        "    location /", f'    set $key "{held}";\n    location /', 1
    )
    host.write(keyed)
    trailing = "server {\n server_name shop.example;\n set $key [% $key %];\n}\n"
    quoted = 'server {\n server_name shop.example;\n set $key "{% $key %}";\n}\n'
    cases = [
        ("a secret of the file", dict(template=trailing, secrets={"key": "plain-55"}), None),
        (
            "old and new",
            dict(template=quoted, quote=True, secrets={"key": {"old": held, "new": given}}),
            None,
        ),
        (
            "another old one",
            dict(template=quoted, secrets={"key": {"old": told, "new": given}}),
            "failed",
        ),
        (
            "two words",
            dict(
                template="server {\n server_name shop.example;\n set $key {% $key %};\n}\n",
                secrets={"key": {"old": held, "new": given + " x;y"}},
            ),
            "failed",
        ),
    ]
    for what, options, kind in cases:
        host.write(keyed)
        run = fleet.play(
            task(what, hosts="n1", files=host.site, reload="reload-web", **options),
            "--diff",
            "-vvv",
        )
        all_said = run.output + json.dumps(run.lines)
        expect_equal(run.of("n1")[0], kind or "ok", f"{what}: {run.of('n1')[1].get('msg')}")
        for secret in (held, given, given.replace('"', '\\"'), told, "plain-55"):
            expect(secret not in all_said, f"{what}: {secret} is shown")
        if kind is None:
            expect(host.text() != keyed, f"{what}: nothing has changed")
            expect("+********" in run.output, f"{what}: no diff")


def test_old_values_come_from_each_host(fleet):
    """Hosts hold different sizes; one says two, and fails; the second run changes nothing."""
    fleet.reset()
    cases = {  # what each host has behind its "listen", and what it is to have
        "n1": (" client_max_body_size 1m;", " client_max_body_size 50m;"),
        "n2": (
            "\n\tclient_max_body_size   20m; # as asked",
            "\n\tclient_max_body_size   50m; # as asked",
        ),
        "n3": ("\n    client_max_body_size 1m;\n    client_max_body_size 2m;", None),
        "n4": (" client_max_body_size '8k';", " client_max_body_size '50m';"),
    }
    before, after = {}, {}
    for name, (held, wanted) in cases.items():
        listen = "80;"
        text = fleet.hosts[name].text()
        before[name] = text.replace(listen, listen + held, 1)
        after[name] = text.replace(listen, listen + wanted, 1) if wanted else before[name]
        fleet.hosts[name].write(before[name])
    for again in (False, True):
        run = fleet.play("uploads.yml")
        for name, (_, wanted) in cases.items():
            if wanted:
                expect_equal(run.changed(name), not again, f"{name}: changed")
            else:
                expect(run.failure(name)["findings"], f"{name}: no finding")
            expect_equal(fleet.hosts[name].text(), after[name], f"{name}: the file")


def test_a_whole_server_is_edited(fleet):
    """In whatever file the site stands; a name that another file has is noticed."""
    fleet.reset()
    names = ("n1", "a1")
    templates = {
        "n1": "server {\n server_name {% $name %};\n}\n",
        "a1": "<VirtualHost *:80>\n ServerName {% $name %}\n</VirtualHost>\n",
    }

    def rename(name, new, *options):
        return fleet.play(
            task(
                "rename",
                hosts=name,
                template=templates[name],
                server=True,
                dialect="{{ server }}",
                values={"name": {"old": OLD, "new": new}},
                reload="reload-web",
            ),
            *options,
        )

    for name in names:
        host = fleet.hosts[name]
        before = host.tree()
        would = rename(name, NEW, "--check", "--diff")
        expect(would.changed(name), f"{name}: nothing would change")
        expect(f"{NEW}" in would.of(name)[1]["diff"][0]["prepared"], f"{name}: no diff")
        expect_equal(host.tree(), before, f"{name}: check mode")
        taken = "default.invalid" if host.server == "apache" else "taken.example"
        if host.server == "nginx":
            host.write(
                "server {\n listen 80;\n server_name taken.example;\n}\n",
                "/etc/nginx/conf.d/taken.conf",
            )
        before = host.tree()
        failure = rename(name, taken).failure(name)
        expect_equal(failure["findings"][0]["name"], "collision", f"{name}: {failure['msg']}")
        expect_equal(host.tree(), before, f"{name}: a refused edit")
        expect(rename(name, NEW).changed(name), f"{name}: not changed")
        expect_equal(host.text(), host.site_named(NEW), f"{name}: the file")
        wait_for(f"the new site on {name}", lambda: host.answer(NEW) == f"shop on {name}")
        expect(not rename(name, NEW).changed(name), f"{name}: changed again")
        host.path("/etc/nginx/conf.d/taken.conf").unlink(missing_ok=True)


def test_a_template_is_adopted(fleet):
    """An edit with what comes back changes nothing; with another name it renames the site."""
    fleet.reset("n2", "a4")
    for name in ("n2", "a4"):
        host = fleet.hosts[name]
        adopt = fleet.play(
            json.dumps(
                [
                    {
                        "name": "adopt",
                        "hosts": name,
                        "gather_facts": False,
                        "tasks": [
                            {
                                "name": "adopt",
                                "qeltemplate.web.qeltemplate_adopt": {
                                    "file": host.site,
                                    "site": OLD,
                                    "dialect": "{{ server }}",
                                },
                            }
                        ],
                    }
                ]
            )
            + "\n"
        )
        expect(not adopt.changed(name), f"{name}: changed")
        adopted = adopt.of(name)[1]
        expect_equal(adopted["site_values"]["name"]["old"], OLD, name)
        options = dict(
            hosts=name,
            template=adopted["template"],
            files=host.site,
            dialect="{{ server }}",
            reload="reload-web",
        )
        same = fleet.play(task("same", values=adopted["site_values"], **options))
        expect(not same.changed(name), f"{name}: its own template changes it")
        values = dict(adopted["site_values"], name={"old": OLD, "new": NEW})
        expect(
            fleet.play(task("rename", values=values, **options)).changed(name),
            f"{name}: not changed",
        )
        wait_for(f"the new site on {name}", lambda: host.answer(NEW) == f"shop on {name}")


def test_sites_are_facts(fleet):
    """As the server reads them; what cannot be read is said, and the others are found."""
    fleet.reset()
    playbook = (
        json.dumps(
            [
                {
                    "name": "sites",
                    "hosts": "all",
                    "gather_facts": False,
                    "tasks": [
                        {
                            "name": "find",
                            "qeltemplate.web.qeltemplate_sites": {"dialect": "{{ server }}"},
                        },
                        {"name": "show", "ansible.builtin.debug": {"var": "qeltemplate_sites"}},
                    ],
                }
            ]
        )
        + "\n"
    )
    before = fleet.trees()
    run = fleet.play(playbook, "--check")
    expect_equal(fleet.trees(), before, "what has changed")
    for name, host in fleet.hosts.items():
        expect(not run.changed(name), f"{name}: changed")
        sites = run.of(name)[1]["qeltemplate_sites"]
        enabled = host.site.replace("sites-available", "sites-enabled")
        shop = [site for site in sites if OLD in site["names"] and site["file"] == enabled]
        expect(shop, f"{name}: the shop is not among {sites}")
        line = host.text().splitlines()[shop[0]["line"] - 1]
        expect(line.lower().lstrip().startswith(("server", "<virtualhost")), f"{name}: {line}")
        expect_equal([address["tls"] for address in shop[0]["addresses"]], [False], f"{name}: TLS")
        others = {"n2": "static.shop.example", "n4": "other.example", "a4": "other.shop.example"}
        if name in others:
            expect(any(others[name] in site["names"] for site in sites), f"{name}: {others[name]}")


def test_a_site_has_a_life(fleet):
    """By the role: added, renamed, with TLS and without, suspended, removed; on both servers."""
    fleet.reset("n1", "a1")
    names = ("n1", "a1")
    certificate = fleet.work / "site"
    subprocess.run(
        [
            "openssl",
            "req",
            "-x509",
            "-newkey",
            "ec",
            "-pkeyopt",
            "ec_paramgen_curve:P-256",
            "-nodes",
            "-subj",
            "/CN=shop",
            "-keyout",
            f"{certificate}.key",
            "-out",
            f"{certificate}.pem",
        ],
        check=True,
        stderr=subprocess.DEVNULL,
    )
    files, values = {}, {}
    for name in names:
        host = fleet.hosts[name]
        for suffix in ("key", "pem"):
            shutil.copy(f"{certificate}.{suffix}", host.path(f"/etc/ssl/site.{suffix}"))
        host.path("/srv/cafe").mkdir()
        write(host.path("/srv/cafe/index.html"), f"cafe on {name}\n")
        file = host.site.replace("shop", "cafe")
        files[name] = file
    values = {
        "site_file": "/etc/{{ {'nginx': 'nginx/sites-available/cafe', "
        "'apache': 'apache2/sites-available/cafe.conf'}[server] }}",
        "site_root": "/srv/cafe",
        "site_name": "cafe.example",
    }

    def life(step, answers, tls=None, look_first=False, twice=True, **more):
        values.update(more)
        trees = {name: fleet.hosts[name].tree() for name in names}
        if look_first:
            would = fleet.play("site.yml", "--limit", "n1,a1", "--check", values=values)
            expect(would.code == 0, f"{step}, check mode: {would.output}")
            expect(
                sum(line["result"].get("changed", False) for line in would.lines) >= len(names),
                f"{step}, check mode: nothing would change",
            )
            expect_equal(
                {name: fleet.hosts[name].tree() for name in names}, trees, f"{step}, check mode"
            )
        run = fleet.play("site.yml", "--limit", "n1,a1", values=values)
        expect(run.code == 0, f"{step}: {run.output}")
        for name in names:
            host = fleet.hosts[name]
            expect(host.tree() != trees[name], f"{step}: {name}: nothing has changed")
            for site, answer in answers.items():
                wait_for(
                    f"{step}: {answer} for {site} on {name}",
                    lambda: host.answer(site) == answer.format(name),
                )
            if tls is not None:
                wait_for(f"{step}: TLS on {name}", lambda: host.answers_tls("cafe.example") == tls)
        if not twice:
            return
        trees = {name: fleet.hosts[name].tree() for name in names}
        again = fleet.play("site.yml", "--limit", "n1,a1", values=values)
        expect(again.code == 0, f"{step}, again: {again.output}")
        expect_equal({name: fleet.hosts[name].tree() for name in names}, trees, f"{step}: again")
        for line in again.lines:
            expect(not line["result"].get("changed"), f"{step}: changed again: {line}")

    life("added", {"cafe.example": "cafe on {}"}, tls=False, look_first=True)
    life(
        "renamed",
        {"bar.example": "cafe on {}", "cafe.example": "nothing here"},
        look_first=True,
        site_name="bar.example",
        site_old_name="cafe.example",
    )
    life("with TLS", {"bar.example": "cafe on {}"}, tls=True, site_tls=True)
    life("suspended", {"bar.example": "503", OLD: "shop on {}"}, site_state="suspended")
    life("back again", {"bar.example": "cafe on {}"}, tls=True, twice=False, site_state="present")
    life("without TLS", {"bar.example": "cafe on {}"}, tls=False, twice=False, site_tls=False)
    life("removed", {"bar.example": "nothing here", OLD: "shop on {}"}, site_state="absent")
    for name in names:
        expect(not os.path.lexists(fleet.hosts[name].path(files[name])), f"{name}: its file stays")

    # What the server does not take leaves nothing behind.
    trees = {name: fleet.hosts[name].tree() for name in names}
    run = fleet.play(
        "site.yml",
        "--limit",
        "n1,a1",
        values=dict(values, site_state="present", site_name="a b", site_old_name="a b"),
    )
    for name in names:
        run.failure(name)
    expect_equal({name: fleet.hosts[name].tree() for name in names}, trees, "after a failure")


TESTS = [
    test_the_package_is_installed_when_told,
    test_check_mode_changes_nothing,
    test_a_site_is_renamed_everywhere,
    test_a_host_that_dies_is_seen_through_by_the_next_run,
    test_a_reload_that_fails_is_rolled_back,
    test_what_the_server_refuses_is_rolled_back,
    test_secrets_are_nowhere_to_be_seen,
    test_old_values_come_from_each_host,
    test_a_whole_server_is_edited,
    test_a_template_is_adopted,
    test_sites_are_facts,
    test_a_site_has_a_life,
]


# --- How long it takes ---


def measure(program, counts):
    """Prints a line for each number of hosts: what Ansible takes, and what the edit takes more."""
    print("hosts  ping [s]  rename [s]  again [s]  rename/ping  again/ping", flush=True)
    for count in counts:
        half = count // 2
        names = [f"{kind}x{i}" for kind in "na" for i in range(half)]
        with tempfile.TemporaryDirectory(dir="/dev/shm") as work:
            fleet = Fleet(program, pathlib.Path(work), names)
            for host in fleet.hosts.values():
                shutil.copy(program, host.path("/usr/bin/qeltemplate"))
            times = dict(ping=[], rename=[], again=[])
            ping = (
                json.dumps(
                    [
                        {
                            "name": "ping",
                            "hosts": "all",
                            "gather_facts": False,
                            "tasks": [{"name": "ping", "ansible.builtin.ping": {}}],
                        }
                    ]
                )
                + "\n"
            )
            rename = (fleet.work / "controller/rename.yml").read_text().replace("  serial: 2\n", "")
            fleet.play(ping)  # opens the connections
            for _ in range(3):
                for step, playbook in (("ping", ping), ("rename", rename), ("again", rename)):
                    begin = time.monotonic()
                    run = fleet.play(playbook)
                    times[step].append(time.monotonic() - begin)
                    expect(run.code == 0, run.output)
                    if step != "ping":
                        expect(all(run.changed(name) == (step == "rename") for name in names), step)
                for host in fleet.hosts.values():
                    host.reset()
            least = {step: min(each) for step, each in times.items()}
            print(
                f"{count:5}  {least['ping']:8.1f}  {least['rename']:10.1f}  {least['again']:9.1f}  "
                f"{least['rename'] / least['ping']:11.2f}  {least['again'] / least['ping']:10.2f}",
                flush=True,
            )
            for host in fleet.hosts.values():
                host.stop()


# --- The frame ---


def run_tests(program, only):
    begin = time.monotonic()
    with tempfile.TemporaryDirectory(dir="/dev/shm") as work:
        fleet = Fleet(program, pathlib.Path(work), NAMES)
        print(f"{time.monotonic() - begin:6.1f} s  eight hosts run", flush=True)
        failed = 0
        for test in TESTS:
            if only and not re.search(only, test.__name__) and test is not TESTS[0]:
                continue
            name = test.__name__[5:].replace("_", " ")
            start = time.monotonic()
            try:
                test(fleet)
                result = "ok"
            except Exception as error:  # pylint: disable=broad-except
                failed += 1
                result = f"FAILED: {type(error).__name__}: {error}"
            print(f"{time.monotonic() - start:6.1f} s  {name}: {result}", flush=True)
        print(f"{time.monotonic() - begin:6.1f} s  {failed} failed", flush=True)
        os._exit(1 if failed else 0)  # whatever lives on ends with this process


def run_inside(arguments):
    """Runs this program as the first process of namespaces of its own."""
    if os.geteuid() != 0:
        sys.exit("fleet.py: needs root, for the namespaces of the hosts")
    machine.die_with_parent()
    code = subprocess.run(
        [
            "unshare",
            "--mount",
            "--pid",
            "--fork",
            "--kill-child=KILL",
            "--mount-proc",
            sys.executable,
            __file__,
            *arguments,
        ],
        env=dict(os.environ, **{INSIDE: "1"}),
        preexec_fn=machine.die_with_parent,
        check=False,
    ).returncode
    for number in range(1, len(NAMES) + 1):
        with socket.socket() as probe:
            if probe.connect_ex((f"127.0.1.{number}", PORT)) == 0:
                sys.exit(f"fleet.py: something still listens on 127.0.1.{number}")
    sys.exit(code)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("program")
    parser.add_argument("--scale", action="store_true", help="measure 8, 16 and 32 hosts")
    parser.add_argument("--only", help="a regular expression for the names of tests")
    arguments = parser.parse_args()
    if INSIDE not in os.environ:
        run_inside(sys.argv[1:])
    signal.signal(signal.SIGTERM, lambda *_: os._exit(143))
    signal.signal(signal.SIGINT, lambda *_: os._exit(130))
    subprocess.run(["mount", "-t", "tmpfs", "-o", "mode=755", "tmpfs", "/dev/shm"], check=True)
    program = pathlib.Path(arguments.program).resolve()
    if arguments.scale:
        measure(program, [8, 16, 32])
        os._exit(0)
    run_tests(program, arguments.only)


if __name__ == "__main__":
    main()
