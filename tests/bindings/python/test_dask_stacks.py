"""Stacks: every operation on arrays with one more axis in front gives what it gives for each of them."""

from __future__ import annotations

import inspect
from collections.abc import Iterator
from typing import Any

import miravex
import numpy as np
import pytest
from miravex._dask_calls import STACK
from miravex._signatures import parameter_name
from values import colour_spaces, usual

dask = pytest.importorskip("dask")
import dask.array as da  # noqa: E402
import miravex.dask  # noqa: E402
from dask.delayed import Delayed, delayed  # noqa: E402

RECORDS = miravex.catalog()
COUNT = 5


def function(record: Any) -> str:
    return record.function


@pytest.fixture(autouse=True)
def in_this_thread() -> Iterator[None]:
    with dask.config.set(scheduler="synchronous"):
        yield


def same(one: Any, other: Any) -> bool:
    if isinstance(one, (tuple, list)):
        return type(one) is type(other) and len(one) == len(other) and all(map(same, one, other))
    one, other = np.asarray(one), np.asarray(other)
    return one.dtype == other.dtype and np.array_equal(one, other, equal_nan=one.dtype.kind == "f")


def shuffled(picture: np.ndarray, seed: int) -> np.ndarray:
    """Another picture of the same samples."""
    return np.random.default_rng(seed).permutation(picture.reshape(-1)).reshape(picture.shape)


def by_parameters(record: Any, values: dict[str, Any]) -> dict[str, Any]:
    named = {argument.name: parameter_name(argument) for argument in record.arguments}
    return {named[name]: value for name, value in values.items()}


@pytest.mark.parametrize("record", RECORDS, ids=function)
def test_each_of_a_stack(record: Any) -> None:
    values = usual(record)
    kinds = {argument.name: argument.kind for argument in record.arguments}
    if any(argument.kind == "array" and argument.rewritten for argument in record.arguments):
        with pytest.raises(ValueError, match="miravex.dask.load_images gives the same as a lazy array"):
            getattr(miravex.dask, record.function)(**values)
        return
    images = [name for name in values if kinds[name] == "image"]
    single, stacked = [dict(values) for _ in range(COUNT)], dict(values)
    for name in images:
        pictures = [values[name] if i == 0 else shuffled(values[name], i) for i in range(COUNT)]
        for i, picture in enumerate(pictures):
            single[i][name] = picture
        stacked[name] = da.from_array(np.stack(pictures), chunks=(2, *pictures[0].shape))
    if not images:  # lists instead, of one value for each call
        stacked = {name: [delayed(value)] * COUNT for name, value in values.items()}
    options = {"colorspace": colour_spaces(record)} if colour_spaces(record) else {}
    made = getattr(miravex.dask, record.function)(**by_parameters(record, stacked), stack=True, **options)
    expected = [getattr(miravex, record.function)(**by_parameters(record, one), **options) for one in single]
    if images and record.results[0].kind in ("image", "sequence"):
        assert isinstance(made, da.Array) and made.chunks[0] == (2, 2, 1)
        assert made.shape == (COUNT, *expected[0].shape) and made.dtype == expected[0].dtype
        made = list(made.compute())
    else:
        assert isinstance(made, list) and len(made) == COUNT and all(isinstance(one, Delayed) for one in made)
        made = list(dask.compute(*made))
    for one, other in zip(made, expected):
        assert same(one, other)


@pytest.mark.parametrize("record", RECORDS, ids=function)
def test_same_names_arguments_and_words(record: Any) -> None:
    lazy, plain = getattr(miravex.dask, record.function), getattr(miravex, record.function)
    parameters = dict(inspect.signature(lazy).parameters)
    assert parameters.pop("stack") == STACK
    assert parameters == dict(inspect.signature(plain).parameters)
    assert lazy.__doc__.startswith(plain.__doc__)
    assert record.function in miravex.dask.__all__ and record.function in dir(miravex.dask)


