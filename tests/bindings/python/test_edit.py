# SPDX-License-Identifier: Apache-2.0

"""The careful edit: texts, values, options, refusals, threads."""

import gc
import pickle
import pydoc
import subprocess
import sys
import tracemalloc
from concurrent.futures import ThreadPoolExecutor

import pytest
from turns import others_run_during

import qeltemplate

SITE = """server {
    listen 80;

    server_name a.example;  # the name
    root /srv/a;
}
"""
TEMPLATE = "server {\n\tserver_name {% $name %};\n\troot {% $root %};\n}\n"
RENAME = "server {\n\tserver_name {% $name %};\n}\n"
RENAMED = SITE.replace("server_name a.", "server_name b.")


def edited(config=SITE, template=RENAME, values=(("name", ("a.example", "b.example")),), **options):
    return qeltemplate.edit(config, template, dict(values), **options)


def refusal(*arguments, **options):
    with pytest.raises(qeltemplate.Refused) as caught:
        edited(*arguments, **options)
    return caught.value


# --- What comes out ---


def test_only_what_the_edit_is_for_changes():
    result = edited(name="site.conf", template_name="site.template")
    assert result.text == RENAMED
    assert (result.changed, result.skipped, result.refused) == (True, False, False)
    assert result.dialect == "nginx"
    assert result.changes == (
        qeltemplate.Change(
            4, 1, "    server_name b.example;  # the name\n", (qeltemplate.Place("site.template", 2),)
        ),
    )
    assert result.warnings == result.refusals == ()


def test_nothing_to_do_gives_the_same_text():
    result = edited(values={"name": "a.example"})
    assert result.text is SITE
    assert (result.changed, result.changes) == (False, ())


def test_changes_make_the_text():
    result = edited(template=TEMPLATE, values={"name": ("a.example", "b"), "root": ("/srv/a", "/b")})
    lines = SITE.splitlines(keepends=True)
    for change in reversed(result.changes):
        lines[change.line - 1 : change.line - 1 + change.count] = [change.text]
    assert "".join(lines) == result.text


@pytest.mark.parametrize(
    "value",
    [
        ("a.example", "b.example"),
        {"old": "a.example", "new": "b.example"},
        (b"a.example", "b.example"),
        {"new": b"b.example", "old": "a.example"},
    ],
)
@pytest.mark.parametrize("name", ["name", b"name"])
def test_a_value_with_its_old_one(name, value):
    assert edited(values={name: value}).text == RENAMED


@pytest.mark.parametrize("value", [None, (None, None), {}, {"old": None}])
def test_no_value(value):
    template = "server {\nserver_name a.example;\nroot {% $root %};\n}\n"
    result = edited(template=template, values={"root": value})
    assert result.text is SITE
    assert [warning.name for warning in result.warnings] == ["missing-value"]


@pytest.mark.parametrize(
    ("values", "error", "message"),
    [
        ({"port": 80}, TypeError, "the value 'port' must be str"),
        ({"port": ("80", 81)}, TypeError, "the value 'port' must be str, bytes or None, not int"),
        ({"port": ("80",)}, ValueError, "must be .old, new., not 1 values"),
        ({"port": {"from": "80"}}, ValueError, "not 'from'"),
        ({7: "80"}, TypeError, "a value's name must be str or bytes, not int"),
        ("name", TypeError, "values must be a mapping, not str"),
    ],
)
def test_values_that_are_none(values, error, message):
    with pytest.raises(error, match=message):
        qeltemplate.edit(SITE, RENAME, values)


# --- str and bytes ---

ODD = b"# caf\xe9 \xf0\x9f\x98\x80 \xed\xa0\x80\n"


def test_bytes_give_bytes_and_str_gives_str():
    config = ODD + SITE.encode()
    result = edited(config)
    assert result.text == ODD + RENAMED.encode()
    assert result.changes[0].text == b"    server_name b.example;  # the name\n"

    text = config.decode("utf-8", "surrogateescape")
    result = edited(text)
    assert result.text.encode("utf-8", "surrogateescape") == ODD + RENAMED.encode()
    assert isinstance(result.changes[0].text, str)


