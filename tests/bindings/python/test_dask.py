"""Batches and pictures on Dask: on threads of this process, and on a cluster of processes that loses one."""

from __future__ import annotations

import os
import shutil
import signal
import time
from pathlib import Path

import miravex
import numpy as np
import pytest

dask = pytest.importorskip("dask")
distributed = pytest.importorskip("distributed")


@pytest.fixture(scope="module")
def files(photos: list[Path], tmp_path_factory: pytest.TempPathFactory) -> list[Path]:
    """240 photographs under names of their own, with two that can't be read."""
    directory = tmp_path_factory.mktemp("batch")
    paths = []
    for i in range(240):
        path = directory / f"{i:03}.jpg"
        shutil.copy(photos[i % len(photos)], path)
        paths.append(path)
    paths[17].write_text("no picture")
    paths[171].unlink()
    return paths


READABLE = np.delete(np.arange(240), [17, 171])


@pytest.fixture(scope="module")
def expected(files: list[Path]) -> np.ndarray:
    array, failed = miravex.load_images(files, (64, 48))
    assert failed == [17, 171]
    return array[READABLE]


def test_shape_type_and_chunks_are_known_before_reading() -> None:
    import miravex.dask

    array, _ = miravex.dask.load_images(["absent.jpg"] * 10, (5, 7), "channels_last", chunk=4)
    assert array.shape == (10, 5, 7, 3) and array.dtype == np.float32
    assert array.chunks == ((4, 4, 2), (5,), (7,), (3,))
    empty, failed = miravex.dask.load_images([], (5, 7))
    assert empty.compute().shape == (0, 3, 5, 7) and failed.compute() == []


def test_threads_of_this_process(files: list[Path], expected: np.ndarray) -> None:
    import miravex.dask

    before = miravex.get_threads()
    array, failed = dask.compute(*miravex.dask.load_images(files, (64, 48), chunk=32), scheduler="threads")
    assert failed == [17, 171]
    assert np.array_equal(array[READABLE], expected)
    assert miravex.get_threads() == before


def test_wrong_arguments_are_named_at_once() -> None:
    import miravex.dask

    counts = [{"chunk": 0}, {"chunk": "64"}, {"chunk": 1.5}, {"chunk": None}, {"threads": 0}, {"threads": 2.0}]
    for arguments in (*counts, {"colour": "rgb"}, {"size": 3}):
        with pytest.raises(ValueError, match=f"{next(iter(arguments))} is"):
            miravex.dask.load_images(["a.jpg"], **arguments)


def threads_in_a_task() -> tuple[int, int]:
    from dask.system import CPU_COUNT
    from miravex._cluster import opencv_threads, threads_of_a_task

    with opencv_threads(threads_of_a_task(2)):
        return miravex.get_threads(), CPU_COUNT


@pytest.fixture(scope="module")
def cluster():
    with distributed.LocalCluster(
        n_workers=2, threads_per_worker=1, processes=True, dashboard_address=None, memory_limit=0
    ) as local:
        yield local


def test_cluster_gives_the_same_bits(cluster, files: list[Path], expected: np.ndarray) -> None:
    import miravex.dask

    with distributed.Client(cluster) as client:
        client.wait_for_workers(2)
        assert miravex.dask.tasks_at_once() == 2
        array, failed = dask.compute(*miravex.dask.load_images(files, (64, 48), chunk=20))
        assert failed == [17, 171]
        assert np.array_equal(array[READABLE], expected)
        threads, cores = client.submit(threads_in_a_task, pure=False).result()
        assert threads * 2 <= max(cores, 2)


def wait_for_results(client, worker: str) -> None:
    deadline = time.monotonic() + 60
    while not client.has_what([worker])[worker]:
        assert time.monotonic() < deadline
        time.sleep(0.005)


def test_nothing_is_lost_with_a_worker(cluster, files: list[Path], expected: np.ndarray) -> None:
    import miravex.dask

    with distributed.Client(cluster) as client:
        client.wait_for_workers(2)
        workers = client.run(os.getpid)
        assert len(set(workers.values())) == 2
        array, failed = miravex.dask.load_images(files * 4, (64, 48), chunk=12)
        future = client.compute([array, failed])
        doomed, process = next(iter(workers.items()))
        # In the middle: the worker holds results, and the whole is not there yet.
        wait_for_results(client, doomed)
        assert not all(part.done() for part in future)
        os.kill(process, signal.SIGKILL)
        loaded, unread = client.gather(future)
        assert process not in client.run(os.getpid).values()
    assert unread == [240 * i + k for i in range(4) for k in (17, 171)]
    for i in range(4):
        assert np.array_equal(loaded[240 * i + READABLE], expected)


def test_a_picture_in_chunks_outlives_a_worker(cluster) -> None:
    """Median, binarization and dilation of one picture, of which a worker takes parts with it."""
    import dask.array as da
    import miravex.dask

    picture = np.random.default_rng(1).integers(0, 256, (1500, 1400), np.uint8)
    smooth = miravex.median_filter(picture, 2)
    bits = miravex.local_adaptive_binarize(smooth, [1, 0.1, 0], 9)
    expected = miravex.dilation(bits, 3)
    with distributed.Client(cluster) as client:
        client.wait_for_workers(2)
        workers = client.run(os.getpid)
        lazy = miravex.dask.median_filter(da.from_array(picture, chunks=(200, 300)), 2)
        lazy = miravex.dask.dilation(miravex.dask.local_adaptive_binarize(lazy, [1, 0.1, 0], 9), 3)
        future = client.compute(lazy)
        doomed, process = next(iter(workers.items()))
        wait_for_results(client, doomed)
        assert not future.done()
        os.kill(process, signal.SIGKILL)
        made = future.result(timeout=120)
        assert process not in client.run(os.getpid).values()
    assert made.dtype == expected.dtype and np.array_equal(made, expected)


def test_a_stack_on_a_cluster(cluster) -> None:
    import dask.array as da
    import miravex.dask

    pictures = np.random.default_rng(2).integers(0, 256, (9, 120, 110), np.uint8)
    with distributed.Client(cluster) as client:
        client.wait_for_workers(2)
        lazy = da.from_array(pictures, chunks=(2, 120, 110))
        made, corners = dask.compute(miravex.dask.median_filter(lazy), miravex.dask.fast(lazy, threshold=70))
    assert np.array_equal(made, [miravex.median_filter(picture) for picture in pictures])
    for picture, found in zip(pictures, corners):
        assert np.array_equal(found.rows, miravex.fast(picture, threshold=70).rows)
