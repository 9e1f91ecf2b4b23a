"""Checks of arguments that say in Python's words what is wrong."""

from __future__ import annotations

import difflib
import operator
import reprlib
from typing import Any, Iterable, Mapping

from ._library import BadSelector


def did_you_mean(word: str, words: Iterable[str]) -> str:
    """The end of an error about an unknown word: the nearest known one, and all of them."""
    known = list(words)
    near = difflib.get_close_matches(word, known, 1)
    return (f"did you mean {near[0]!r}? " if near else "") + (
        f"must be {known[0]!r}" if len(known) == 1 else
        f"must be one of {', '.join(map(repr, known))}")


def choose(what: str, name: Any, values: Mapping[str, int]) -> int:
    """The value of a name."""
    if not isinstance(name, str):
        raise TypeError(f"{what}={reprlib.repr(name)}: {did_you_mean('', values)}")
    if name not in values:
        raise BadSelector(f"{what}={reprlib.repr(name)}: {did_you_mean(name, values)}")
    return values[name]


def int32(what: str, value: Any) -> int:
    """The value, which C would cut to 32 bits without a word."""
    try:
        number = operator.index(value)
    except TypeError:
        raise TypeError(f"{what}={reprlib.repr(value)}: must be an integer") from None
    if not -(2**31) <= number < 2**31:
        raise ValueError(f"{what}={reprlib.repr(value)}: must be an integer of 32 bits")
    return number


def real(what: str, value: Any) -> float:
    """The value as a float."""
    if not hasattr(value, "__float__") and not hasattr(value, "__index__"):
        raise TypeError(f"{what}={reprlib.repr(value)}: must be a number")
    return float(value)
