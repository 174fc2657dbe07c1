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

EXAMPLES = 60 if os.environ.get("MIRAVEX_LONG_TESTS") else 3
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


def homography(numbers: Numbers, rows: int, columns: int) -> np.ndarray:
    """One that turns, scales and tilts a picture about its middle; now and then its horizon crosses the picture."""
    angle, scale = numbers.uniform(0, 6.3), numbers.uniform(0.4, 2)
    turn = scale * np.array([[np.cos(angle), -np.sin(angle)], [np.sin(angle), np.cos(angle)]])
    middle = np.array([columns / 2, rows / 2])
    made = np.eye(3)
    made[:2, :2] = turn
    made[:2, 2] = middle - turn @ middle + numbers.uniform(-30, 30, 2)
    made[2, :2] = numbers.normal(size=2) * numbers.choice([0, 3e-4, 1e-2])
    return made


@settings(max_examples=15 * EXAMPLES)
@given(seed=st.integers(0, 2**32))
def test_warps(seed: int) -> None:
    numbers = Numbers(seed, LEAST, MOST)
    kind = numbers.choice([np.bool_, np.uint8, np.uint16, np.float32, np.float64])
    picture = gray(numbers, kind, int(numbers.choice([1, 3, 4, 6])))
    arguments = {
        "homography": homography(numbers, *picture.shape[:2]) if numbers.integers(8) else np.diag([3.0, 3, 3]),
        "interpolation": str(numbers.choice(["Nearest", "Linear"])),
        "padding": str(numbers.choice(["Constant", "Fixed"])),
        "color": numbers.choice([[0, 0, 0], [0.3, 7.6, 999]]),
    }
    expected = miravex.image_perspective_transformation(picture, **arguments)
    lazy = chunked(numbers, picture, 0)
    assert_same(miravex.dask.image_perspective_transformation(lazy, stack=False, **arguments), expected)


@settings(max_examples=5 * EXAMPLES)
@given(seed=st.integers(0, 2**32))
def test_lookups_far_away_and_by_tables_in_chunks(seed: int) -> None:
    numbers = Numbers(seed, LEAST, MOST)
    picture = gray(numbers, numbers.choice([np.uint8, np.uint16, np.float32]), int(numbers.choice([1, 3])))
    rows, columns = picture.shape[:2]
    far = float(numbers.choice([1, 2, 9, 1e6]))
    x, y = (numbers.uniform(-side * far, side * far, (rows, columns)) for side in (columns, rows))
    x[3, 4], y[7, 1], x[20, 20], y[9, 9] = np.nan, np.inf, -np.inf, 1e300
    x[30:33, :9], y[40:43, 5:9] = 1e9, -1e9
    arguments = {
        "interpolation": str(numbers.choice(["Nearest", "Linear", "Area", "Cubic", "Lanczos4"])),
        "padding": str(numbers.choice(["Constant", "Fixed", "Reversed", "Periodic", "Reflected"])),
        "color": [9, 0.5, 2],
    }
    expected = miravex.remap_tensor(picture, x=x, y=y, **arguments)
    tables = {"x": da.from_array(x, chunks=(50, 64)), "y": y}
    assert_same(miravex.dask.remap_tensor(chunked(numbers, picture, 0), **tables, **arguments), expected)


@settings(max_examples=5 * EXAMPLES)
@given(seed=st.integers(0, 2**32))
def test_channels_and_color(seed: int) -> None:
    numbers = Numbers(seed, LEAST, MOST)
    picture = gray(numbers, numbers.choice([np.uint8, np.float32]), int(numbers.choice([2, 3, 4])))
    lazy = chunked(numbers, picture, 0)
    margins = {name: int(numbers.integers(0, 700)) for name in ("top", "bottom", "left", "right")}
    for padding in ("Constant", "Reflected", "Periodic"):
        given = {**margins, "padding": padding, "values": [3.5, 300, -1, 0.25][: picture.shape[2]]}
        assert_same(miravex.dask.image_pad(lazy, **given), miravex.image_pad(picture, **given))
    assert_same(miravex.dask.pyr_down(lazy), miravex.pyr_down(picture))
    assert_same(miravex.dask.pyr_up(lazy), miravex.pyr_up(picture))
    assert_same(miravex.dask.dilation(lazy, 5), miravex.dilation(picture, 5))
    taps = numbers.normal(size=5), numbers.normal(size=4)
    assert_same(miravex.dask.image_convolve(lazy, *taps), miravex.image_convolve(picture, *taps))


def test_masks_in_other_chunks() -> None:
    numbers = Numbers(5, 150, 300)
    picture = gray(numbers)
    mask = numbers.random(picture.shape) > 0.5
    expected = miravex.fast(picture, mask=mask, threshold=70)
    assert 0 < len(expected.x) < len(miravex.fast(picture, threshold=70).x)
    lazy = miravex.dask.fast(da.from_array(picture, chunks=64), mask=da.from_array(mask, chunks=50), threshold=70)
    assert_same(lazy, expected)
    with pytest.raises(ValueError, match="fast: mask is .*expected .*of the same size as image"):
        miravex.dask.fast(da.from_array(picture, chunks=64), mask=da.from_array(mask[1:], chunks=50))


