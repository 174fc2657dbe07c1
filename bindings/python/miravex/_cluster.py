"""How many of OpenCV's threads a task may use, so that tasks that run side by side share a machine's cores."""

from __future__ import annotations

import threading
from collections import Counter
from collections.abc import Iterator
from contextlib import contextmanager

from dask import config
from dask.system import CPU_COUNT

from ._miravex import get_threads, set_threads

_lock = threading.Lock()
_running = 0
_threads_before = 0


@contextmanager
def opencv_threads(count: int) -> Iterator[None]:
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


def threads_of_a_task(together: int) -> int:
    """The threads of each of so many tasks that share this machine."""
    count: int = max(1, CPU_COUNT // together)
    return count


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
    most: int = max(threads.values(), default=1)
    return most
