"""Writes _operations.pyi, the type stubs of the generated functions: python -m miravex._stubs [FILE]."""

from __future__ import annotations

import inspect
import sys
from pathlib import Path

from . import results
from ._miravex import Operation, catalog
from ._signatures import sentence, signature

_HEADER = '''\
"""Type stubs of the generated functions. Written by python -m miravex._stubs; not edited by hand."""

import os
from collections.abc import Mapping
from typing import Any, Literal

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


def _parameter(parameter: inspect.Parameter) -> str:
    text = f"{parameter.name}: {parameter.annotation}"
    return text if parameter.default is inspect.Parameter.empty else f"{text} = {parameter.default!r}"


def _stub(record: Operation) -> str:
    known = signature(record)
    lines = []
    for name, parameter in known.parameters.items():
        if parameter.kind is inspect.Parameter.KEYWORD_ONLY and "    *," not in lines:
            lines.append("    *,")
        lines.append(f"    {_parameter(parameter)},")
    body = "\n".join(lines)
    summary = sentence(record.summary)
    return f'def {record.function}(\n{body}\n) -> {known.return_annotation}:\n    """{summary}"""\n'


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


def main() -> None:
    if len(sys.argv) > 1:
        Path(sys.argv[1]).write_text(stubs(), encoding="utf-8")
    else:
        sys.stdout.write(stubs())


if __name__ == "__main__":
    main()
