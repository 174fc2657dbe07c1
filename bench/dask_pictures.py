"""Pictures on Dask: one that is larger than its workers' memory, and the throughput of one worker and of two.

Usage: dask_pictures.py [--side N] [--limit MB] [--rounds N] [--throughput-side N]

First a picture of N x N bytes goes through median, binarization and dilation, from one zarr into another, on two
workers of one thread, each limited to so much memory; the largest memory of each is what its kernel says. Then
smaller ones go through other operations on one worker, on two, and in one piece in this process with one
thread and with all, in turns. The large result is compared with that of one piece, bit for bit.
"""

from __future__ import annotations

import argparse
import resource
import tempfile
import time
from collections.abc import Callable
from pathlib import Path
from typing import Any

import dask.array as da
import miravex
import miravex.dask
import numpy as np
import zarr
from dask.system import CPU_COUNT
from distributed import Client, LocalCluster

import turns

#: Sides of chunks: of the large picture, and of those whose throughput is measured.
LARGE_CHUNK, CHUNK = 2000, 1000
LOCAL = {"processes": True, "threads_per_worker": 1, "dashboard_address": None}


def block(block_info: dict) -> np.ndarray:
    """A chunk of a scene: soft blots, fine noise, and areas that are flat."""
    (top, bottom), (left, right) = block_info[None]["array-location"]
    y, x = np.mgrid[top:bottom, left:right].astype(np.float32)
    blots = 96 + 64 * np.sin(x / 97) * np.cos(y / 131)
    noise = np.random.default_rng([top, left]).normal(0, 12, x.shape)
    flat = (x // 700 + y // 900) % 5 == 0
    return np.where(flat, 120, blots + noise).clip(0, 255).astype(np.uint8)


def scene(side: int, chunk: int) -> da.Array:
    chunks = da.core.normalize_chunks(chunk, (side, side))
    return da.map_blocks(block, chunks=chunks, dtype=np.uint8, meta=np.empty((0, 0), np.uint8))


def peak() -> int:
    return resource.getrusage(resource.RUSAGE_SELF).ru_maxrss // 1024


def large(side: int, limit: int, directory: Path) -> None:
    with LocalCluster(n_workers=2, memory_limit=f"{limit}MB", **LOCAL) as cluster, Client(cluster) as client:
        scene(side, LARGE_CHUNK).to_zarr(str(directory / "scene.zarr"))
        picture = da.from_zarr(str(directory / "scene.zarr"))
        steps = [
            ("median", lambda p: miravex.dask.median_filter(p, radius=3)),
            ("binarization", lambda p: miravex.dask.local_adaptive_binarize(p, [1, 0.1, 0.05], radius=15)),
            ("dilation", lambda p: miravex.dask.dilation(p, radius=4)),
        ]
        base = max(client.run(peak).values())
        for name, step in steps:
            start = time.perf_counter()
            target = str(directory / f"{name}.zarr")
            step(picture).rechunk(LARGE_CHUNK).to_zarr(target)
            picture = da.from_zarr(target)
            peaks = client.run(peak)
            print(f"{name:16}{time.perf_counter() - start:8.1f} s   peak of a worker {max(peaks.values())} MB", flush=True)
        print(f"{side} x {side} bytes ({side * side // 10**6} MB), workers limited to {limit} MB, {base} MB before")
        made = zarr.open(str(directory / "dilation.zarr"), mode="r")
        print(f"the result: {made.shape}, {made.dtype}, {int(da.from_zarr(made).sum().compute())} bits set")
    if side <= 20000:
        whole = zarr.open(str(directory / "scene.zarr"), mode="r")[:]
        whole = miravex.median_filter(whole, radius=3)
        whole = miravex.local_adaptive_binarize(whole, [1, 0.1, 0.05], radius=15)
        whole = miravex.dilation(whole, radius=4)
        print(f"the bits of one piece: {np.array_equal(whole, made[:])}")


def quick(operations, given):
    return operations.dilation(operations.median_filter(given, radius=5), radius=9)


def slow(operations, given):
    return operations.fast_nl_means_denoising(given, strength=12, template_window=5, search_window=15)


def throughput(title: str, work: Callable[[Any, Any], Any], side: int, rounds: int) -> None:
    picture = scene(side, CHUNK).compute(scheduler="threads")

    def alone(threads: int) -> float:
        miravex.set_threads(threads)
        start = time.perf_counter()
        work(miravex, picture).sum()
        return time.perf_counter() - start

    def on(cluster: LocalCluster) -> float:
        with Client(cluster) as client:
            lazy = client.persist(scene(side, CHUNK))
            client.gather(client.compute(lazy.sum()))  # the picture is there before the clock runs
            start = time.perf_counter()
            client.gather(client.compute(work(miravex.dask, lazy).sum()))
            return time.perf_counter() - start

    with LocalCluster(n_workers=1, memory_limit=0, **LOCAL) as one, LocalCluster(n_workers=2, memory_limit=0, **LOCAL) as two:
        ways = {
            "one worker": lambda: on(one),
            "two workers": lambda: on(two),
            "one process, 1 thread": lambda: alone(1),
            "one process, all threads": lambda: alone(CPU_COUNT),
        }
        medians = turns.medians(ways, rounds)
    print(f"\n{title} of {side} x {side} bytes, chunks of {CHUNK}, {CPU_COUNT} cores, medians of {rounds}")
    print(f"{'':26}{'seconds':>10}{'throughput over one process, 1 thread':>40}")
    for name, median in medians.items():
        print(f"{name:26}{median:10.2f}{medians['one process, 1 thread'] / median:40.2f}", flush=True)


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--side", type=int, default=20000, help="0 leaves the large picture out")
    parser.add_argument("--limit", type=int, default=1000, help="MB of each worker")
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("--throughput-side", type=int, default=8000)
    options = parser.parse_args()
    if options.side > 0:
        with tempfile.TemporaryDirectory() as directory:
            large(options.side, options.limit, Path(directory))
    throughput("non-local means", slow, options.throughput_side // 2, options.rounds)
    throughput("median and dilation", quick, options.throughput_side, options.rounds)


if __name__ == "__main__":
    main()
