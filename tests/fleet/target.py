#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0

"""One host of the fleet: process 1 of namespaces of its own, over a layer of its own.

target.py NAME SERVER LISTENER LAYER FILES READY

Below is the machine's own system, which stays as it is. What the host writes goes to the directory
LAYER. FILES is copied over it first. LISTENER is the descriptor of a socket of the machine: each
connection gets an sshd, which lives in the host's namespaces. A byte is written to the descriptor
READY when the web server runs.

SIGUSR1 cuts the host off: sshd and all that has come in by it are killed, the web server lives on.
SIGUSR2 lets connections in again.
"""

import ctypes
import os
import pathlib
import select
import shutil
import signal
import socket
import subprocess
import sys

# Others are empty in a host: what somebody keeps on the machine is not the host's business.
SYSTEM = {
    "bin",
    "boot",
    "etc",
    "lib",
    "lib32",
    "lib64",
    "libx32",
    "opt",
    "sbin",
    "srv",
    "usr",
    "var",
}
PATH = "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin"
SSHD = ["/usr/sbin/sshd", "-i", "-f", "/etc/ssh/fleet_config"]
DEVICES = ["null", "zero", "full", "random", "urandom", "tty"]
START = {"nginx": ["nginx"], "apache": ["apache2ctl", "start"]}


def mount(*arguments):
    subprocess.run(["mount", *map(str, arguments)], check=True)


def make_root(layer, files):
    root, upper, work = layer / "root", layer / "upper", layer / "work"
    for directory in (root, upper, work):
        directory.mkdir(parents=True)
    mount("-t", "overlay", "-o", f"lowerdir=/,upperdir={upper},workdir={work}", "overlay", root)
    for entry in sorted(root.iterdir()):
        if entry.is_dir() and not entry.is_symlink() and entry.name not in SYSTEM:
            mount("-t", "tmpfs", "-o", "mode=755", "tmpfs", entry)
    for device in DEVICES:
        (root / "dev" / device).touch()
        mount("--bind", f"/dev/{device}", root / "dev" / device)
    (root / "dev/pts").mkdir()
    mount("-t", "devpts", "-o", "newinstance,ptmxmode=0666,mode=0620", "devpts", root / "dev/pts")
    (root / "dev/ptmx").symlink_to("pts/ptmx")
    (root / "tmp").chmod(0o1777)
    (root / "dev/shm").mkdir()
    mount("-t", "proc", "proc", root / "proc")
    for directory in ("sshd", "lock", "apache2"):
        (root / "run" / directory).mkdir(parents=True)
    for unwanted in (
        "nginx/sites-enabled",
        "nginx/sites-available",
        "nginx/conf.d",
        "apache2/sites-enabled",
        "apache2/sites-available",
    ):
        shutil.rmtree(root / "etc" / unwanted, ignore_errors=True)
        (root / "etc" / unwanted).mkdir(parents=True)
    shutil.copytree(files, root, symlinks=True, dirs_exist_ok=True)
    os.chroot(root)
    os.chdir("/")


def set_name(name):
    libc = ctypes.CDLL(None, use_errno=True)
    if libc.sethostname(name.encode(), len(name)) != 0:
        raise OSError(ctypes.get_errno(), "sethostname")


def parents():
    """The parent and the name of each process."""
    found = {}
    for entry in pathlib.Path("/proc").iterdir():
        if not entry.name.isdigit():
            continue
        try:
            stat = (entry / "stat").read_text()
        except OSError:
            continue  # has ended
        name, rest = stat[stat.index("(") + 1 : stat.rindex(")")], stat[stat.rindex(")") + 2 :]
        found[int(entry.name)] = (int(rest.split()[1]), name)
    return found


def signal_all(number, processes):
    for process in processes:
        try:
            os.kill(process, number)
        except ProcessLookupError:
            pass


def kill_sessions():
    """Kills each sshd with all that has come from it, as if at one moment.

    They are stopped first: none sees another one die, and puts something in order.
    """
    doomed = set()
    grows = True
    while grows:
        processes = parents()
        more = {
            process
            for process, (parent, name) in processes.items()
            if name == "sshd" or parent in doomed
        } - doomed
        signal_all(signal.SIGSTOP, more)
        doomed |= more
        grows = bool(more)
    signal_all(signal.SIGKILL, doomed)


def reap():
    try:
        while os.waitpid(-1, os.WNOHANG)[0] != 0:
            pass
    except ChildProcessError:
        pass


def serve(listener):
    signals, wake = os.pipe2(os.O_CLOEXEC | os.O_NONBLOCK)
    signal.set_wakeup_fd(wake)
    for number in (signal.SIGCHLD, signal.SIGUSR1, signal.SIGUSR2):
        signal.signal(number, lambda *_: None)
    cut_off = False
    while True:
        ready, _, _ = select.select([listener, signals], [], [])
        if signals in ready:
            for number in os.read(signals, 100):
                if number == signal.SIGUSR1:
                    cut_off = True
                    kill_sessions()
                elif number == signal.SIGUSR2:
                    cut_off = False
            reap()
        if listener in ready:
            connection, _ = listener.accept()
            with connection:
                if cut_off:
                    continue
                if os.fork() == 0:
                    os.dup2(connection.fileno(), 0)
                    os.dup2(connection.fileno(), 1)
                    signal.set_wakeup_fd(-1)
                    os.execv(SSHD[0], SSHD)


def main():
    name, server, listener, layer, files, ready = sys.argv[1:]
    make_root(pathlib.Path(layer), files)
    set_name(name)
    subprocess.run(["ip", "link", "set", "lo", "up"], check=True)
    os.environ.clear()
    os.environ.update(PATH=PATH, HOME="/root")
    with open("/var/log/start", "wb") as log:
        subprocess.run(START[server], check=True, stdin=subprocess.DEVNULL, stdout=log, stderr=log)
    os.write(int(ready), b".")
    os.close(int(ready))
    listening = socket.socket(fileno=int(listener))
    listening.set_inheritable(False)
    serve(listening)


if __name__ == "__main__":
    main()