def test_templates_and_values_may_be_of_the_other_kind():
    values = {"name": ("a.example", b"caf\xe9.example")}
    result = edited(SITE, RENAME.encode(), values)
    assert result.text == SITE.replace("a.example", "caf\udce9.example", 1)
    assert edited(SITE.encode(), RENAME, values).text == SITE.encode().replace(
        b"a.example", b"caf\xe9.example", 1
    )


def test_messages_can_be_printed_whatever_the_bytes():
    error = refusal(SITE.encode() * 2, name=b"caf\xe9.conf")
    str(error).encode("utf-8")
    assert "caf\\xe9.conf:1:1" in str(error)
    assert error.findings[0].config_places[0].file == "caf\udce9.conf"


def test_a_surrogate_that_is_no_byte_is_an_error():
    with pytest.raises(UnicodeEncodeError):
        edited(SITE + "# \ud800\n")


@pytest.mark.parametrize("text", [None, 7, bytearray(b"x"), ["x"]])
def test_other_types_are_refused(text):
    with pytest.raises(TypeError, match="config must be str or bytes, not " + type(text).__name__):
        edited(text)
    with pytest.raises(TypeError, match="template must be str or bytes"):
        edited(SITE, text)


def test_no_message_shows_a_whole_configuration():
    secret = "secret" * 100
    calls = [
        lambda: qeltemplate.edit(secret),
        lambda: qeltemplate.edit(secret, secret, secret),
        lambda: qeltemplate.edit(secret, [secret]),
        lambda: qeltemplate.edit([secret], secret),
        lambda: qeltemplate.edit(secret, secret, {"a": [secret]}),
        lambda: qeltemplate.edit(secret, secret, {}, raw=secret),
        lambda: qeltemplate.edit(secret, secret, {}, imports=7),
        lambda: qeltemplate.lint([secret]),
        lambda: qeltemplate.guess_dialect([secret]),
        lambda: qeltemplate.inspect([secret]),
    ]
    for call in calls:
        with pytest.raises(TypeError) as caught:
            call()
        assert "secret" not in str(caught.value)
    config = SITE + f"# {secret}\n"
    assert "secret" not in repr(edited(config))
    assert "secret" not in repr(refusal(config + config))
    assert "secret" not in repr(qeltemplate.explain(config, RENAME, {"name": "a.example"}))


# --- The dialect ---


@pytest.mark.parametrize("dialect", ["nginx", "Nginx", "NGINX", None])
def test_a_dialect_in_letters_of_any_case(dialect):
    assert edited(dialect=dialect).text == RENAMED


def test_an_unknown_dialect_is_named():
    with pytest.raises(ValueError, match="there is no dialect 'iis'; it is \"nginx\" or \"apache\""):
        edited(dialect="iis")


def test_a_dialect_that_cannot_be_told():
    with pytest.raises(ValueError, match="empty.conf: its language cannot be told .* dialect="):
        qeltemplate.edit("", "", name="empty.conf")
    with pytest.raises(ValueError, match="caf\udce9: "):
        qeltemplate.edit("", "", name=b"caf\xe9")


def test_the_template_tells_the_dialect_of_an_empty_configuration():
    result = qeltemplate.edit("", TEMPLATE, {"name": "a.example", "root": "/srv"})
    assert result.text == "server {\n\tserver_name a.example;\n\troot /srv;\n}\n"
    assert qeltemplate.edit("", "<Directory /srv>\n\tOptions None\n</Directory>\n").dialect == "apache"


@pytest.mark.parametrize(
    ("text", "dialect"), [(SITE, "nginx"), (b"<IfModule a>\n</IfModule>\n", "apache"), ("", None)]
)
def test_guesses_a_dialect(text, dialect):
    assert qeltemplate.guess_dialect(text) == dialect


