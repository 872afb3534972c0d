# SPDX-License-Identifier: Apache-2.0

"""From configurations to their templates."""

from typing import Any, AnyStr, Dict, Iterable, List, Mapping, Optional, Tuple

from . import _qeltemplate
from ._errors import NotAdopted
from ._results import Adopted, Common, CommonSite, findings_of
from ._texts import (
    Path,
    Text,
    checked_dialect,
    checked_text,
    name_of_text,
    names,
    one_of,
    type_name,
)


def _named_texts(values: object) -> List[Tuple[Text, Text]]:
    if not isinstance(values, Mapping):
        raise TypeError(f"values must be a mapping, not {type_name(values)}")
    return [
        (checked_text("a value's name", name), checked_text(f"the value {name!r}", text))
        for name, text in values.items()
    ]


def adopt(
    config: AnyStr,
    after: Optional[AnyStr] = None,
    *,
    dialect: Optional[str] = None,
    name: Optional[Path] = None,
    after_name: Optional[Path] = None,
    site: Text = "",
    values: Mapping[Any, Text] = {},
    managed: Iterable[Text] = (),
    comment: bool = False,
    refuse: str = "raise",
) -> Adopted[AnyStr]:
    """The template of a site in config, and its values: an edit with them changes nothing.

    With another text for a value, an edit changes each line that the value stands in, and nothing
    else. Where there is no template, NotAdopted is raised, or with refuse="return" the result has
    refusals.

    after: A second configuration: the template leads from config to it, and with old and new texts
        swapped back.
    name, after_name: How messages call the two.
    site: Which of several: a name, an address ("127.0.0.1:443") or a line (":12").
    values: Texts that become values wherever they stand, by the values' names.
    managed: The directives and blocks that the template is for; none: all.
    comment: Say in the template what its lines are.
    """
    one_of("refuse", refuse, ("raise", "return"))
    checked_text("config", config)
    if after is not None:
        checked_text("after", after)
    template, texts, left_out, refusals, read_as = _qeltemplate.adopt(
        config,
        name_of_text("name", name, "config"),
        after,
        name_of_text("after_name", after_name, "after"),
        checked_dialect(dialect),
        (checked_text("site", site), _named_texts(values), names("managed", managed), bool(comment)),
    )
    adopted: Adopted[AnyStr] = Adopted(
        template, texts, findings_of(left_out), findings_of(refusals), read_as
    )
    if adopted.refusals and refuse == "raise":
        raise NotAdopted(adopted.refusals)
    return adopted


def adopt_common(
    configs: Mapping[Any, AnyStr],
    *,
    dialect: Optional[str] = None,
    values: Mapping[Any, Text] = {},
    managed: Iterable[Text] = (),
    comment: bool = False,
    refuse: str = "raise",
) -> Common[AnyStr]:
    """The template that most of many sites share, with the values of each.

    configs: One site each, by the names that messages call them. The rest is as for adopt().
    """
    one_of("refuse", refuse, ("raise", "return"))
    if not isinstance(configs, Mapping):
        raise TypeError(f"configs must be a mapping, not {type_name(configs)}")
    if not configs:
        raise ValueError("configs must have at least one site")
    sites = [
        (name_of_text("a config's name", name, ""), checked_text(f"the config {name!r}", text))
        for name, text in configs.items()
    ]
    template, judged, refusals, read_as = _qeltemplate.adopt_common(
        sites,
        checked_dialect(dialect),
        ("", _named_texts(values), names("managed", managed), bool(comment)),
    )
    by_name: Dict[Any, CommonSite] = {
        name: CommonSite(texts, shares, findings_of(beyond), findings_of(lacking))
        for name, (texts, shares, beyond, lacking) in zip(configs, judged)
    }
    common: Common[AnyStr] = Common(template, by_name, findings_of(refusals), read_as)
    if common.refusals and refuse == "raise":
        raise NotAdopted(common.refusals)
    return common


for _public in (adopt, adopt_common):
    _public.__module__ = "qeltemplate"
del _public
