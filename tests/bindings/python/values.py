"""Arguments for any operation of the catalogue, made from its record alone."""

from __future__ import annotations

import os
from pathlib import Path
from typing import Any

import numpy as np

from miravex._miravex import Argument, Operation

ROWS, COLUMNS, FRAMES = 40, 56, 6
TYPES = {
    "bit": np.bool_,
    "byte": np.uint8,
    "bit16": np.uint16,
    "real32": np.float32,
    "real": np.float64,
}
NETWORK = Path(os.environ.get("MIRAVEX_TEST_DATA", "")) / "face-network"
FILES = {
    "cascade": Path("/usr/share/opencv4/haarcascades/haarcascade_frontalface_default.xml"),
    "description": NETWORK / "deploy.prototxt",
    "weights": NETWORK / "weights.caffemodel",
}


def write_film(path: Path) -> Path:
    """Eight frames of a bright box on its way over noise, as uncompressed video, and the film's place."""
    noise = np.random.default_rng(8).integers(0, 60, (12, 16), dtype=np.uint8)
    colourless = np.full((2, 6, 8), 128, np.uint8).tobytes()
    with path.open("wb") as film:
        film.write(b"YUV4MPEG2 W16 H12 F10:1 C420jpeg\n")
        for i in range(8):
            frame = noise.copy()
            frame[3:9, 1 + i : 7 + i] += 150
            film.write(b"FRAME\n" + frame.tobytes() + colourless)
    return path


def samples(shape: tuple[int, ...], type_name: str, seed: int = 7) -> np.ndarray:
    """A smooth picture with a bright box and some noise, so that there is something to find."""
    generator = np.random.default_rng(seed)
    first = 1 if len(shape) == 4 else 0
    rows, columns = shape[first : first + 2]
    down, across = np.meshgrid(np.linspace(0, 3, rows), np.linspace(0, 4, columns), indexing="ij")
    scene = 0.25 + 0.2 * np.sin(down) * np.cos(across)
    scene[rows // 4 : rows // 2, columns // 5 : columns // 2] = 0.9
    picture = np.zeros(shape) + (scene[..., None] if len(shape) > 2 else scene)
    picture += generator.normal(0, 0.03, shape)
    picture = picture.clip(0, 1)
    if type_name == "bit":
        return picture > 0.5
    kind = np.dtype(TYPES[type_name])
    if kind.kind == "u":
        return (picture * np.iinfo(kind).max).astype(kind)
    return picture.astype(kind)


def picture(argument: Argument, given: dict[str, Any], type_name: str = "", channels: int = 0) -> np.ndarray:
    type_name = type_name or (argument.pixel_types or ("byte",))[0]
    allowed = argument.channels or (1,)
    channels = channels or (1 if 1 in allowed else 3 if 3 in allowed else allowed[0])
    slices, rows, columns = argument.minimum_sizes
    size = (max(rows, ROWS), max(columns, COLUMNS))
    if argument.same_as in given:
        other = given[argument.same_as]
        first = 1 if other.ndim == 4 else 0
        size = other.shape[first : first + 2]
    if argument.rank == 3:
        return samples((max(slices, FRAMES), *size, channels), type_name)
    array = samples((*size, channels), type_name)
    return array if channels > 1 else np.ascontiguousarray(array[..., 0])


def extent(kind: str, count: int, of: str, given: dict[str, Any]) -> int:
    if kind == "exactly":
        return count
    if kind == "atLeast":
        return max(count, 4)
    other = given.get(of)
    if other is None:
        return 4
    if kind == "lengthOf":
        return int(np.size(other))
    if kind in ("firstOf", "secondOf"):
        return int(np.shape(other)[0 if kind == "firstOf" else 1])
    sequence = other.ndim == 4
    axis = {"slicesOf": 0, "rowsOf": 1, "columnsOf": 2, "channelsOf": 3}[kind] - (0 if sequence else 1)
    return other.shape[axis] if axis < other.ndim else 1


def tensor(argument: Argument, given: dict[str, Any]) -> np.ndarray:
    shape = [extent(*part, given) for part in argument.shape] or [0]
    low = argument.minimum_element[0] if argument.minimum_element else 0.0
    high = argument.maximum_element[0] if argument.maximum_element else low + 2
    inside = np.linspace(low, high, int(np.prod(shape)) + 2)[1:-1].reshape(shape)
    return inside if argument.kind == "reals" else np.ceil(inside).astype(np.int64)


def missing_file(record: Operation) -> str:
    """The first argument that names a file which is not at hand; empty when there is none."""
    for argument in record.arguments:
        if argument.is_path and not (argument.name in FILES and FILES[argument.name].exists()):
            return argument.name
    return ""


def usual(record: Operation) -> dict[str, Any]:
    """The arguments that have no default; all others are left to theirs."""
    given: dict[str, Any] = {}
    for argument in record.arguments:
        if argument.implied_by or argument.optional or argument.default is not None or argument.derived_default:
            continue
        if argument.kind == "image":
            given[argument.name] = picture(argument, given)
        elif argument.kind in ("reals", "integers"):
            given[argument.name] = tensor(argument, given)
        elif argument.kind == "array":
            given[argument.name] = np.zeros((2, 6, 7, 3), np.float32)
        elif argument.is_path:
            given[argument.name] = FILES.get(argument.name, "")
        elif argument.kind == "text":
            given[argument.name] = ""
    return given


def colour_spaces(record: Operation) -> dict[str, str]:
    return {
        argument.name: argument.color_spaces[0]
        for argument in record.arguments
        if argument.kind == "image" and argument.color_spaces
    }
