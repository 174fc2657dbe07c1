"""The operations on arrays of Dask, and batch loading beyond one machine.

Dask's scheduler distributes the work, on the threads of this process or on the workers of a
``dask.distributed`` cluster; files must be readable under the same names on every worker. ::

    from distributed import Client
    import dask, miravex.dask

    client = Client("scheduler:8786")
    array, failed = miravex.dask.load_images(paths, chunk=64)
    array, failed = dask.compute(array, failed)
    smooth = miravex.dask.median_filter(dask.array.from_zarr("slide.zarr"), radius=3)
"""

from __future__ import annotations

import operator
from collections.abc import Iterable, Sequence
from typing import TYPE_CHECKING, Any

import dask.array as da
import numpy as np
import numpy.typing as npt
from dask.delayed import delayed

from . import _dask_operations, results
from ._cluster import opencv_threads, tasks_at_once, threads_of_a_task
from .loading import Batch, Colour, Layout, Path, batch_of, load_into, paths_of

if TYPE_CHECKING:
    from ._dask_operations import *
    from .loading import Array

__all__ = ["frame_of", "load_images", "tasks_at_once", "windows", *_dask_operations.__all__]


def _load(names: Sequence[str], batch: Batch, together: int, threads: int | None) -> tuple[Array, list[int]]:
    """One task: a chunk of files."""
    array = np.empty((len(names), *batch.slot), dtype=np.float32)
    with opencv_threads(threads or threads_of_a_task(together)):
        return array, load_into(array, names, batch)


def _positions(starts: Sequence[int], failed: Sequence[Sequence[int]]) -> list[int]:
    return [start + position for start, chunk in zip(starts, failed) for position in chunk]


def _count(name: str, value: Any) -> int:
    try:
        count = operator.index(value)
    except TypeError:
        count = 0
    if count < 1:
        raise ValueError(f"{name} is {value!r}, expected a whole number of at least 1")
    return count


def load_images(
    paths: Path | Iterable[Path],
    size: tuple[int, int] = (224, 224),
    layout: Layout = "channels_first",
    colour: Colour = "RGB",
    mean: npt.ArrayLike | None = None,
    std: npt.ArrayLike | None = None,
    *,
    chunk: int = 64,
    threads: int | None = None,
) -> tuple[Any, Any]:
    """Image files as one lazy float32 array, and the lazy list of positions that could not be read.

    The arguments are those of :func:`miravex.load_images`. Each task loads ``chunk`` files; shape and type
    are known before anything is read. Compute both results in one ``dask.compute`` and every file is read
    once.

    Each task uses as many of OpenCV's threads as its machine has cores for each task that runs there side by
    side (:func:`tasks_at_once`), or ``threads``.
    """
    names = paths_of(paths)
    batch = batch_of(size, layout, colour, mean, std)
    chunk = _count("chunk", chunk)
    threads = None if threads is None else _count("threads", threads)
    together = tasks_at_once()
    load = delayed(_load, pure=False, nout=2)
    parts = []
    failed = []
    starts = list(range(0, len(names), chunk))
    for start in starts:
        loaded, unread = load(names[start : start + chunk], batch, together, threads)
        count = min(chunk, len(names) - start)
        parts.append(da.from_delayed(loaded, (count, *batch.slot), np.float32))
        failed.append(unread)
    if not parts:
        return da.zeros((0, *batch.slot), dtype=np.float32), delayed([])
    return da.concatenate(parts), delayed(_positions)(starts, failed)


def windows(frames: Any, length: int, step: int = 1) -> Any:
    """Windows of so many consecutive frames, as a stack of sequences: for operations on sequences.

    ``frames`` has the frames first; window k begins with frame ``k * step``. Each window is a task's, so that
    the frames of a film that lie in several of them are handed to each.
    """
    length, step = _count("length", length), _count("step", step)
    array = da.asarray(frames)
    starts = range(0, len(array) - length + 1, step)
    if not starts:
        raise ValueError(f"length is {length}, expected at most the {len(array)} frames there are")
    return da.stack([array[start : start + length] for start in starts])


def _rows_of(table: Any, picture: int) -> Any:
    import pandas

    frame = pandas.DataFrame(dict(zip(table.columns(), table)))
    frame.insert(0, "picture", picture)
    return frame


def frame_of(tables: Sequence[Any], kind: type[results.Table] = results.Keypoints) -> Any:
    """Delayed tables of one kind, such as those of a stack's keypoints, as one ``dask.dataframe``.

    The column ``picture`` says of each row which of the tables it comes from, counted from 0; there is a
    partition for each table. ``kind`` is the type of the tables. Wants ``dask.dataframe`` and pandas.
    """
    import dask.dataframe as dd

    if not issubclass(kind, results.Table):
        raise ValueError(f"kind is {kind!r}, expected a table of miravex.results, such as Keypoints")
    meta = _rows_of(kind.over(np.zeros((0, len(kind.columns())))), 0)
    rows = delayed(_rows_of)
    return dd.from_delayed([rows(table, i) for i, table in enumerate(tables)], meta=meta, verify_meta=False)


if not TYPE_CHECKING:

    def __getattr__(name: str) -> Any:
        """An operation, made when it is first asked for."""
        if name not in _dask_operations.__all__:
            raise AttributeError(f"module {__name__!r} has no attribute {name!r}")
        made = globals()[name] = getattr(_dask_operations, name)
        return made

    def __dir__() -> list[str]:
        return sorted({*globals(), *__all__})
