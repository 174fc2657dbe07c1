"""Calls from several threads, and interrupts."""

from __future__ import annotations

import signal
import subprocess
import sys
import threading
import time
from concurrent.futures import ThreadPoolExecutor

import miravex
import numpy as np
import pytest


def test_threads_get_the_results_of_one_after_another() -> None:
    pictures = [np.random.default_rng(i).integers(0, 256, (60, 80, 3), dtype=np.uint8) for i in range(8)]
    expected = [miravex.median_filter(picture, radius=2 + i) for i, picture in enumerate(pictures)]
    with ThreadPoolExecutor(8) as pool:
        for _ in range(10):
            results = list(pool.map(lambda i: miravex.median_filter(pictures[i], radius=2 + i), range(8)))
            assert all(np.array_equal(a, b) for a, b in zip(results, expected))


def test_threads_get_their_own_errors() -> None:
    picture = np.zeros((20, 20, 3), np.uint8)

    def fail(i: int) -> str:
        with pytest.raises((ValueError, miravex.MiravexError)) as caught:
            if i % 2:
                miravex.pyr_down(picture, padding="None")
            else:
                miravex.median_filter(picture, radius=-i)
        return str(caught.value)

    with ThreadPoolExecutor(8) as pool:
        for i, text in enumerate(pool.map(fail, range(200))):
            assert ("border type" if i % 2 else f"radius is {-i}") in text


def test_other_threads_run_during_a_call() -> None:
    """While one call works, this thread goes on counting: the interpreter's lock is free."""
    picture = np.random.default_rng(1).integers(0, 256, (150, 150, 3), dtype=np.uint8)
    done = threading.Event()

    def work() -> None:
        miravex.pyr_mean_shift_filter(picture, 20.0, 0.3, max_level=0, iterations=5)
        done.set()

    worker = threading.Thread(target=work)
    worker.start()
    turns = 0
    while not done.is_set():
        time.sleep(0.001)
        turns += 1
    worker.join()
    # Held, the lock leaves it the moments before the call and behind it.
    assert turns > 10


BATCH = """
import sys, numpy as np, miravex
picture = np.random.default_rng(1).integers(0, 256, (300, 300, 3), dtype=np.uint8)
print("ready", flush=True)
try:
    for i in range(100000):
        miravex.median_filter(picture, radius=20)
except KeyboardInterrupt:
    print("interrupted after", i, flush=True)
    sys.exit(130)
"""


def test_a_batch_can_be_interrupted_between_calls() -> None:
    process = subprocess.Popen([sys.executable, "-c", BATCH], stdout=subprocess.PIPE, text=True)
    assert process.stdout is not None
    assert process.stdout.readline() == "ready\n"
    time.sleep(0.3)
    process.send_signal(signal.SIGINT)
    output, _ = process.communicate(timeout=20)
    assert process.returncode == 130
    assert output.startswith("interrupted after")


def test_threads_of_opencv_can_be_set() -> None:
    before = miravex.get_threads()
    try:
        miravex.set_threads(1)
        assert miravex.get_threads() == 1
    finally:
        miravex.set_threads(before)
