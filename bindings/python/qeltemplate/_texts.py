# SPDX-License-Identifier: Apache-2.0

"""What callers give, looked over: messages name types and never show a whole text."""

import os
from typing import Any, Iterable, List, Mapping, Optional, Tuple, Union

Text = Union[str, bytes]
"""UTF-8 as str, with surrogates for other bytes as "surrogateescape" makes them, or bytes."""

Path = Union[str, bytes, "os.PathLike[str]", "os.PathLike[bytes]"]

Value = Union[
    Text, None, Mapping[str, Union[Text, None, bool]], Tuple[Optional[Text], Optional[Text]]
]
"""New; {"old": ..., "new": ..., "read_old": ...}, each of which may be left out; (old, new); or None:
no value."""

# The names are str or bytes: a type that says so would not take a dictionary of str alone.
Values = Mapping[Any, Value]

NamedValue = Tuple[Text, Optional[Text], Optional[Text], bool]
"""A name, the old value, the new one, and whether the configuration says the old one itself."""


def type_name(value: object) -> str:
    return type(value).__name__


def checked_text(what: str, text: object) -> Any:
    """`text` if it is one."""
    if isinstance(text, (str, bytes)):
        return text
    raise TypeError(f"{what} must be str or bytes, not {type_name(text)}")


def checked_value(name: str, value: object) -> Optional[Text]:
    if value is None or isinstance(value, (str, bytes)):
        return value
    raise TypeError(f"the value {name!r} must be str, bytes or None, not {type_name(value)}")


def checked_truth(name: str, value: object) -> bool:
    if isinstance(value, bool):
        return value
    raise TypeError(f'"read_old" of the value {name!r} must be bool, not {type_name(value)}')


def old_and_new(name: str, value: object) -> Tuple[Optional[Text], Optional[Text], bool]:
    read_old = False
    if isinstance(value, Mapping):
        unknown = [key for key in value if key not in ("old", "new", "read_old")]
        if unknown:
            raise ValueError(
                f'the value {name!r} may have "old", "new" and "read_old", not {unknown[0]!r}'
            )
        old, new = value.get("old"), value.get("new")
        read_old = checked_truth(name, value.get("read_old", False))
    elif isinstance(value, tuple):
        if len(value) != 2:
            raise ValueError(f"the value {name!r} must be (old, new), not {len(value)} values")
        old, new = value
    elif value is None or isinstance(value, (str, bytes)):
        old, new = None, value
    else:
        raise TypeError(
            f"the value {name!r} must be str, bytes, None, a mapping or (old, new), "
            f"not {type_name(value)}"
        )
    return checked_value(name, old), checked_value(name, new), read_old


def named_values(values: object) -> List[NamedValue]:
    if not isinstance(values, Mapping):
        raise TypeError(f"values must be a mapping, not {type_name(values)}")
    named: List[NamedValue] = []
    for name, value in values.items():
        named.append((checked_text("a value's name", name), *old_and_new(name, value)))
    return named


def names(what: str, given: Iterable[Text]) -> List[Text]:
    """The names in `given`, which is no single one by mistake."""
    if isinstance(given, (str, bytes)):
        raise TypeError(f"{what} must be a collection of names, not a single {type_name(given)}")
    return [checked_text(f"a name in {what}", name) for name in given]


def one_of(what: str, given: object, known: Tuple[str, ...]) -> str:
    if isinstance(given, str) and given in known:
        return given
    raise ValueError(f"{what} must be one of {', '.join(map(repr, known))}, not {given!r}")


def name_of_text(what: str, name: object, otherwise: str) -> Text:
    """How messages call a text."""
    if name is None:
        return otherwise
    if isinstance(name, (str, bytes)):
        return name
    if isinstance(name, os.PathLike):
        path: Text = os.fspath(name)
        return path
    raise TypeError(f"{what} must be str, bytes or a path, not {type_name(name)}")


def checked_dialect(dialect: object) -> Optional[str]:
    if dialect is None or isinstance(dialect, str):
        return dialect
    raise TypeError(f"dialect must be str or None, not {type_name(dialect)}")


def shown(text: str) -> str:
    """`text` as it can be printed: "\\xe9" for a byte that was no UTF-8."""
    if text.isascii():
        return text
    return text.encode("utf-8", "surrogateescape").decode("utf-8", "backslashreplace")
