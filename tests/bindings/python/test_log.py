# SPDX-License-Identifier: Apache-2.0

"""The log."""

import gc
import subprocess
import sys
import threading
import weakref

import pytest

from qeltemplate import engine
from qeltemplate.engine import Parser

APPLY = "tov_template::ParserTemplate& tov_template::ParserTemplate::ApplyTemplate()"


@pytest.fixture(autouse=True)
def log_off_afterwards():
    yield
    engine.set_log_level(engine.LOG_OFF)
    engine.set_log_handler(None)


@pytest.mark.parametrize(
    ("level", "expected"),
    [
        (engine.LOG_OFF, []),
        (7, []),
        (engine.LOG_TRACE, [(8, "template", "core", APPLY)]),
    ],
)
def test_logs_up_to_the_level_that_is_set(level, expected):
    records = []
    engine.set_log_handler(lambda *record: records.append(record))
    engine.set_log_level(level)
    Parser("x;", "Nginx").apply()
    assert records == expected


def test_records_keep_what_is_not_utf8():
    records = []
    engine.set_log_handler(lambda *record: records.append(record[3]))
    engine.set_log_level(engine.LOG_DEBUG)
    Parser("", "Nginx").set_value("name", b"\xff", None)
    assert records[0].endswith("Template param 'name': old value '\udcff', new value 'Null'")


def test_what_the_handler_raises_disturbs_nothing(monkeypatch):
    reported = []
    monkeypatch.setattr(sys, "unraisablehook", lambda args: reported.append(args.exc_value))

    def handler(*record):
        raise KeyError("the log is full")

    engine.set_log_handler(handler)
    engine.set_log_level(engine.LOG_DEBUG)
    parser = Parser("server {\nx a;\n}", "Nginx").set_value("n", "a", "b")
    assert parser.set_template("server {\nx {% $n %};\n}").apply().config() == "server {\nx b;\n}"
    assert len(reported) > 3
    assert all(isinstance(error, KeyError) for error in reported)


def test_the_handler_finds_its_parser_busy(monkeypatch):
    errors = []
    parser = Parser("server {\nx a;\n}", "Nginx")

    def handler(*record):
        for call in (parser.config, parser.apply, parser.clear_values):
            with pytest.raises(engine.BusyError) as caught:
                call()
            errors.append(caught.value)

    engine.set_log_handler(handler)
    engine.set_log_level(engine.LOG_TRACE)
    parser.apply()
    assert len(errors) == 3
    assert isinstance(errors[0], RuntimeError)
    assert (errors[0].type, errors[0].object, errors[0].params) == ("parser", "busy", {})


def test_the_handler_is_called_in_the_thread_that_logs():
    threads = set()
    engine.set_log_handler(lambda *record: threads.add(threading.get_ident()))
    engine.set_log_level(engine.LOG_TRACE)
    workers = [threading.Thread(target=lambda: Parser("", "Nginx").apply()) for _ in range(3)]
    expected = set()
    for worker in workers:
        worker.start()
        expected.add(worker.ident)
    for worker in workers:
        worker.join()
    assert threads == expected


def test_a_handler_that_is_replaced_is_let_go():
    class Handler:
        def __call__(self, *record):
            pass

    handler = Handler()
    held = weakref.ref(handler)
    engine.set_log_handler(handler)
    del handler
    gc.collect()
    assert held() is not None
    engine.set_log_handler(None)
    gc.collect()
    assert held() is None


@pytest.mark.parametrize("handler", [7, "print"])
def test_a_handler_must_be_callable(handler):
    with pytest.raises(TypeError, match="callable or None"):
        engine.set_log_handler(handler)


AT_EXIT = """
import threading, time
from qeltemplate import engine
config = "server {\\nserver_name a;\\nroot /a;\\n}\\n" * 500
def work():
    while True:
        engine.Parser(config, "Nginx").set_template("server {\\nx;\\n}").apply().config()
engine.set_log_handler(lambda *record: HANDLER)
engine.set_log_level(LEVEL)
for _ in range(3):
    threading.Thread(target=work, daemon=True).start()
time.sleep(0.1)
"""


@pytest.mark.parametrize(
    ("level", "handler"),
    [
        pytest.param("engine.LOG_OFF", "None", id="at work"),
        pytest.param("engine.LOG_DEBUG", "None", id="waiting for the handler"),
        pytest.param("engine.LOG_DEBUG", "time.sleep(0.2)", id="in the handler"),
    ],
)
def test_python_ends_in_peace_while_daemon_threads_are(level, handler):
    program = AT_EXIT.replace("LEVEL", level).replace("HANDLER", handler)
    for _ in range(3):
        run = subprocess.run(
            [sys.executable, "-c", program], capture_output=True, check=False, timeout=60
        )
        assert (run.returncode, run.stderr) == (0, b"")
