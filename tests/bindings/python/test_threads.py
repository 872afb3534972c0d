# SPDX-License-Identifier: Apache-2.0

"""Several threads at once."""

import threading
from concurrent.futures import ThreadPoolExecutor

from qeltemplate import engine
from qeltemplate.engine import Parser
from turns import others_run_during

TEMPLATE = "server {\nserver_name {% $name %};\n}"


def config_of(count):
    return "".join(f"server {{\nserver_name s{i};\nroot /s{i};\n}}\n" for i in range(count))


def edit(config, new):
    parser = Parser(config, "Nginx").set_value("name", "s1", new)
    return parser.set_template(TEMPLATE).apply().config()


def test_parsers_do_not_disturb_one_another():
    config = config_of(50)
    expected = {f"t{i}": edit(config, f"t{i}") for i in range(8)}
    with ThreadPoolExecutor(8) as pool:
        futures = [(name, pool.submit(edit, config, name)) for name in list(expected) * 20]
        assert all(future.result() == expected[name] for name, future in futures)


def test_one_parser_in_many_threads_is_either_busy_or_right():
    config = config_of(200)
    parser = Parser(config, "Nginx").set_value("name", "s1", "t")
    other = Parser("", "Nginx")
    outcomes = []
    start = threading.Barrier(4)

    def work():
        start.wait()
        for _ in range(50):
            for call in (
                lambda: parser.set_template(config),
                lambda: parser.merge_values(other),
                lambda: other.merge_values(parser),
            ):
                try:
                    call()
                    outcomes.append("done")
                except engine.BusyError:
                    outcomes.append("busy")

    threads = [threading.Thread(target=work) for _ in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert len(outcomes) == 600
    assert "done" in outcomes
    assert parser.set_template(TEMPLATE).apply().config() == edit(config, "t")


def test_python_goes_on_while_the_library_works():
    config = config_of(2000)
    assert others_run_during(lambda: Parser(config, "Nginx"))


def test_the_log_handler_may_change_meanwhile():
    config = config_of(20)
    expected = edit(config, "t")
    stop = threading.Event()
    records = []

    def change():
        while not stop.is_set():
            engine.set_log_handler(lambda *record: records.append(record))
            engine.set_log_level(engine.LOG_DEBUG)
            engine.set_log_handler(None)

    changer = threading.Thread(target=change)
    changer.start()
    try:
        with ThreadPoolExecutor(3) as pool:
            results = list(pool.map(lambda _: edit(config, "t"), range(200)))
    finally:
        stop.set()
        changer.join()
        engine.set_log_level(engine.LOG_OFF)
    assert results == [expected] * 200