# --- Refusals ---


def test_a_refusal_says_what_is_wrong_and_what_to_do():
    error = refusal(SITE * 2, name="site.conf", template_name="site.template")
    assert isinstance(error, qeltemplate.Error)
    (finding,) = error.findings
    assert finding.name == "ambiguous"
    assert str(finding.template_place) == "site.template:1:1"
    assert [str(place) for place in finding.config_places] == ["site.conf:1:1", "site.conf:7:1"]
    assert finding.remedies == ("all",)
    assert not finding.can_be_forced
    assert str(error) == str(finding)
    assert str(error).startswith("site.template:1:1: 'server {' fits several blocks: site.conf:1:1")
    assert str(error).endswith("; all=True edits all of them [ambiguous]")


def test_a_refused_text_is_as_it_was():
    config = SITE * 2
    assert refusal(config).result.text is config
    result = edited(config, refuse="return")
    assert result.text is config
    assert (result.refused, result.changed) == (True, False)
    template = "server {\nserver_name a.example;\nroot {% $root %};\n}\n"
    result = edited(config, template, {"root": ("/srv/a", "/srv/b")}, all=True)
    assert result.text == config.replace("/srv/a", "/srv/b")


def test_refusals_and_results_can_be_pickled():
    error = refusal(SITE * 2)
    copy = pickle.loads(pickle.dumps(error))
    assert type(copy) is qeltemplate.Refused
    assert copy.result == error.result
    assert str(copy) == str(error)


TWO_ROOTS = {"name": "a.example", "root": "/srv/b"}


@pytest.mark.parametrize(
    ("config", "template", "values", "options", "name"),
    [
        (SITE, TEMPLATE, TWO_ROOTS, {}, "other-value"),
        (SITE, RENAME, {"name": "a.example"}, {"create": "only"}, "exists"),
        (SITE, RENAME, {"name": ("c", "d")}, {}, "unmatched-section"),
        (SITE, RENAME, {"name": "c"}, {"create": "never"}, "unmatched-section"),
        (SITE, RENAME, {"name": "a b"}, {}, "value"),
        (SITE, RENAME, {"name": "a.example", "nmae": "x"}, {"must_use": ["nmae"]}, "unused-value"),
        (SITE, RENAME, {"name": "a.example", "nmae": "x"}, {"must_use": True}, "unused-value"),
        (SITE, "{% import x %}\n" + RENAME, {"name": "a.example"}, {}, "import"),
        (
            SITE,
            "server {\nserver_name a.example;\n{% if $x %}\ngzip on;\n{% endif %}\n}\n",
            {},
            {"must_exist": True},
            "not-found",
        ),
    ],
)
def test_refuses(config, template, values, options, name):
    assert refusal(config, template, values, **options).findings[0].name == name


@pytest.mark.parametrize(
    ("template", "values", "options", "expected"),
    [
        (TEMPLATE, TWO_ROOTS, {"force": {"other-value"}}, SITE.replace("}", "    root /srv/b;\n}")),
        (RENAME, {"name": "c"}, {"create": "only"}, SITE + "server {\n    server_name c;\n}\n"),
        (RENAME, {"name": ("a.example", "b c")}, {"raw": ["name"]}, SITE.replace("a.example", "b c")),
    ],
)
def test_options_that_allow(template, values, options, expected):
    assert edited(SITE, template, values, **options).text == expected


def test_skips_a_text_that_has_none_of_the_blocks():
    config = SITE.replace("a.example", "z.example")
    result = edited(config, skip_missing=True)
    assert (result.skipped, result.changed) == (True, False)
    assert result.text is config


def test_quotes_values():
    template = "server {\nserver_name a.example;\nroot {% $root %};\n}\n"
    result = edited(SITE, template, {"root": ("/srv/a", "/srv/a b")}, quote=True)
    assert 'root "/srv/a b";' in result.text


