# SPDX-License-Identifier: Apache-2.0

"""The hosts of the fleet, as the tests see them."""

import ctypes
import hashlib
import os
import pathlib
import shutil
import signal
import socket
import subprocess
import sys
import time

HERE = pathlib.Path(__file__).resolve().parent
PORT = 2222
PR_SET_PDEATHSIG = 1
OLD, NEW = "shop.example", "store.example"

RELOAD = """#!/bin/sh
# Reloads the web server. /etc/reload-with is sourced first: what a test wants to go wrong.
if [ -e /etc/reload-with ]; then . /etc/reload-with; fi
{command}
"""
RELOAD_COMMANDS = {"nginx": "nginx -s reload", "apache": "apache2ctl graceful"}
SITES = {
    "nginx": "etc/nginx/sites-available/shop",
    "apache": "etc/apache2/sites-available/shop.conf",
}
DEFAULTS = {
    "nginx": (
        "etc/nginx/sites-available/default",
        'server {\n    listen 80 default_server;\n    return 200 "nothing here\\n";\n}\n',
    ),
    "apache": (
        "etc/apache2/sites-available/000-default.conf",
        "<VirtualHost *:80>\n    ServerName default.invalid\n    DocumentRoot /srv/default\n"
        "</VirtualHost>\n",
    ),
}
SHADOW = "root:*:19000:0:99999:7:::\nsshd:!:19000::::::\nwww-data:*:19000::::::\n"
PATH = "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin"

# Sends a request to a port of this host, and writes what comes back.
ASK = """
import socket, sys
connection = socket.create_connection(("127.0.0.1", int(sys.argv[1])), 5)
connection.sendall(sys.argv[2].encode())
while True:
    part = connection.recv(10000)
    if not part:
        break
    sys.stdout.write(part.decode())
"""
APACHE_MODULES = ["socache_shmcb", "ssl", "setenvif", "mime", "alias", "rewrite"]


def die_with_parent():
    ctypes.CDLL(None).prctl(PR_SET_PDEATHSIG, signal.SIGKILL)


def write(path, text, mode=0o644):
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_text(text)
    path.chmod(mode)


def wait_for(what, condition, seconds=20):
    """Waits until `condition` holds; the message says what has not come."""
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        if condition():
            return
        time.sleep(0.05)
    raise AssertionError(f"{what} has not come in {seconds} s")


