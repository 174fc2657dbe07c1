"""Image files as one array, ready for a network."""

from __future__ import annotations

import operator
import os
import sys
import time
from collections.abc import Iterable, Sequence
from dataclasses import dataclass
from typing import Any, Literal, Union

import numpy as np
import numpy.typing as npt

from . import _miravex

Path = Union[str, bytes, "os.PathLike[str]", "os.PathLike[bytes]"]
Layout = Literal["channels_first", "channels_last"]
Colour = Literal["RGB", "XYZ", "LAB", "LUV", "Grayscale"]
Array = npt.NDArray[Any]

COLOURS = ("RGB", "XYZ", "LAB", "LUV", "Grayscale")

#: Files per call of the library: between two calls an interrupt is noticed and progress is shown.
FILES_PER_CALL = 64


@dataclass(frozen=True)
class Batch:
    """How each file becomes a slot of the array."""

    height: int
    width: int
    layout: Layout
    colour: Colour
    mean: Array | None
    reciprocal: Array | None

    @property
    def slot(self) -> tuple[int, int, int]:
        channels = 1 if self.colour == "Grayscale" else 3
        if self.layout == "channels_first":
            return (channels, self.height, self.width)
        return (self.height, self.width, channels)

    @property
    def converts_by_plane(self) -> bool:
        """The library converts to these colours with channels first alone, and swaps to RGB in both."""
        return self.layout == "channels_last" and self.colour in ("XYZ", "LAB", "LUV")


def _choice(name: str, value: object, choices: Sequence[str]) -> None:
    if value in choices:
        return
    near = _miravex.closest(str(value), list(choices))
    hint = f" (try {near[0]})" if near else ""
    raise ValueError(f"{name} is {value!r}, expected one of {', '.join(choices)}{hint}")


def _sides(size: Any) -> tuple[int, int]:
    try:
        height, width = (operator.index(side) for side in size)
    except (TypeError, ValueError):
        height, width = 0, 0
    if height < 1 or width < 1:
        raise ValueError(f"size is {size!r}, expected (height, width), each at least 1")
    return height, width


def _slot_image(name: str, value: npt.ArrayLike | None, slot: tuple[int, int, int], first: bool) -> Array | None:
    """A number, one number per channel or a whole slot, as a slot of doubles."""
    if value is None:
        return None
    try:
        array = np.asarray(value, dtype=np.float64)
    except (TypeError, ValueError):
        array = np.zeros((0, 0))
    channels = slot[0] if first else slot[2]
    if array.shape == (channels,):
        array = array[:, None, None] if first else array
    elif array.shape not in ((), slot):
        raise ValueError(f"{name} is {value!r}, expected a number, {channels} numbers or an array of shape {slot}")
    return np.broadcast_to(array, slot)


def batch_of(
    size: tuple[int, int],
    layout: Layout,
    colour: Colour,
    mean: npt.ArrayLike | None,
    std: npt.ArrayLike | None,
) -> Batch:
    """Checks what load_images was given."""
    height, width = _sides(size)
    _choice("layout", layout, ("channels_first", "channels_last"))
    _choice("colour", colour, COLOURS)
    bare = Batch(height, width, layout, colour, None, None)
    first = layout == "channels_first"
    means = _slot_image("mean", mean, bare.slot, first)
    deviations = _slot_image("std", std, bare.slot, first)
    if deviations is not None and not np.all(deviations != 0):
        raise ValueError(f"std is {std!r}, expected numbers other than 0")
    reciprocal = None if deviations is None else np.ascontiguousarray(1 / deviations, dtype=np.float32)
    return Batch(
        height,
        width,
        layout,
        colour,
        None if means is None else np.ascontiguousarray(means, dtype=np.float32),
        reciprocal,
    )


def paths_of(paths: Path | Iterable[Path]) -> list[str]:
    """The files' names; one path alone is a list of one."""
    if isinstance(paths, (str, bytes, os.PathLike)):
        paths = [paths]
    try:
        names = [os.fsdecode(path) for path in paths]
    except TypeError as error:
        raise ValueError(f"paths holds something that is no path: {error}") from None
    for name in names:
        if "\0" in name:
            raise ValueError(f"paths holds {name!r}, which has a null character")
    return names


def load_into(array: Array, names: Sequence[str], batch: Batch) -> list[int]:
    """Loads the files into the first slots of an array, in one call, and gives the positions that failed."""
    if batch.converts_by_plane:
        planes = np.empty((len(names), 3, batch.height, batch.width), dtype=np.float32)
        turned = Batch(
            batch.height,
            batch.width,
            "channels_first",
            batch.colour,
            None if batch.mean is None else np.ascontiguousarray(batch.mean.transpose(2, 0, 1)),
            None if batch.reciprocal is None else np.ascontiguousarray(batch.reciprocal.transpose(2, 0, 1)),
        )
        failed = load_into(planes, names, turned)
        array[: len(names)] = planes.transpose(0, 2, 3, 1)
        return failed
    if not names:
        return []
    encoded = [os.fsencode(name) for name in names]
    last = batch.layout == "channels_last"
    arguments = {
        "destination": array[: len(names)],
        "paths": os.fsdecode(b"".join(encoded)),
        "lengths": np.array([len(name) for name in encoded], dtype=np.int64),
        "color_space": batch.colour,
        "mean": batch.mean,
        "rstddev": batch.reciprocal,
        "channels_last": int(last),
    }
    positions, _ = _miravex.call("LoadImagesFromPathInto", arguments)
    return [int(position) - 1 for position in positions]


class _Progress:
    """A line on the terminal that says how far a batch has come."""

    def __init__(self, total: int, wanted: bool) -> None:
        self._total = total
        self._shown = wanted and total > FILES_PER_CALL and sys.stderr.isatty()
        self._start = time.perf_counter()

    def at(self, done: int) -> None:
        if not self._shown:
            return
        rate = done / max(time.perf_counter() - self._start, 1e-9)
        width = 30
        bar = "#" * (width * done // self._total)
        sys.stderr.write(f"\r[{bar:<{width}}] {done} of {self._total} files, {rate:.0f} per second ")
        sys.stderr.flush()

    def close(self) -> None:
        if self._shown:
            sys.stderr.write("\n")


def load_images(
    paths: Path | Iterable[Path],
    size: tuple[int, int] = (224, 224),
    layout: Layout = "channels_first",
    colour: Colour = "RGB",
    mean: npt.ArrayLike | None = None,
    std: npt.ArrayLike | None = None,
    progress: bool = True,
) -> tuple[Array, list[int]]:
    """Loads image files into one float32 array, in parallel.

    Every picture is resized to ``size`` (height, width) and scaled to the range 0 to 1; then ``mean`` is
    subtracted and the difference divided by ``std``. Both are numbers, one number per channel, or arrays of
    a picture's shape.

    The result has the shape (files, channels, height, width), or (files, height, width, channels) for the
    layout "channels_last"; "Grayscale" has one channel, the other colours three. It comes with the list of
    positions, from 0, of files that could not be read; their pictures are random noise. Progress is shown
    on a terminal.
    """
    names = paths_of(paths)
    batch = batch_of(size, layout, colour, mean, std)
    array = np.empty((len(names), *batch.slot), dtype=np.float32)
    failed: list[int] = []
    bar = _Progress(len(names), progress)
    try:
        for first in range(0, len(names), FILES_PER_CALL):
            chunk = names[first : first + FILES_PER_CALL]
            failed += [first + position for position in load_into(array[first:], chunk, batch)]
            bar.at(first + len(chunk))
    finally:
        bar.close()
    return array, failed
