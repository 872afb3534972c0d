# SPDX-License-Identifier: Apache-2.0

"""Files: all or none."""

import os
import pickle
import signal
import subprocess
import sys
import threading
import time

import pytest

import qeltemplate

REQUEST = qeltemplate.Request("server {\n\tgzip on;\n}\n", all=True)
OLD = "server {\n}\n"
NEW = "server {\n\tgzip on;\n}\n"


@pytest.fixture(name="sites")
def two_sites(tmp_path):
    sites = [tmp_path / "a.conf", tmp_path / "b.conf"]
    for site in sites:
        site.write_text(OLD, encoding="utf-8")
    return sites


def texts(sites):
    return [site.read_text(encoding="utf-8") for site in sites]


def edit_all(sites, **options):
    with qeltemplate.update(sites, **options) as files:
        for file in files:
            file.edit(REQUEST)
    return files.result


def everything_in(folder):
    return sorted(path.name for path in folder.iterdir())


def test_files_are_replaced_at_the_end(sites):
    with qeltemplate.update(sites) as files:
        assert [file.name for file in files] == [str(site) for site in sites]
        assert (len(files), files[1].name) == (2, str(sites[1]))
        files[0].replace(NEW)
        files[1].replace(NEW.encode())
        assert files[0].read() == OLD.encode()
        assert texts(sites) == [OLD, OLD]
        assert files.result is None
    assert texts(sites) == [NEW, NEW]
    assert files.result == qeltemplate.UpdateResult(changed=tuple(map(str, sites)))


@pytest.mark.parametrize("as_path", [str, os.fsencode, lambda path: path], ids=["str", "bytes", "Path"])
def test_one_path_of_any_type(sites, as_path):
    assert edit_all(as_path(sites[0])).changed == (str(sites[0]),)
    assert texts(sites) == [NEW, OLD]


def test_what_is_no_utf8_comes_through(tmp_path):
    path = os.fsencode(tmp_path) + b"/caf\xe9.conf"
    with open(path, "wb") as file:
        file.write(b"# \xff\n")
    with qeltemplate.update(path) as files:
        files[0].replace(files[0].read_text() + "# \udcfe\n")
    assert os.fsencode(files.result.changed[0]) == path
    with open(path, "rb") as file:
        assert file.read() == b"# \xff\n# \xfe\n"


def test_an_exception_means_that_nothing_is_written(sites):
    sites[1].write_text(OLD + "gzip on", encoding="utf-8")
    with pytest.raises(qeltemplate.Refused) as caught:
        edit_all(sites)
    assert str(caught.value.findings[0].config_places[0]).startswith(str(sites[1]))
    assert texts(sites) == [OLD, OLD + "gzip on"]
    with pytest.raises(KeyboardInterrupt):
        with qeltemplate.update(sites) as files:
            files[0].replace(NEW)
            raise KeyboardInterrupt
    assert texts(sites) == [OLD, OLD + "gzip on"]
    edit_all(sites[0], lock_wait=0)


def test_backups_are_kept(sites):
    result = edit_all(sites, backup="~")
    assert result.backups == tuple(f"{site}~" for site in sites)
    assert (sites[0].parent / "a.conf~").read_text(encoding="utf-8") == OLD


def test_the_server_judges_and_takes_the_files(sites):
    log = sites[0].parent / "log"
    result = edit_all(sites, check=f"grep -q gzip {sites[0]}", reload=f"echo reloaded >{log}")
    assert (result.checked, result.reloaded) == (True, True)
    assert log.read_text(encoding="utf-8") == "reloaded\n"


def test_a_file_is_made(tmp_path):
    path = tmp_path / "new.conf"
    with qeltemplate.update(path, may_be_missing=True) as files:
        assert files[0].read() == b""
        files[0].replace(NEW)
    assert path.read_text(encoding="utf-8") == NEW


# --- Failures ---


def test_the_server_refuses(sites):
    check = "echo 'unknown directive \"gzip\"'; exit 7"
    with pytest.raises(qeltemplate.ServerRefused, match="unknown directive") as caught:
        edit_all(sites, check=check)
    error = caught.value
    assert isinstance(error, qeltemplate.UpdateError) and isinstance(error, qeltemplate.Error)
    assert (error.command, error.exit_status, error.signal, error.timed_out) == (check, 7, None, False)
    assert error.output == 'unknown directive "gzip"'
    assert error.not_put_back == ()
    assert texts(sites) == [OLD, OLD]
    assert everything_in(sites[0].parent) == ["a.conf", "b.conf"]


def test_a_check_that_takes_too_long(sites):
    with pytest.raises(qeltemplate.ServerRefused) as caught:
        edit_all(sites, check="sleep 100", command_limit=0.1)
    assert caught.value.timed_out
    assert texts(sites) == [OLD, OLD]


