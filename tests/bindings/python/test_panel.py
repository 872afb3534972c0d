# SPDX-License-Identifier: Apache-2.0

"""The example of a panel does what it says."""

import os
import subprocess
import sys
from pathlib import Path

import pytest

ROOT = Path(__file__).resolve().parents[3]
PANEL = ROOT / "examples" / "python" / "panel.py"
BEFORE = (ROOT / "examples" / "nginx" / "example.com.conf").read_text(encoding="utf-8")

ADDED = """server {
	listen 80;
	server_name new.example;
	root "/srv/new site";
}
"""
WITH_TLS = """server {
	listen 80;
	listen 443 ssl;
	server_name newer.example;
	root "/srv/new site";
	ssl_certificate /etc/ssl/newer.example/fullchain.pem;
	ssl_certificate_key /etc/ssl/newer.example/key.pem;
}
"""


@pytest.fixture(name="config")
def a_copy(tmp_path):
    config = tmp_path / "sites.conf"
    config.write_text(BEFORE, encoding="utf-8")
    return config


def run(config, *arguments, check=""):
    return subprocess.run(
        [sys.executable, PANEL, config, *arguments],
        env={**os.environ, "QELTEMPLATE_CHECK": check},
        capture_output=True,
        text=True,
        check=False,
    )


def test_a_site_comes_changes_and_goes(config):
    steps = [
        (["add", "new.example", "/srv/new site"], BEFORE + ADDED),
        (["rename", "new.example", "newer.example"], BEFORE + ADDED.replace("new.", "newer.")),
        (["tls", "newer.example", "on"], BEFORE + WITH_TLS),
        (["tls", "newer.example", "off"], BEFORE + ADDED.replace("new.", "newer.")),
        (["remove", "newer.example"], BEFORE),
    ]
    for arguments, expected in steps:
        done = run(config, *arguments)
        assert (done.returncode, done.stderr) == (0, "")
        assert config.read_text(encoding="utf-8") == expected


@pytest.mark.parametrize(
    ("arguments", "name"),
    [
        (["add", "example.com", "/srv"], "exists"),
        (["rename", "none.example", "new.example"], "unmatched-section"),
        (["tls", "none.example", "on"], "unmatched-section"),
        (["remove", "none.example"], "not-found"),
    ],
)
def test_a_refusal_is_told(config, arguments, name):
    done = run(config, *arguments)
    assert done.returncode == 4
    assert done.stderr.startswith("not edited: template:")
    assert f"[{name}]" in done.stderr
    assert config.read_text(encoding="utf-8") == BEFORE


def test_the_server_judges(config):
    done = run(config, "add", "new.example", "/srv", check="echo no such root; false")
    assert (done.returncode, done.stderr) == (1, "the server does not take it:\nno such root\n")
    assert config.read_text(encoding="utf-8") == BEFORE
    assert run(config, "add", "new.example", "/srv", check="true").returncode == 0


def test_other_failures(config):
    assert "none.conf" in run(config.with_name("none.conf"), "remove", "a").stderr
    assert run(config, "tls", "example.com").stderr.startswith("usage: panel.py CONFIG add NAME ROOT")
