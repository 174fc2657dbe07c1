"""Writes _operations.pyi and _dask_operations.pyi, the type stubs of the generated functions, into a folder:
python -m miravex._stubs FOLDER."""

from __future__ import annotations

import inspect
import sys
from pathlib import Path

from . import results
from ._miravex import Operation, Result, catalog
from ._signatures import parameter_name, result_type, sentence, signature

_HEADER = '''\
"""Type stubs of the generated functions. Written by python -m miravex._stubs; not edited by hand."""

import os
from collections.abc import Mapping
from typing import Any, Literal, overload

import numpy.typing as npt
from numpy.typing import ArrayLike

from ._miravex import Operation
from .results import {names}

Array = npt.NDArray[Any]
Image = npt.NDArray[Any]
Path = str | bytes | os.PathLike[str] | os.PathLike[bytes]
ColorSpace = Literal["gray", "RGB", "unspecified"] | int

__all__ = {exports}

def catalog() -> tuple[Operation, ...]: ...
'''

_LAZY_HEADER = '''\
"""Type stubs of the generated functions on Dask. Written by python -m miravex._stubs; not edited by hand."""

import os
from collections.abc import Mapping
from typing import Any, Literal

#: Dask says little about its types: pictures and lists are its arrays, NumPy's, or lists of delayed values, and
#: results an array, a delayed value, or for a stack a list of them.
Image = Any
Array = Any
ArrayLike = Any
Path = str | bytes | os.PathLike[str] | os.PathLike[bytes]
ColorSpace = Literal["gray", "RGB", "unspecified"] | int

__all__ = {exports}
'''


def _parameter(parameter: inspect.Parameter) -> str:
    text = f"{parameter.name}: {parameter.annotation}"
    return text if parameter.default is inspect.Parameter.empty else f"{text} = {parameter.default!r}"


def _definition(record: Operation, known: inspect.Signature, documented: bool) -> str:
    lines = []
    for parameter in known.parameters.values():
        if parameter.kind is inspect.Parameter.KEYWORD_ONLY and "    *," not in lines:
            lines.append("    *,")
        lines.append(f"    {_parameter(parameter)},")
    body = "\n".join(lines)
    text = f'\n    """{sentence(record.summary)}"""' if documented else " ..."
    return f"def {record.function}(\n{body}\n) -> {known.return_annotation}:{text}\n"


def _overload(record: Operation, result: Result) -> str:
    """The call that gives this result: the argument that chooses it has one value."""
    assert result.when
    name, word = result.when
    argument = next(argument for argument in record.arguments if argument.name == name)
    value = {"true": True, "false": False}[word] if argument.kind == "boolean" else word
    parameters = []
    for parameter in signature(record).parameters.values():
        if parameter.name == parameter_name(argument):
            literal = f'"{value}"' if isinstance(value, str) else repr(value)
            default = parameter.default if parameter.default == value else inspect.Parameter.empty
            parameter = parameter.replace(annotation=f"Literal[{literal}]", default=default)
        parameters.append(parameter)
    if argument.default != value:  # no default any more, behind others that have one: by name only
        parameters = [
            parameter
            if parameter.default is inspect.Parameter.empty and parameter.name != parameter_name(argument)
            else parameter.replace(kind=inspect.Parameter.KEYWORD_ONLY)
            for parameter in parameters
        ]
    known = inspect.Signature(parameters, return_annotation=result_type(result))
    return "@overload\n" + _definition(record, known, documented=False)


def _stub(record: Operation) -> str:
    known = signature(record)
    choices = [result for result in record.results if result.when and result_type(result) != known.return_annotation]
    if not choices:
        return _definition(record, known, documented=True)
    overloads = [_overload(record, result) for result in choices]
    return "".join([*overloads, "@overload\n" + _definition(record, known, documented=True)])


def stubs() -> str:
    """The text of _operations.pyi."""
    records = catalog()
    used = " ".join(str(signature(record).return_annotation) for record in records).split()
    names = sorted(set(results.TYPES.values()) & set(used))
    exports = ["catalog", *(record.function for record in records)]
    listed = "[\n" + "".join(f'    "{name}",\n' for name in exports) + "]"
    header = _HEADER.format(names=", ".join(names), exports=listed)
    if not names:
        header = header.replace("from .results import \n", "")
    return header + "\n" + "\n".join(_stub(record) for record in records)


def lazy_stubs() -> str:
    """The text of _dask_operations.pyi."""
    from ._dask_calls import STACK

    records = catalog()
    listed = "[\n" + "".join(f'    "{record.function}",\n' for record in records) + "]"
    definitions = []
    for record in records:
        known = signature(record)
        parameters = [*known.parameters.values(), STACK]
        lazy = inspect.Signature(parameters, return_annotation="Any")
        definitions.append(_definition(record, lazy, documented=True))
    return _LAZY_HEADER.format(exports=listed) + "\n" + "\n".join(definitions)


def main() -> None:
    folder = Path(sys.argv[1])
    (folder / "_operations.pyi").write_text(stubs(), encoding="utf-8")
    (folder / "_dask_operations.pyi").write_text(lazy_stubs(), encoding="utf-8")


if __name__ == "__main__":
    main()
