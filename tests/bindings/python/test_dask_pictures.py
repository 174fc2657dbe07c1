"""One picture in chunks: every operation with a stated reach gives, block by block, the bits of the whole picture."""

from __future__ import annotations

import os
from collections.abc import Iterator
from typing import Any

import miravex
import numpy as np
import pytest
from hypothesis import given, settings
from hypothesis import strategies as st
from pictures import CASES, EVERY, Numbers, gray

dask = pytest.importorskip("dask")
import dask.array as da  # noqa: E402
import miravex.dask  # noqa: E402
from miravex import _running_sums  # noqa: E402

EXAMPLES = 60 if os.environ.get("MIRAVEX_LONG_TESTS") else 4
#: Sides of the pictures: of several pieces (which grow by 64 and more) and of less than one.
LEAST, MOST = 100, 420


@pytest.fixture(autouse=True)
def in_this_thread() -> Iterator[None]:
    with dask.config.set(scheduler="synchronous"):
        yield


def cut(numbers: Numbers, side: int) -> tuple[int, ...]:
    """Chunks of a side: even or uneven, down to single pixels."""
    count = int(numbers.integers(1, 6))
    ends = np.unique([*numbers.integers(1, side + 1, count), side])
    return tuple(np.diff([0, *ends]).tolist())


def chunked(numbers: Numbers, picture: np.ndarray, axis: int) -> da.Array:
    chunks = list(picture.shape)
    chunks[axis], chunks[axis + 1] = (cut(numbers, picture.shape[i]) for i in (axis, axis + 1))
    return da.from_array(picture, chunks=tuple(chunks))


def assert_same(lazy: Any, expected: Any) -> None:
    if isinstance(expected, np.ndarray):
        assert lazy.shape == expected.shape and lazy.dtype == expected.dtype
    made = lazy.compute()
    if isinstance(expected, tuple):
        assert type(made) is type(expected)
        made, expected = made.rows, expected.rows
    assert made.shape == expected.shape and made.dtype == expected.dtype
    assert made.tobytes() == np.ascontiguousarray(expected).tobytes()


@pytest.mark.parametrize(("name", "padding"), EVERY)
@settings(max_examples=EXAMPLES)
@given(seed=st.integers(0, 2**32))
def test_blocks_are_the_whole(name: str, padding: str, seed: int) -> None:
    numbers = Numbers(seed, LEAST, MOST)
    arguments = CASES[name].arguments(numbers, padding)
    image = "frames" if "frames" in arguments else "image"
    lazy = {**arguments, image: chunked(numbers, arguments[image], int(image == "frames"))}
    assert_same(getattr(miravex.dask, name)(**lazy), getattr(miravex, name)(**arguments))
