# SPDX-License-Identifier: Apache-2.0

"""Parser: calls, texts, errors."""

import inspect
import os
import pickle
import pydoc

import pytest

from qeltemplate import engine
from qeltemplate.engine import Parser

CONFIG = "server {\nserver_name a;\nroot /a;\n}"
TEMPLATE = "server {\nserver_name {% $name %};\n}"


def with_name(name):
    return CONFIG.replace("server_name a", "server_name " + name)


def edited(parser):
    return parser.set_template(TEMPLATE).apply().config()


# --- Calls ---


def test_edits_a_configuration():
    parser = Parser(config=CONFIG, dialect="Nginx")
    assert parser.config() == ""
    parser.set_value("name", old="a", new="b")
    parser.set_template(text=TEMPLATE)
    parser.apply()
    assert parser.config() == with_name("b")
    assert parser.prototype() == "server {\nserver_name b;\n}"


def test_calls_chain_on_the_same_parser():
    parser = Parser(CONFIG, "Nginx")
    calls = [
        parser.set_value("name", "a", "b"),
        parser.merge_values(Parser("", "Apache")),
        parser.set_template(TEMPLATE),
        parser.apply(),
        parser.clear_values(),
    ]
    assert all(call is parser for call in calls)


@pytest.mark.parametrize(
    ("values", "prototype"),
    [
        pytest.param({"new": "b"}, "server {\nserver_name b;\n}", id="text"),
        pytest.param({"new": ""}, "server {\nserver_name ;\n}", id="empty"),
        pytest.param({"old": "a", "new": None}, "server {\n}", id="None"),
        pytest.param({"old": "a"}, "server {\n}", id="left out"),
    ],
)
def test_none_is_no_value(values, prototype):
    parser = Parser(CONFIG, "Nginx").set_value("name", **values)
    assert parser.set_template(TEMPLATE).prototype() == prototype


def test_merges_and_clears_values():
    other = Parser("", "Nginx").set_value("name", old="a", new="b")
    parser = Parser(CONFIG, "Nginx").merge_values(other)
    parser.merge_values(parser)
    assert edited(parser) == with_name("b")
    assert parser.clear_values().set_template(TEMPLATE).prototype() == "server {\n}"


@pytest.mark.parametrize("as_path", [str, os.fsencode, lambda path: path], ids=["str", "bytes", "Path"])
def test_reads_the_template_from_a_file(tmp_path, as_path):
    path = tmp_path / "s\u00e9.template"
    path.write_text(TEMPLATE, encoding="utf-8")
    parser = Parser(CONFIG, "Nginx").set_value("name", "a", "b").set_template_file(as_path(path))
    assert parser.apply().config() == with_name("b")


def test_subclasses_work():
    class Site(Parser):
        def rename(self, old, new):
            return self.set_value("name", old, new)

    site = Site(CONFIG, "Nginx")
    assert site.rename("a", "b") is site
    assert edited(site) == with_name("b")


# --- Texts ---

ODD = b"\xc3\xa9\xff\x00\xed\xb0\x80x"


def test_str_gives_str_and_bytes_give_bytes():
    for config in (CONFIG, CONFIG.encode()):
        parser = Parser(config, "Nginx").set_value("name", "a", "b")
        assert type(edited(parser)) is type(config)
        assert type(parser.prototype()) is type(config)


def test_bytes_come_through_as_they_are():
    config = CONFIG.encode() + b"\n" + ODD
    parser = Parser(config, "Nginx").set_value(b"name", b"a", ODD)
    assert edited(parser) == config.replace(b"server_name a", b"server_name " + ODD)


def test_str_with_surrogateescape_comes_through_as_it_is():
    odd = ODD.decode("utf-8", "surrogateescape")
    config = CONFIG + "\n" + odd
    parser = Parser(config, "Nginx").set_value("name", "a", odd)
    assert edited(parser) == config.replace("server_name a", "server_name " + odd)


