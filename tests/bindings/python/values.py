"""Arguments for any operation of the catalogue, drawn from its record as the C++ tests draw them."""

from __future__ import annotations

import functools
import json
import os
import subprocess
from pathlib import Path
from typing import Any

import numpy as np
import pytest

from miravex._miravex import Argument, Operation

TYPES = {
    "bit": np.bool_,
    "byte": np.uint8,
    "bit16": np.uint16,
    "real32": np.float32,
    "real": np.float64,
}


@functools.cache
def facts() -> subprocess.Popen[str]:
    """The program that knows; the files that its calls name are there as long as it is."""
    program = Path(os.environ["MIRAVEX_BUILD"]) / "bin/catalog_facts"
    return subprocess.Popen([program, "calls"], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)


@functools.cache
def calls() -> dict[str, Any]:
    output = facts().stdout
    assert output
    return json.loads(output.readline())


def usual(record: Operation) -> dict[str, Any]:
    """The arguments that have no default; all others are left to theirs. Skips the test where files are missing."""
    given = calls()[record.function]
    if given is None:
        pytest.skip("a file that the operation reads is missing")
    return {
        name: np.array(value["samples"], value["type"]).reshape(value["shape"]) if isinstance(value, dict) else value
        for name, value in given.items()
    }


def picture_like(array: np.ndarray, argument: Argument, type_name: str = "", channels: int = 0) -> np.ndarray:
    """A flat picture of the same size for the same argument, of another type or with other channels."""
    sequence = argument.rank == 3
    plain = array.ndim == (3 if sequence else 2)
    size = array.shape if plain else array.shape[:-1]
    channels = channels or (1 if plain else array.shape[-1])
    kind = TYPES[type_name] if type_name else array.dtype
    return np.ones(size if channels == 1 and not sequence else (*size, channels), kind)


def colour_spaces(record: Operation) -> dict[str, str]:
    return {
        argument.name: argument.color_spaces[0]
        for argument in record.arguments
        if argument.kind == "image" and argument.color_spaces
    }
