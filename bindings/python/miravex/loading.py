"""Image files as one array, ready for a network."""

from __future__ import annotations

import operator
import os
import sys
import time
from collections.abc import Callable, Iterable, Sequence
from dataclasses import dataclass, replace
from typing import TYPE_CHECKING, Any, Literal, Union

import numpy as np

from . import _miravex
from ._words import hint, plain

if TYPE_CHECKING:
    import numpy.typing as npt

    Array = npt.NDArray[Any]

Path = Union[str, bytes, "os.PathLike[str]", "os.PathLike[bytes]"]
Layout = Literal["channels_first", "channels_last"]
Colour = Literal["RGB", "XYZ", "LAB", "LUV", "Grayscale"]

#: Files between two moments at which an interrupt is noticed and progress is shown.
FILES_PER_CHUNK = 64


@dataclass(frozen=True)
class Batch:
    """How each file becomes a slot of the array."""

    height: int
    width: int
    layout: Layout
    colour: str
    mean: Array | None
    std: Array | None

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

    def by_plane(self) -> Batch:
        """The same with channels first."""
        mean, std = (
            array.transpose(2, 0, 1) if array is not None and array.ndim == 3 else array
            for array in (self.mean, self.std)
        )
        return replace(self, layout="channels_first", mean=mean, std=std)

    def options(self) -> _miravex.BatchOptions:
        """What the host is told; ``ValueError`` names what it does not accept."""
        if self.converts_by_plane:
            return self.by_plane().options()
        mean, std = ([] if array is None else array.ravel().tolist() for array in (self.mean, self.std))
        last = self.layout == "channels_last"
        return _miravex.BatchOptions(self.height, self.width, last, self.colour, mean, std, FILES_PER_CHUNK)


def _sides(size: Any) -> tuple[int, int]:
    try:
        height, width = (operator.index(side) for side in size)
    except (TypeError, ValueError):
        height, width = 0, 0
    if not (1 <= height < 2**31 and 1 <= width < 2**31):
        raise ValueError(f"size is {size!r}, expected (height, width), each at least 1 and less than 2**31")
    return height, width


def _numbers(name: str, value: npt.ArrayLike | None, slot: tuple[int, int, int], channels: int) -> Array | None:
    """A number, one number per channel or a whole slot."""
    if value is None:
        return None
    numbers: Array | None = None
    try:
        given = np.asarray(value)
        if given.dtype.kind in "buifO":  # words that read as numbers are none
            with np.errstate(over="ignore"):  # infinity is refused below
                numbers = given.astype(np.float32)
    except (TypeError, ValueError, OverflowError):
        pass
    if numbers is None or numbers.shape not in ((), (channels,), slot):
        raise ValueError(f"{name} is {value!r}, expected a number, {channels} numbers or an array of shape {slot}")
    return numbers


def batch_of(
    size: tuple[int, int],
    layout: Layout,
    colour: Colour,
    mean: npt.ArrayLike | None,
    std: npt.ArrayLike | None,
) -> Batch:
    """Checks what load_images was given."""
    height, width = _sides(size)
    layouts = ["channels_first", "channels_last"]
    if layout not in layouts:
        raise ValueError(f"layout is {layout!r}, expected one of {', '.join(layouts)}{hint(layout, layouts)}")
    bare = Batch(height, width, layout, plain(colour), None, None)
    channels = bare.options().channels
    batch = replace(
        bare,
        mean=_numbers("mean", mean, bare.slot, channels),
        std=_numbers("std", std, bare.slot, channels),
    )
    batch.options()
    return batch


def paths_of(paths: Path | Iterable[Path]) -> list[str]:
    """The files' names; one path alone is a list of one."""
    if isinstance(paths, (str, bytes, os.PathLike)):
        paths = [paths]
    try:
        names = [os.fsdecode(path) for path in paths]
    except TypeError as error:
        raise ValueError(f"paths holds something that is no path: {error}") from None
    for name in names:
        try:
            unusable = b"\0" in os.fsencode(name)
        except UnicodeEncodeError:
            unusable = True
        if unusable:
            raise ValueError(f"paths holds {name!r}, which no file can be named")
    return names


def load_into(
    array: Array, names: Sequence[str], batch: Batch, progress: Callable[[int], None] | None = None
) -> list[int]:
    """Loads the files into the slots of an array and gives the positions that failed."""
    if not batch.converts_by_plane:
        encoded = [os.fsencode(name) for name in names]
        failed = _miravex.load_batch(encoded, batch.options(), array, progress)
        return [position for position, _ in failed]
    turned = batch.by_plane()
    positions: list[int] = []
    for first in range(0, len(names), FILES_PER_CHUNK):
        chunk = names[first : first + FILES_PER_CHUNK]
        planes = np.empty((len(chunk), *turned.slot), dtype=np.float32)
        positions += [first + position for position in load_into(planes, chunk, turned)]
        array[first : first + len(chunk)] = planes.transpose(0, 2, 3, 1)
        if progress:
            progress(first + len(chunk))
    return positions


class _Progress:
    """A line on the terminal that says how far a batch has come: of tqdm where that is installed."""

    def __init__(self, total: int, wanted: bool) -> None:
        self._total = total
        self._shown = wanted and total > FILES_PER_CHUNK and sys.stderr is not None and sys.stderr.isatty()
        self._start = time.perf_counter()
        self._bar: Any = None
        if self._shown:
            try:
                from tqdm import tqdm
            except ImportError:
                return
            self._bar = tqdm(total=total, unit=" files")

    def at(self, done: int) -> None:
        if not self._shown:
            return
        if self._bar is not None:
            self._bar.update(done - self._bar.n)
            return
        rate = done / max(time.perf_counter() - self._start, 1e-9)
        width = 30
        bar = "#" * (width * done // self._total)
        sys.stderr.write(f"\r[{bar:<{width}}] {done} of {self._total} files, {rate:.0f} per second ")
        sys.stderr.flush()

    def close(self) -> None:
        if self._bar is not None:
            self._bar.close()
        elif self._shown:
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
    positions, from 0, of files that failed: those that could not be read, in whose places stands random
    noise, and those that end too early, of which there is what could be read. Progress is shown on a
    terminal.
    """
    names = paths_of(paths)
    batch = batch_of(size, layout, colour, mean, std)
    array = np.empty((len(names), *batch.slot), dtype=np.float32)
    bar = _Progress(len(names), progress)
    try:
        failed = load_into(array, names, batch, bar.at)
    finally:
        bar.close()
    return array, failed
