"""What a call was given, by the names of its operation's record."""

from __future__ import annotations

import inspect
from collections.abc import Mapping
from typing import Any

import numpy as np

from ._miravex import Argument, Operation
from ._signatures import COLORSPACE, INPLACE, parameter_name, shown
from ._words import hint


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
