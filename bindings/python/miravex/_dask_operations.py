"""One function per operation, as in _operations.py, on arrays of Dask."""

from __future__ import annotations

from typing import Any

from . import _miravex
from ._dask_calls import function_of

_records = {record.function: record for record in _miravex.catalog()}

__all__ = list(_records)


def __getattr__(name: str) -> Any:
    """Makes a function when it is first asked for."""
    if name not in _records:
        raise AttributeError(f"module {__name__!r} has no attribute {name!r}")
    made = globals()[name] = function_of(_records[name])
    return made
