"""Throughput of batch loading on Dask: one worker against two, in turns, on the same files.

Usage: dask_throughput.py [--files N] [--rounds N]

Each worker is a process with one thread, and OpenCV has one thread in it, so that two workers use two cores.
Loading without Dask, on OpenCV's own threads, is measured in the same turns.
"""

from __future__ import annotations

import argparse
import shutil
import tempfile
import time
from collections.abc import Callable
from pathlib import Path

import miravex
import miravex.dask
from dask.system import CPU_COUNT
from distributed import Client, LocalCluster

import turns

PHOTOS = Path("/usr/share/doc/opencv-doc/examples/data")


def seconds(work: Callable[[], object]) -> float:
    start = time.perf_counter()
    work()
    return time.perf_counter() - start


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--files", type=int, default=1000)
    parser.add_argument("--rounds", type=int, default=5)
    options = parser.parse_args()

    with tempfile.TemporaryDirectory() as directory:
        photos = sorted(PHOTOS.glob("*.jpg"))
        paths = [Path(directory) / f"{i:06}.jpg" for i in range(options.files)]
        for i, path in enumerate(paths):
            shutil.copy(photos[i % len(photos)], path)

        def on(cluster: LocalCluster) -> float:
            with Client(cluster) as client:
                array, failed = miravex.dask.load_images(paths, chunk=50, threads=1)
                # The sum stays on the cluster: what is measured is loading, not the way back to this process.
                return seconds(lambda: client.gather(client.compute([array.sum(), failed])))

        def alone(threads: int) -> float:
            miravex.set_threads(threads)
            return seconds(lambda: miravex.load_images(paths, progress=False)[0].sum())

        local = {"processes": True, "threads_per_worker": 1, "dashboard_address": None, "memory_limit": 0}
        with LocalCluster(n_workers=1, **local) as one, LocalCluster(n_workers=2, **local) as two:
            ways = {
                "one worker": lambda: on(one),
                "two workers": lambda: on(two),
                "no Dask, 1 thread": lambda: alone(1),
                "no Dask, all threads": lambda: alone(CPU_COUNT),
            }
            medians = turns.medians(ways, options.rounds)

    print(f"{options.files} files, {len(photos)} different photographs, 224 x 224, {CPU_COUNT} cores, medians of {options.rounds}")
    print(f"{'':24}{'files/s':>10}{'ratio to one worker':>22}")
    for name, median in medians.items():
        print(f"{name:24}{options.files / median:10.0f}{medians['one worker'] / median:22.2f}")


if __name__ == "__main__":
    main()