def test_what_three_axes_are() -> None:
    pictures = np.random.default_rng(1).integers(0, 256, (6, 40, 50), np.uint8)
    made = miravex.dask.dilation(da.from_array(pictures, chunks=2))
    assert np.array_equal(made.compute(), [miravex.dilation(picture) for picture in pictures])
    assert np.array_equal(miravex.dask.dilation(da.from_array(pictures), stack=False).compute(), miravex.dilation(pictures))
    narrow = pictures[..., :3]
    assert np.array_equal(miravex.dask.dilation(da.from_array(narrow)).compute(), miravex.dilation(narrow))
    made = miravex.dask.dilation(da.from_array(narrow), stack=True)
    assert np.array_equal(made.compute(), [miravex.dilation(picture) for picture in narrow])


def test_results_go_on_into_other_operations() -> None:
    """Keypoints of a stack, described by another call; descriptors, matched by a third."""
    squares = np.random.default_rng(2).integers(0, 256, (3, 12, 14), np.uint8)
    pictures = squares.repeat(13, axis=1).repeat(13, axis=2)
    stack = da.from_array(pictures, chunks=(1, -1, -1))
    corners = miravex.dask.orb(stack, n_features=50)
    described = miravex.dask.orb(stack, mode="compute", keypoints=corners)
    both = miravex.dask.orb(stack, mode="detectAndCompute")
    matches = miravex.dask.descriptor_matcher([one.descriptors for one in both], [one.descriptors for one in both][::-1])
    for picture, found in zip(pictures, dask.compute(*described)):
        assert len(found) > 0
        assert same(found, miravex.orb(picture, mode="compute", keypoints=miravex.orb(picture, n_features=50)))
    features = [miravex.orb(picture, mode="detectAndCompute").descriptors for picture in pictures]
    for i, found in enumerate(dask.compute(*matches)):
        assert same(found, miravex.descriptor_matcher(features[i], features[2 - i]))


def test_stacks_of_different_lengths() -> None:
    first, second = (da.zeros((n, 40, 50), chunks=1, dtype=np.float32) for n in (3, 4))
    with pytest.raises(ValueError, match="phase_correlate: first has 3, second has 4, expected stacks of one length"):
        miravex.dask.phase_correlate(first, second)


def test_windows_of_frames() -> None:
    frames = np.random.default_rng(3).integers(0, 256, (7, 30, 40), np.uint8)
    pairs = miravex.dask.windows(da.from_array(frames, chunks=(3, 30, 40)), 2)
    assert pairs.shape == (6, 2, 30, 40)
    flows = dask.compute(*miravex.dask.optical_flow_farneback(pairs))
    whole = miravex.optical_flow_farneback(frames)
    for i, flow in enumerate(flows):
        assert np.array_equal(flow.u[0], whole.u[i]) and np.array_equal(flow.v[0], whole.v[i])
    threes = miravex.dask.windows(frames, 3, step=2)
    clean = miravex.dask.fast_nl_means_denoising_multi(threes, frame=2)
    assert clean.shape == (3, 30, 40)
    for i, picture in enumerate(clean.compute()):
        assert np.array_equal(picture, miravex.fast_nl_means_denoising_multi(frames, frame=2 * i + 2))
    with pytest.raises(ValueError, match="length is 8, expected at most the 7 frames"):
        miravex.dask.windows(frames, 8)


def test_tables_of_a_stack_as_one_frame() -> None:
    pytest.importorskip("pandas")
    pictures = np.random.default_rng(4).integers(0, 256, (3, 60, 70), np.uint8)
    tables = miravex.dask.fast(da.from_array(pictures, chunks=1), threshold=80)
    frame = miravex.dask.frame_of(tables)
    assert list(frame.columns) == ["picture", *miravex.results.Keypoints.columns()] and frame.npartitions == 3
    rows = frame.compute()
    for i, picture in enumerate(pictures):
        expected = miravex.fast(picture, threshold=80)
        assert len(expected.x) > 0
        assert np.array_equal(rows[rows.picture == i].drop(columns="picture").to_numpy(), expected.rows)
    with pytest.raises(ValueError, match="expected a table of miravex.results"):
        miravex.dask.frame_of(tables, miravex.results.Contours)
