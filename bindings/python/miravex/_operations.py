"""One function per operation of the catalogue, made from its record."""

from __future__ import annotations

from collections.abc import Callable
from typing import Any

from . import _miravex
from ._given import arguments_of
from ._miravex import Operation
from ._signatures import docstring, signature
from .results import unpacked

_records = {record.function: record for record in _miravex.catalog()}

__all__ = ["catalog", *_records]


def catalog() -> tuple[Operation, ...]:
    """The record of every operation: names, arguments with their bounds, results, limits and examples."""
    return _miravex.catalog()


def _function(record: Operation) -> Callable[..., Any]:
    known = signature(record)

    def operation(*args: Any, **kwargs: Any) -> Any:
        values, colorspace, inplace = arguments_of(record, known, args, kwargs)
        return unpacked(*_miravex.call(record.name, values, colorspace, inplace))

    operation.__name__ = operation.__qualname__ = record.function
    operation.__module__ = "miravex"
    operation.__doc__ = docstring(record)
    operation.__signature__ = known  # type: ignore[attr-defined]
    return operation


def __getattr__(name: str) -> Any:
    """Makes a function when it is first asked for: all their docstrings take as long as the rest of the import."""
    if name not in _records:
        raise AttributeError(f"module {__name__!r} has no attribute {name!r}")
    made = globals()[name] = _function(_records[name])
    return made