@pytest.mark.parametrize(
    ("options", "message"),
    [
        ({"create": "always"}, "create must be one of 'if-missing', 'never', 'only', not 'always'"),
        ({"refuse": "ignore"}, "refuse must be one of 'raise', 'return', not 'ignore'"),
    ],
)
def test_words_that_are_not_known(options, message):
    with pytest.raises(ValueError, match=message):
        edited(**options)


# --- Imports ---

IMPORTING = "server {\n\tserver_name {% $name %};\n\t{% import parts/gzip %}\n}\n"
WITH_GZIP = SITE.replace("}", "    gzip on;\n}")


def test_imports_from_a_folder(tmp_path):
    (tmp_path / "parts").mkdir()
    (tmp_path / "parts" / "gzip").write_text("gzip on;\n", encoding="utf-8")
    for folder in (tmp_path, str(tmp_path), bytes(tmp_path)):
        result = edited(SITE, IMPORTING, {"name": "a.example"}, imports=folder)
        assert result.text == WITH_GZIP
    (tmp_path / "secret").write_text("gzip on;\n", encoding="utf-8")
    outside = IMPORTING.replace("parts/gzip", "../secret")
    error = refusal(SITE, outside, {"name": "a.example"}, imports=tmp_path / "parts")
    assert error.findings[0].name == "import"


def test_imports_are_read_again_for_each_edit(tmp_path):
    request = qeltemplate.Request("server {\n{% import part %}\n}\n", imports=tmp_path)
    for line in ("gzip on;", "gzip off;"):
        (tmp_path / "part").write_text(line + "\n", encoding="utf-8")
        assert request.edit("server {\n}\n").text == f"server {{\n\t{line}\n}}\n"


def test_a_folder_that_is_none(tmp_path):
    with pytest.raises(NotADirectoryError) as caught:
        edited(imports=tmp_path / "none")
    assert caught.value.filename == str(tmp_path / "none")


def test_a_callable_gives_imports():
    asked = []

    def load(name, place):
        asked.append((name, str(place)))
        return "gzip on;\n"

    result = edited(
        SITE, IMPORTING, {"name": "a.example"}, imports=load, template_name="site.template"
    )
    assert result.text == WITH_GZIP
    assert asked == [("parts/gzip", "site.template:3:5")]


@pytest.mark.parametrize(
    ("given", "message"),
    [
        (None, "parts/gzip"),
        (qeltemplate.ImportedFile("db:gzip", problem="the database is closed"), "database is closed"),
    ],
)
def test_a_callable_that_finds_nothing(given, message):
    error = refusal(SITE, IMPORTING, {"name": "a.example"}, imports=lambda *_: given)
    assert error.findings[0].name == "import"
    assert message in str(error)


def test_what_a_callable_raises_passes_through():
    class Broken(Exception):
        pass

    def load(name, place):
        raise Broken(name)

    with pytest.raises(Broken, match="parts/gzip"):
        edited(SITE, IMPORTING, {"name": "a.example"}, imports=load)
    with pytest.raises(TypeError, match="what imports.. gives must be str or bytes, not int"):
        edited(SITE, IMPORTING, {"name": "a.example"}, imports=lambda *_: 7)


def test_a_callable_may_edit():
    def load(name, place):
        return edited("gzip off;\n", "gzip [% $gzip %];\n", {"gzip": "on"}, dialect="nginx").text

    result = edited(SITE, IMPORTING, {"name": "a.example"}, imports=load)
    assert result.text == WITH_GZIP


# --- Requests, explain, lint ---


def test_one_request_edits_many_texts():
    request = qeltemplate.Request(RENAME, {"name": ("a.example", "b.example")})
    assert request.edit(SITE, "1.conf").text == RENAMED
    assert request.edit(SITE.encode(), "2.conf").text == RENAMED.encode()
    apache = "<VirtualHost *:80>\n\tServerName a.example\n</VirtualHost>\n"
    assert request.edit(apache, "3.conf", refuse="return").dialect == "apache"
    with pytest.raises(qeltemplate.Refused, match="4.conf"):
        request.edit(SITE * 2, "4.conf")
    assert request.explain(SITE).result.text == RENAMED


