"""One function per operation of the catalogue, made from its record."""

from __future__ import annotations

import inspect
from collections.abc import Callable, Mapping
from typing import Any

import numpy as np

from . import _miravex
from ._miravex import Argument, Operation
from ._signatures import COLORSPACE, INPLACE, docstring, parameter_name, shown, signature
from ._words import hint
from .results import unpacked

_records = {record.function: record for record in _miravex.catalog()}

__all__ = ["catalog", *_records]


def catalog() -> tuple[Operation, ...]:
    """The record of every operation: names, arguments with their bounds, results, limits and examples."""
    return _miravex.catalog()


def _check_names(record: Operation, known: inspect.Signature, given: dict[str, Any]) -> None:
    """Python's own error for an unknown argument, with the name that may have been meant."""
    for name in given:
        if name not in known.parameters:
            meant = hint(name, list(known.parameters))
            raise TypeError(f"{record.function}() got an unexpected keyword argument {name!r}{meant}")


def _colour_spaces(record: Operation, given: Any) -> Any:
    """Those by argument as a dictionary; a name of no image would go unnoticed."""
    if not isinstance(given, Mapping):
        return given
    images = [argument.name for argument in record.arguments if argument.kind == "image"]
    for name in given:
        if name not in images:
            expected = f"expected one of {', '.join(images)}{hint(name, images)}"
            raise ValueError(f"{record.function}: colorspace names the argument {name!r}, {expected}")
    return dict(given)


def _flag(record: Operation, name: str, given: Any) -> bool:
    if not isinstance(given, (bool, np.bool_)):
        raise ValueError(f"{record.function}: {name} is {given!r}, expected True or False")
    return bool(given)


def _fitted(argument: Argument, value: Any) -> Any:
    """Flattens what the library takes as a flat list of known length, such as a response curve of 256 x 3."""
    if argument.kind not in ("reals", "integers") or len(argument.shape) != 1:
        return value
    kind, count, _ = argument.shape[0]
    if kind == "exactly" and isinstance(value, np.ndarray) and value.ndim > 1 and value.size == count:
        return value.reshape(-1)
    return value


def arguments_of(
    record: Operation, known: inspect.Signature, args: tuple[Any, ...], kwargs: dict[str, Any]
) -> tuple[dict[str, Any], Any, bool]:
    """What a call was given: values by argument, colour spaces, and whether arrays may be rewritten."""
    _check_names(record, known, kwargs)
    given = known.bind(*args, **kwargs).arguments
    colorspace = _colour_spaces(record, given.pop(COLORSPACE.name, None))
    inplace = _flag(record, INPLACE.name, given.pop(INPLACE.name, False))
    arguments = {parameter_name(argument): argument for argument in shown(record)}
    return {arguments[name].name: _fitted(arguments[name], value) for name, value in given.items()}, colorspace, inplace


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
