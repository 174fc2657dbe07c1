"""Words that callers gave, on their way into messages."""

from __future__ import annotations

from collections.abc import Sequence

from . import _miravex


def plain(word: object) -> str:
    """A word as text that UTF-8 can hold, which Python's own need not be."""
    return str(word).encode("utf-8", "replace").decode("utf-8")


def hint(word: object, candidates: Sequence[str]) -> str:
    """The candidate that a word may have been meant for, in brackets; empty when none is near."""
    near = _miravex.closest(plain(word), candidates)
    return f" (try {near[0]})" if near else ""