# Of both dialects, and some that are refused.
@pytest.mark.parametrize("dialect", [None, "nginx"])
def test_no_text_leaves_a_trace_in_a_request(dialect):
    template = "server {\n    server_name {% $name %};\n    index {% $index %};\n}\n"
    site = "server {\n    server_name a;\n}\n"
    apache = "<VirtualHost *:80>\nServerName a\n</VirtualHost>\n"
    many = qeltemplate.Request(template, {"name": ("a", "b")}, dialect=dialect)
    for text in (site, apache, site + site, "server {\n", "", apache, site):
        one = qeltemplate.Request(template, {"name": ("a", "b")}, dialect=dialect)
        assert many.edit(text, refuse="return") == one.edit(text, refuse="return")


def test_explains_what_becomes_of_each_line():
    values = {"name": ("a.example", "b.example"), "ssl": "off"}
    template = RENAME[:-2] + "\t{% if $ssl == on %}\n\tlisten 443 ssl;\n\t{% endif %}\n}\n"
    explanation = qeltemplate.explain(SITE, template, values, name="s.conf", template_name="s.template")
    assert explanation.result == edited(SITE, template, values, name="s.conf", template_name="s.template")
    branch = explanation.statements[0]
    assert (branch.text, branch.taken, branch.values) == ("if $ssl == on", False, "ssl is 'off'")
    assert [line.action for line in explanation.template_lines] == [
        "already-there",
        "changed",
        "not-there",
        "nothing",
    ]
    changed = explanation.template_lines[1]
    assert (changed.line, changed.taken, changed.block) == ("server_name b.example;", True, 0)
    (event,) = changed.events
    assert (event.kind, event.line, event.column) == ("changed", 4, 5)
    assert (event.before, event.after) == ("server_name a.example;", "server_name b.example;")
    (block,) = explanation.blocks
    assert [str(place) for place in block.found] == ["s.conf:1:1"]
    assert "s.template:2  server_name {% $name %};  # changed s.conf:4" in str(explanation)


def test_explains_a_refused_edit():
    explanation = qeltemplate.explain(SITE * 2, RENAME, {"name": "a.example"})
    assert [finding.name for finding in explanation.result.refusals] == ["ambiguous"]


def test_lints_a_template():
    (finding,) = qeltemplate.lint(RENAME + "{% if $x %}\n", template_name="s.template")
    assert (finding.name, str(finding.template_place)) == ("missing-endif", "s.template:4:1")
    assert finding.line_text == "{% if $x %}"
    assert qeltemplate.lint(RENAME) == qeltemplate.lint(RENAME, {"name": ("x", "y")}) == ()
    assert [finding.name for finding in qeltemplate.lint(RENAME, {})] == ["unset-value"]


def test_inspects_a_configuration():
    config = "http {\n" + SITE + "}\n"
    inspection = qeltemplate.inspect(config, name="nginx.conf")
    assert (inspection.dialect, inspection.error, inspection.warnings) == ("nginx", None, ())
    assert [str(block) for block in inspection.blocks] == ["http", "server"]
    (server,) = inspection.servers
    assert server == qeltemplate.Block(
        "server",
        (),
        2,
        1,
        end_line=7,
        parent=0,
        depth=1,
        is_server=True,
        names=("a.example",),
        addresses=("*:80",),
    )
    assert inspection.directives[-1] == qeltemplate.Directive("root", ("/srv/a",), 6, 5, 6, block=1)
    assert [str(directive) for directive in inspection.directives] == [
        "listen 80",
        "server_name a.example",
        "root /srv/a",
    ]