@settings(max_examples=40 * EXAMPLES)
@given(seed=st.integers(0, 2**32))
def test_sums_run_from_band_to_band(seed: int) -> None:
    numbers = Numbers(seed, 1, 90)
    padding = str(numbers.choice(["Constant", "Fixed", "Reversed", "Periodic", "Reflected", "None"]))
    arguments = CASES["local_adaptive_binarize"].arguments(numbers, padding)
    arguments["radius"] = int(numbers.choice([1, 2, 3, 9, 40, 2**32]))
    arguments["coefficients"] = numbers.choice([[1.0, 0, 0], [1, 1, 0], [0.5, 2, -0.1], [0, 1, 0.2]])
    if numbers.integers(2):  # flat but for a few places, so that rounding alone decides
        rough = arguments["image"].copy()
        arguments["image"][...] = rough[0, 0]
        arguments["image"][::9, ::7] = rough[::9, ::7]
    lazy = chunked(numbers, arguments["image"], 0)
    with pytest.MonkeyPatch.context() as patch:
        patch.setattr(_running_sums, "_BAND", int(numbers.integers(1, 2000)))
        made = miravex.dask.local_adaptive_binarize(**{**arguments, "image": lazy})
    assert_same(made, miravex.local_adaptive_binarize(**arguments))


def test_radius_beyond_the_picture() -> None:
    picture = gray(Numbers(1, 150, 200))
    lazy = da.from_array(picture, chunks=40)
    for radius in (90, 500, 2**32 + 3):
        assert_same(miravex.dask.median_filter(lazy, radius), miravex.median_filter(picture, radius))
        assert_same(miravex.dask.dilation(lazy, radius), miravex.dilation(picture, radius))


def test_the_whole_picture_is_asked_for_in_words() -> None:
    lazy = da.zeros((300, 200, 3), chunks=(100, 100, 3), dtype=np.uint8)
    for record in miravex.catalog():
        if record.is_bounded or not record.reach:
            continue
        images = [argument for argument in record.arguments if argument.kind == "image"]
        if images[0].rank == 3:
            array = da.zeros((3, 300, 200), chunks=(3, 100, 100), dtype=np.uint8)
        else:
            array = lazy if 3 in (images[0].channels or [3]) else lazy[..., 0]
        others = [a for a in record.arguments if a.default is None and not a.optional and not a.derived_default and not a.implied_by]
        given = {a.name: np.ones(3) for a in others if a.kind != "image"}
        given |= {a.name: array for a in images if a in others}
        with pytest.raises(ValueError, match=rf"{record.function}: \w+ is in 3 x 2 chunks, expected one, since .*rechunk"):
            getattr(miravex.dask, record.function)(**given)
    suppressed = da.zeros((300, 200), chunks=100, dtype=np.uint8)
    with pytest.raises(ValueError, match="corners hang together"):
        miravex.dask.agast(suppressed)
    one = gray(Numbers(2, 60, 80), np.uint8, 3)
    assert_same(miravex.dask.decolor(da.from_array(one, chunks=-1)), miravex.decolor(one))


def test_arguments_are_checked_before_anything_is_computed() -> None:
    lazy = da.zeros((300, 200), chunks=100, dtype=np.uint8)
    wrong = {
        "median_filter: radius is 0, expected at least 1": lambda: miravex.dask.median_filter(lazy, radius=0),
        "pyr_down: width is 5": lambda: miravex.dask.pyr_down(lazy, width=5),
        r"median_filter: image is .*int64.*astype\(numpy.uint8\)": lambda: miravex.dask.median_filter(lazy.astype(np.int64)),
        "remap_tensor: x is": lambda: miravex.dask.remap_tensor(lazy, x=lazy[1:].astype(float), y=lazy.astype(float)),
        "dilation: stack is 1": lambda: miravex.dask.dilation(lazy, stack=1),
        "image_convolve: inplace is True": lambda: miravex.dask.image_convolve(lazy, [1.0], [1.0], inplace=True),
        "homography has numbers that are not finite": lambda: miravex.dask.image_perspective_transformation(
            lazy, np.full((3, 3), np.nan)
        ),
    }
    for message, call in wrong.items():
        with pytest.raises(ValueError, match=message):
            call()
    with pytest.raises(TypeError, match=r"unexpected keyword argument 'raduis' \(try radius\)"):
        miravex.dask.median_filter(lazy, raduis=3)


def test_limits_on_sizes_are_those_of_a_block() -> None:
    """A picture of 10^10 samples, whose convolution would be refused in one piece."""
    lazy = da.zeros((100_000, 100_000), chunks=1000, dtype=np.uint8)
    taps = np.ones(1001)
    made = miravex.dask.image_convolve(lazy, taps, taps)
    assert made.shape == lazy.shape and made.dtype == np.float32
    assert not made[70_000:70_010, 99_990:].compute().any()
    one = da.zeros((100_000, 100_000), chunks=-1, dtype=np.uint8)
    with pytest.raises(ValueError, match="image_convolve: vertical is .*products"):
        miravex.dask.image_convolve(one, taps, taps)
