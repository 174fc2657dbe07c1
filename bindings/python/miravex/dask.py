"""Batch loading beyond one machine: :func:`miravex.load_images` as a lazy ``dask.array``.

Dask's scheduler distributes the work, on the threads of this process or on the workers of a
``dask.distributed`` cluster; files must be readable under the same names on every worker. ::

    from distributed import Client
    import dask, miravex.dask

    client = Client("scheduler:8786")
    array, failed = miravex.dask.load_images(paths, chunk=64)
    array, failed = dask.compute(array, failed)
"""

from __future__ import annotations

import operator
import threading
from collections import Counter
from collections.abc import Iterable, Iterator, Sequence
from contextlib import contextmanager
from typing import TYPE_CHECKING, Any

import dask.array as da
import numpy as np
import numpy.typing as npt
from dask import config
from dask.delayed import delayed
from dask.system import CPU_COUNT

from ._miravex import get_threads, set_threads
from .loading import Batch, Colour, Layout, Path, batch_of, load_into, paths_of

if TYPE_CHECKING:
    from .loading import Array

__all__ = ["load_images", "tasks_at_once"]

_lock = threading.Lock()
_running = 0
_threads_before = 0


@contextmanager
def _opencv_threads(count: int) -> Iterator[None]:
    """Sets OpenCV's threads, which are one number for the process, until the last task here is done."""
    global _running, _threads_before
    with _lock:
        if _running == 0:
            _threads_before = get_threads()
        _running += 1
        set_threads(count)
    try:
        yield
    finally:
        with _lock:
            _running -= 1
            if _running == 0:
                set_threads(_threads_before)


def tasks_at_once() -> int:
    """The largest number of tasks that one machine works on side by side, as things stand: threads of the
    workers that share it, or of this process when there is no cluster."""
    try:
        from distributed import default_client

        workers = default_client().scheduler_info()["workers"].values()
    except (ImportError, ValueError):
        return int(config.get("num_workers", CPU_COUNT))
    threads: Counter[str] = Counter()
    for worker in workers:
        threads[worker["host"]] += worker["nthreads"]
    return max(threads.values(), default=1)


def _load(names: Sequence[str], batch: Batch, together: int, threads: int | None) -> tuple[Array, list[int]]:
    """One task: a chunk of files."""
    array = np.empty((len(names), *batch.slot), dtype=np.float32)
    with _opencv_threads(threads or max(1, CPU_COUNT // together)):
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