def test_inspects_what_the_server_would_not_read():
    inspection = qeltemplate.inspect(b"server {\nroot caf\xe9;\n", name="a.conf", dialect="Nginx")
    assert inspection.blocks[0].end_line is None
    assert inspection.directives[0].arguments == ("caf\udce9",)
    assert inspection.error.name == "syntax-error"
    assert [str(place) for place in inspection.error.config_places][-1] == "a.conf:1:1"
    with pytest.raises(ValueError, match="cannot be told"):
        qeltemplate.inspect("")
    with pytest.raises(TypeError, match="config must be str or bytes, not int"):
        qeltemplate.inspect(7)


# --- Threads and memory ---


def test_threads_share_a_request():
    request = qeltemplate.Request(
        IMPORTING, {"name": ("a.example", "b.example")}, imports=lambda *_: "gzip on;\n"
    )
    expected = WITH_GZIP.replace("server_name a.", "server_name b.")
    configs = [f"# {i}\n" + SITE for i in range(400)]
    with ThreadPoolExecutor(8) as pool:
        texts = list(pool.map(lambda config: request.edit(config).text, configs))
    assert texts == [f"# {i}\n" + expected for i in range(400)]


def test_python_goes_on_while_an_edit_works():
    config = "".join(SITE.replace("a.example", f"s{i}.example") for i in range(3000)) + SITE
    assert others_run_during(lambda: edited(config))


AT_EXIT = """
import threading, time, qeltemplate
config = "server {\\nserver_name a;\\nroot /a;\\n}\\n" * 500
request = qeltemplate.Request("server {\\n{% import x %}\\n}", all=True, imports=lambda *_: SLEEP or "gzip on;\\n")
def work():
    while True:
        request.edit(config, refuse="return")
for _ in range(3):
    threading.Thread(target=work, daemon=True).start()
time.sleep(0.1)
"""


@pytest.mark.parametrize("sleep", ["None", "time.sleep(0.01)"])
def test_python_ends_in_peace_while_daemon_threads_edit(sleep):
    program = AT_EXIT.replace("SLEEP", sleep)
    for _ in range(3):
        run = subprocess.run(
            [sys.executable, "-c", program], capture_output=True, check=False, timeout=60
        )
        assert (run.returncode, run.stderr) == (0, b"")


def test_nothing_is_kept():
    def everything():
        edited()
        edited(SITE.encode() * 2, refuse="return")
        refusal(SITE * 2)
        qeltemplate.explain(SITE, RENAME, {"name": ("a.example", "b.example")})
        qeltemplate.lint(RENAME + "{% if $x %}\n")
        qeltemplate.inspect(SITE + "}")
        with pytest.raises(TypeError):
            edited(SITE, IMPORTING, {"name": "a.example"}, imports=lambda *_: 7)
        # A request that its own importer refers to is a cycle, which Python finds.
        requests = []
        requests.append(qeltemplate.Request(IMPORTING, imports=lambda *_: requests[0] and ""))

    for _ in range(20):
        everything()
    gc.collect()
    tracemalloc.start()
    try:
        before = tracemalloc.take_snapshot()
        objects = len(gc.get_objects())
        for _ in range(200):
            everything()
        gc.collect()
        after = tracemalloc.take_snapshot()
        grown = sum(stat.size_diff for stat in after.compare_to(before, "filename"))
        # One object of each call would be 200 of them, at 56 bytes at the least.
        assert len(gc.get_objects()) - objects < 150
        assert grown < 100 * 56
    finally:
        tracemalloc.stop()


# --- What tools see ---


def test_the_help_is_worth_reading():
    text = pydoc.render_doc(qeltemplate, renderer=pydoc.plaintext)
    print(text)
    for part in (
        "Carries the request out on the text",
        "Edits the text config by a template and values",
        "Replaces what files hold, all of them or none",
        "message: What is wrong, without its place.",
    ):
        assert part in text
    for name in qeltemplate.__all__:
        if name not in ("__version__", "engine"):
            assert getattr(qeltemplate, name).__doc__, name
            assert getattr(qeltemplate, name).__module__ == "qeltemplate", name


def test_the_version_is_that_of_the_project():
    assert qeltemplate.__version__.count(".") == 2