def test_new_warnings_of_the_server(sites):
    check = f"if grep -q gzip {sites[0]}; then echo 'nginx: [warn] gzip is odd'; fi"
    with pytest.raises(qeltemplate.ServerRefused, match="gzip is odd"):
        edit_all(sites, check=check, new_warnings="refuse")
    assert texts(sites) == [OLD, OLD]
    result = edit_all(sites, check=check, new_warnings="tell")
    assert len(result.new_warnings) == 1
    assert "gzip is odd" in result.new_warnings[0]
    assert texts(sites) == [NEW, NEW]


def test_another_program_has_changed_a_file(sites):
    with pytest.raises(qeltemplate.Overtaken) as caught:
        with qeltemplate.update(sites) as files:
            for file in files:
                file.edit(REQUEST)
            sites[1].write_text("another", encoding="utf-8")
    assert caught.value.files == (str(sites[1]),)
    assert texts(sites) == [OLD, "another"]


def test_a_file_that_is_not_there(tmp_path):
    with pytest.raises(qeltemplate.UpdateError, match="none.conf") as caught:
        edit_all(tmp_path / "none.conf")
    assert type(caught.value) is qeltemplate.UpdateError
    assert caught.value.files == (str(tmp_path / "none.conf"),)


def test_files_that_another_update_holds(sites):
    with qeltemplate.update(sites):
        with pytest.raises(qeltemplate.UpdateError):
            edit_all(sites[1], lock_wait=0.05)


def test_errors_can_be_pickled(tmp_path):
    with pytest.raises(qeltemplate.UpdateError) as caught:
        edit_all(tmp_path / "none.conf")
    copy = pickle.loads(pickle.dumps(caught.value))
    assert (type(copy), str(copy)) == (type(caught.value), str(caught.value))
    assert copy.files == caught.value.files


def test_a_message_can_be_printed_whatever_the_bytes(tmp_path):
    with pytest.raises(qeltemplate.UpdateError) as caught:
        edit_all(os.fsencode(tmp_path) + b"/caf\xe9")
    assert "caf\\xe9" in str(caught.value)
    assert caught.value.files[0].endswith("caf\udce9")


@pytest.mark.parametrize(
    ("paths", "options", "error", "message"),
    [
        (7, {}, TypeError, "paths must be paths, not int"),
        (["a", 7], {}, TypeError, "a path must be str, bytes or a path, not int"),
        (["a", "b"], {"may_be_missing": True}, ValueError, "one file"),
        ("a", {"new_warnings": "x"}, ValueError, "new_warnings must be one of"),
        ("a", {"check": 7}, TypeError, "check must be str or bytes, not int"),
    ],
)
def test_what_is_no_path_or_option(paths, options, error, message):
    with pytest.raises(error, match=message):
        qeltemplate.update(paths, **options)


def test_an_update_can_be_used_once(sites):
    files = qeltemplate.update(sites)
    with files:
        pass
    with pytest.raises(RuntimeError, match="entered once"):
        with files:
            pass
    with pytest.raises(RuntimeError, match="over"):
        files[0].read()


# --- Ends that come from outside ---


def test_another_thread_cancels_a_check(sites):
    files = qeltemplate.update(sites, check="sleep 100")
    timer = threading.Timer(0.2, files.cancel)
    timer.start()
    with pytest.raises(qeltemplate.Cancelled):
        with files:
            for file in files:
                file.edit(REQUEST)
    timer.join()
    assert texts(sites) == [OLD, OLD]


CTRL_C = """
import sys, qeltemplate
try:
    with qeltemplate.update(sys.argv[1], check="echo checking >&2; touch {0}; sleep 100".format(sys.argv[2])) as files:
        files[0].replace("new")
except KeyboardInterrupt:
    print("interrupted")
"""


def test_ctrl_c_ends_a_check(sites):
    started = sites[0].parent / "started"
    command = [sys.executable, "-c", CTRL_C, sites[0], started]
    with subprocess.Popen(command, stdout=subprocess.PIPE, text=True) as program:
        end = time.monotonic() + 60
        while not started.exists() and time.monotonic() < end:
            time.sleep(0.01)
        program.send_signal(signal.SIGINT)
        output, _ = program.communicate(timeout=60)
    assert (program.returncode, output) == (0, "interrupted\n")
    assert texts(sites) == [OLD, OLD]


def test_threads_update_files_of_their_own(tmp_path):
    sites = [tmp_path / f"{i}.conf" for i in range(8)]
    for site in sites:
        site.write_text(OLD, encoding="utf-8")
    threads = [threading.Thread(target=edit_all, args=(site,)) for site in sites]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert texts(sites) == [NEW] * 8


def test_threads_take_turns_with_one_update(sites):
    with qeltemplate.update(sites) as files:
        threads = [
            threading.Thread(target=lambda n=n: files[n % 2].edit(REQUEST)) for n in range(16)
        ]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
    assert texts(sites) == [NEW, NEW]