def test_names_values_and_templates_may_be_either():
    for config in (CONFIG, CONFIG.encode()):
        for name, old, new, template in (
            ("name", b"a", "\u00e9", TEMPLATE.encode()),
            (b"name", "a", "\u00e9".encode(), TEMPLATE),
        ):
            parser = Parser(config, "Nginx").set_value(name, old, new).set_template(template)
            expected = with_name("\u00e9")
            assert parser.apply().config() in (expected, expected.encode())


def test_a_surrogate_that_is_no_byte_is_refused():
    with pytest.raises(UnicodeEncodeError):
        Parser("\ud800", "Nginx")


@pytest.mark.parametrize("text", [None, 7, bytearray(b"x"), ["x"]])
def test_other_types_are_refused(text):
    parser = Parser(CONFIG, "Nginx")
    with pytest.raises(TypeError):
        Parser(text, "Nginx")
    with pytest.raises(TypeError):
        parser.set_template(text)
    with pytest.raises(TypeError):
        parser.set_value(text, "a", "b")
    if text is not None:
        with pytest.raises(TypeError):
            parser.set_value("name", "a", text)


# --- Errors ---


@pytest.mark.parametrize("dialect", ["", "iis", "Nginx ", "\u00e9"])
def test_an_unknown_dialect(dialect):
    with pytest.raises(engine.UnknownDialectError) as caught:
        Parser(CONFIG, dialect)
    error = caught.value
    assert isinstance(error, engine.Error) and isinstance(error, ValueError)
    assert str(error) == f"dialect: unknown (name={dialect})"
    assert (error.type, error.object, error.params) == ("dialect", "unknown", {"name": dialect})


def test_a_file_that_cannot_be_read_leaves_the_template(tmp_path):
    parser = Parser(CONFIG, "Nginx").set_value("name", "a", "b").set_template(TEMPLATE)
    path = os.fsencode(tmp_path) + b"/\xff"
    with pytest.raises(engine.FileError) as caught:
        parser.set_template_file(path)
    error = caught.value
    assert (error.type, error.object) == ("file", "read")
    assert os.fsencode(error.params["filename"]) == path
    assert parser.apply().config() == with_name("b")


def test_a_file_imported_twice(tmp_path):
    part = tmp_path / "part"
    part.write_text("x;", encoding="utf-8")
    with pytest.raises(engine.TemplateError) as caught:
        Parser(CONFIG, "Nginx").set_template(f"{{% import {part} %}}\n" * 2)
    error = caught.value
    assert (error.type, error.object) == ("template", "circular_import")
    assert error.params == {"filename": str(part)}


def test_a_path_with_a_nul_is_refused():
    with pytest.raises(ValueError, match="null"):
        Parser(CONFIG, "Nginx").set_template_file("a\0b")


def test_errors_can_be_pickled():
    with pytest.raises(engine.Error) as caught:
        Parser(CONFIG, "none")
    copy = pickle.loads(pickle.dumps(caught.value))
    assert type(copy) is engine.UnknownDialectError
    assert str(copy) == str(caught.value)
    assert copy.params == {"name": "none"}


# --- What tools see ---


def test_no_message_shows_a_whole_configuration():
    secret = "secret" * 100
    calls = [
        lambda: Parser(secret),
        lambda: Parser(secret, secret, secret),
        lambda: Parser(secret, 7),
        lambda: Parser([secret], "Nginx"),
        lambda: Parser(secret, "Nginx").set_value("name", "a", [secret]),
        lambda: Parser(secret, "Nginx").set_template(text=secret, other=secret),
        lambda: Parser(secret, "Nginx").set_template([secret]),
        lambda: Parser(secret, "Nginx").merge_values(secret),
    ]
    for call in calls:
        with pytest.raises(TypeError) as caught:
            call()
        assert "secret" not in str(caught.value)


def test_everything_has_help():
    for name in engine.__all__:
        if not name.startswith("LOG_"):
            assert inspect.getdoc(getattr(engine, name))
    for name, method in vars(Parser).items():
        if not name.startswith("_"):
            assert inspect.getdoc(method), name
    text = pydoc.render_doc(engine, renderer=pydoc.plaintext)
    assert "drops all blank lines" in text
    assert "set_value(self: ~_Self, name: Union[str, bytes], old" in text
