# SPDX-License-Identifier: Apache-2.0

"""From configurations to their templates."""

import pytest

import qeltemplate

SITE = "server {\n    server_name a.example;\n    root /srv/a.example;\n    gzip on;\n}\n"


def test_adopts_a_site():
    adopted = qeltemplate.adopt(SITE)
    assert adopted == qeltemplate.Adopted(
        "server {\n\tserver_name {% $name %};\n\troot /srv/{% $name %};\n\tgzip on;\n}\n",
        {"name": ("a.example", "a.example")},
        dialect="nginx",
    )
    assert qeltemplate.edit(SITE, adopted.template, adopted.values).text == SITE
    renamed = {**adopted.values, "name": ("a.example", "b.example")}
    edited = qeltemplate.edit(SITE, adopted.template, renamed).text
    assert edited == SITE.replace("a.example", "b.example")


def test_takes_options():
    adopted = qeltemplate.adopt(
        SITE.encode(),
        dialect="nginx",
        site=":2",
        values={"compression": "on"},
        managed=["gzip"],
        comment=True,
    )
    assert adopted.template == (
        b"{#} A server of the site, found by its names and its addresses.\nserver {\n"
        b"\t{#} name is now a.example\n\tserver_name {% $name %};\n"
        b"\t{#} compression is now on\n\tgzip {% $compression %};\n}\n"
    )
    assert adopted.values == {"compression": ("on", "on"), "name": ("a.example", "a.example")}


def test_says_what_is_left_out():
    config = "server {\n    server_name a.example;\n    root /srv/a;\n    root /srv/b;\n}\n"
    (finding,) = qeltemplate.adopt(config, name="site.conf").left_out
    assert (finding.name, str(finding.config_places[0])) == ("left-out", "site.conf:4:5")


def test_raises_where_there_is_no_template():
    with pytest.raises(qeltemplate.NotAdopted, match="there is no site 'b.example'") as caught:
        qeltemplate.adopt(SITE, site="b.example")
    assert [finding.name for finding in caught.value.findings] == ["site"]
    adopted = qeltemplate.adopt(SITE, site="b.example", refuse="return")
    assert (adopted.template, adopted.refusals) == ("", caught.value.findings)


def test_leads_from_one_configuration_to_another():
    after = SITE.replace("gzip on", "gzip off")
    adopted = qeltemplate.adopt(SITE, after, name="old.conf", after_name="new.conf")
    assert adopted.values == {"gzip": ("on", "off")}
    assert qeltemplate.edit(SITE, adopted.template, adopted.values).text == after
    back = {name: (new, old) for name, (old, new) in adopted.values.items()}
    assert qeltemplate.edit(after, adopted.template, back).text == SITE
    with pytest.raises(qeltemplate.NotAdopted, match="do not differ"):
        qeltemplate.adopt(SITE, SITE)


def test_finds_what_sites_have_in_common():
    other = SITE.replace("a.example", "b.example").replace("gzip on;", "gzip on;\n    expires 1d;")
    configs = {"a.conf": SITE, "b.conf": other}
    common = qeltemplate.adopt_common(configs)
    assert list(common.sites) == ["a.conf", "b.conf"]
    for name, site in common.sites.items():
        assert site.shares and site.lacking == ()
        assert qeltemplate.edit(configs[name], common.template, site.values).text == configs[name]
    (beyond,) = common.sites["b.conf"].beyond
    assert (beyond.message, str(beyond.config_places[0])) == ("'expires 1d;'", "b.conf:5:5")
    with pytest.raises(qeltemplate.NotAdopted, match="more than half"):
        qeltemplate.adopt_common({"a": "user a;\n", "b": "worker_processes 1;\n"}, dialect="nginx")


@pytest.mark.parametrize(
    "call, message",
    [
        (lambda: qeltemplate.adopt(7), "config must be str or bytes, not int"),
        (lambda: qeltemplate.adopt("", 7), "after must be str or bytes, not int"),
        (lambda: qeltemplate.adopt("", values=["a"]), "values must be a mapping, not list"),
        (lambda: qeltemplate.adopt("", values={"a": 1}), "the value 'a' must be str or bytes"),
        (lambda: qeltemplate.adopt("", managed="root"), "not a single str"),
        (lambda: qeltemplate.adopt_common([SITE]), "configs must be a mapping, not list"),
    ],
)
def test_says_which_argument_is_wrong(call, message):
    with pytest.raises(TypeError, match=message):
        call()