class Host:
    """A host that runs until the tests end."""

    def __init__(self, number, name, server, work, public_key, site):
        self.name, self.server, self.address = name, server, f"127.0.1.{number}"
        self.site = "/" + SITES[server]
        self._site_text = site
        layer, files = work / "layers" / name, work / "files" / name
        self._write_files(files, public_key)
        listener = socket.create_server((self.address, PORT))
        ready, told = os.pipe()
        self._process = subprocess.Popen(
            [
                "unshare",
                "--mount",
                "--pid",
                "--net",
                "--uts",
                "--ipc",
                "--fork",
                "--kill-child=KILL",
                "--propagation",
                "private",
                sys.executable,
                str(HERE / "target.py"),
                name,
                server,
                str(listener.fileno()),
                str(layer),
                str(files),
                str(told),
            ],
            pass_fds=[listener.fileno(), told],
            stdin=subprocess.DEVNULL,
            preexec_fn=die_with_parent,
        )
        listener.close()
        os.close(told)
        self._ready = ready
        self._pid = None

    def wait(self):
        """Waits until its web server runs."""
        if os.read(self._ready, 1) != b".":
            raise AssertionError(f"{self.name} does not start")
        os.close(self._ready)
        unshare = self._process.pid
        children = pathlib.Path(f"/proc/{unshare}/task/{unshare}/children").read_text()
        self._pid = int(children)
        try:
            wait_for(f"the site on {self.name}", lambda: self.answer(OLD) == f"shop on {self.name}")
        except AssertionError as error:
            raise AssertionError(
                f"{error}: {self.answer(OLD)}, {self.text('/var/log/start')}"
            ) from None

    def stop(self):
        """Ends all that runs on the host."""
        self._process.kill()
        self._process.wait()

    def path(self, path):
        return pathlib.Path(f"/proc/{self._pid}/root{path}")

    def text(self, path=None):
        return self.path(path or self.site).read_text()

    def write(self, text, path=None):
        self.path(path or self.site).write_text(text)

    def site_named(self, name):
        """The site's file as it is to be when the site has this name."""
        return self._site_text.replace("@NAME@", name)

    def reset(self):
        """The site as it was at first, in the file and in the server."""
        self.reload_with("")
        self.write(self.site_named(OLD))
        self.run("reload-web")
        wait_for(
            f"the old site on {self.name}",
            lambda: self.answer(OLD) == f"shop on {self.name}"
            and self.answer(NEW) == "nothing here",
        )

    def reload_with(self, script):
        """Has each reload begin with this script."""
        self.path("/etc/reload-with").write_text(script)

    def cut_off(self):
        os.kill(self._pid, signal.SIGUSR1)

    def let_in(self):
        os.kill(self._pid, signal.SIGUSR2)

    def run(self, *command, check=True):
        """Runs a command on the host, without sshd."""
        return subprocess.run(
            [
                "nsenter",
                "--target",
                str(self._pid),
                "--mount",
                "--pid",
                "--net",
                "--uts",
                "--root",
                "--wd",
                "env",
                "-i",
                "PATH=" + PATH,
                *command,
            ],
            check=check,
            stdin=subprocess.DEVNULL,
            capture_output=True,
            text=True,
        )

    def answer(self, name, port=80):
        """What the web server says to a request for the site: the status if it is not 200."""
        request = f"GET / HTTP/1.0\r\nHost: {name}\r\n\r\n"
        done = subprocess.run(
            [
                "nsenter",
                "--target",
                str(self._pid),
                "--net",
                "/usr/bin/python3",
                "-IS",
                "-c",
                ASK,
                str(port),
                request,
            ],
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            stderr=subprocess.DEVNULL,
            text=True,
            check=False,
        )
        head, _, body = done.stdout.partition("\n\n")  # line ends are read as text
        words = head.split()
        return body.strip() if words[1:2] == ["200"] else "".join(words[1:2]) or "no answer"

    def answers_tls(self, name):
        """Whether the web server answers with TLS."""
        done = subprocess.run(
            [
                "nsenter",
                "--target",
                str(self._pid),
                "--net",
                "openssl",
                "s_client",
                "-connect",
                "127.0.0.1:443",
                "-servername",
                name,
            ],
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            stderr=subprocess.DEVNULL,
            text=True,
            check=False,
        )
        return "CN = shop" in done.stdout

    def tree(self):
        """What stands in the places of configurations, with modes and times, to be compared."""
        found = {}
        for top in ("/etc", "/srv", "/root", "/usr/local/sbin", "/var/www"):
            for directory, names, files in os.walk(self.path(top)):
                for name in names + files:
                    path = pathlib.Path(directory) / name
                    status = path.lstat()
                    content = None
                    if path.is_symlink():
                        content = os.readlink(path)
                    elif path.is_file():
                        content = hashlib.sha256(path.read_bytes()).hexdigest()
                    kept = (status.st_mode, status.st_uid, status.st_gid, status.st_mtime_ns)
                    found[str(path)] = (kept if not path.is_dir() else kept[:3], content)
        return found

    def _write_files(self, files, public_key):
        shutil.rmtree(files, ignore_errors=True)
        root = pathlib.Path(files)
        write(root / "root/.ssh/authorized_keys", public_key, 0o600)
        (root / "root/.ssh").chmod(0o700)
        (root / "root").chmod(0o700)
        key = root / "etc/ssh/fleet_key"
        key.parent.mkdir(parents=True)
        subprocess.run(["ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", str(key)], check=True)
        self.host_key = (key.parent / "fleet_key.pub").read_text().split()[:2]
        write(
            root / "etc/ssh/fleet_config",
            "HostKey /etc/ssh/fleet_key\nUsePAM no\nPasswordAuthentication no\n"
            "PermitRootLogin prohibit-password\nLogLevel QUIET\nSubsystem sftp internal-sftp\n",
        )
        write(root / "etc/shadow", SHADOW, 0o600)
        write(
            root / "usr/local/sbin/reload-web",
            RELOAD.format(command=RELOAD_COMMANDS[self.server]),
            0o755,
        )
        write(root / SITES[self.server], self.site_named(OLD))
        path, text = DEFAULTS[self.server]
        write(root / path, text)
        write(root / "srv/shop/index.html", f"shop on {self.name}\n")
        write(root / "srv/default/index.html", "nothing here\n")
        for available in (path, SITES[self.server]):
            enabled = root / available.replace("sites-available", "sites-enabled")
            enabled.parent.mkdir(parents=True, exist_ok=True)
            enabled.symlink_to(f"../sites-available/{enabled.name}")
        if self.server == "apache":
            self._write_apache(root)

    @staticmethod
    def _write_apache(root):
        write(
            root / "etc/apache2/conf-enabled/fleet.conf",
            "ServerName fleet.invalid\n<Directory /srv>\n    Require all granted\n</Directory>\n",
        )
        enabled = root / "etc/apache2/mods-enabled"
        enabled.mkdir(parents=True)
        for module in APACHE_MODULES:
            for suffix in ("load", "conf"):
                name = f"{module}.{suffix}"
                there = pathlib.Path("/etc/apache2/mods-available", name).exists()
                if there and not os.path.lexists(f"/etc/apache2/mods-enabled/{name}"):
                    (enabled / name).symlink_to(f"../mods-available/{name}")
