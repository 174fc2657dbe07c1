"""Arrays as images: types, axes, layouts, and that nothing is copied."""

from __future__ import annotations

import gc
import os
import subprocess
import sys
import types
import weakref
from decimal import Decimal
from fractions import Fraction
from pathlib import Path

import miravex
import numpy as np
import pytest
from miravex import _miravex

TYPES = [np.bool_, np.uint8, np.uint16, np.float32, np.float64]


def full(kind: type) -> float:
    kind = np.dtype(kind)
    return np.iinfo(kind).max if kind.kind == "u" else 1


@pytest.mark.parametrize("kind", TYPES)
@pytest.mark.parametrize("axes", [(20, 30), (20, 30, 3), (20, 30, 4)])
def test_types_and_axes_come_back(kind: type, axes: tuple[int, ...]) -> None:
    picture = (np.random.default_rng(3).random(axes) * full(kind)).astype(kind)
    filtered = miravex.median_filter(picture, radius=1)
    assert filtered.shape == axes
    assert filtered.dtype == np.dtype(kind)


def test_one_channel_axis_is_a_gray_picture(noise: np.ndarray) -> None:
    assert np.array_equal(miravex.median_filter(noise[..., None]), miravex.median_filter(noise))


def test_median_of_nine_by_hand() -> None:
    picture = np.array([[9, 8, 7], [1, 200, 6], [2, 3, 4]], dtype=np.uint8)
    assert miravex.median_filter(picture, radius=1)[1, 1] == 6


def test_channels_stay_in_their_places() -> None:
    picture = np.zeros((8, 8, 3), dtype=np.uint8)
    picture[..., 0], picture[..., 1], picture[..., 2] = 10, 20, 30
    assert np.array_equal(miravex.median_filter(picture), picture)


def addresses_seen(picture: np.ndarray) -> tuple[int, int]:
    """Address of the array and of the samples that the host made of it."""
    return picture.__array_interface__["data"][0], _miravex.address_of_image(picture)


@pytest.mark.parametrize("kind", TYPES)
@pytest.mark.parametrize("axes", [(20, 30), (20, 30, 3), (20, 30, 1)])
def test_contiguous_inputs_are_not_copied(kind: type, axes: tuple[int, ...]) -> None:
    own, seen = addresses_seen(np.zeros(axes, dtype=kind))
    assert own == seen


def test_parts_of_a_contiguous_array_are_not_copied() -> None:
    own, seen = addresses_seen(np.zeros((5, 20, 30), dtype=np.float32)[2])
    assert own == seen


@pytest.mark.parametrize(
    "change",
    [
        lambda picture: picture[::2],
        lambda picture: picture[:, 3:-3],
        lambda picture: picture[::-1, ::-1],
        lambda picture: np.asfortranarray(picture),
        lambda picture: picture.swapaxes(0, 1),
    ],
)
def test_other_layouts_give_the_same_result(colour: np.ndarray, change) -> None:
    view = change(colour)
    own, seen = addresses_seen(view)
    assert own != seen
    assert np.array_equal(miravex.median_filter(view), miravex.median_filter(view.copy("C")))


def test_foreign_byte_order_and_alignment() -> None:
    picture = np.random.default_rng(4).random((12, 13)).astype(np.float32)
    expected = miravex.median_filter(picture)
    assert np.array_equal(miravex.median_filter(picture.astype(">f4")), expected)
    unaligned = np.frombuffer(b"x" + picture.tobytes(), dtype=np.uint8)[1:].view(np.float32)
    assert not unaligned.flags.aligned
    assert np.array_equal(miravex.median_filter(unaligned.reshape(12, 13)), expected)


def test_inputs_are_left_alone_and_may_be_read_only(colour: np.ndarray) -> None:
    before = colour.copy()
    colour.flags.writeable = False
    miravex.median_filter(colour)
    assert np.array_equal(colour, before)


def test_results_are_views_of_the_library_memory(colour: np.ndarray) -> None:
    filtered = miravex.median_filter(colour)
    assert not filtered.flags.owndata
    assert type(filtered.base).__name__ == "PyCapsule"
    assert filtered.flags.writeable and filtered.flags.c_contiguous


def test_results_outlive_everything_else(colour: np.ndarray) -> None:
    corner = miravex.median_filter(colour)[:2, :2]
    expected = corner.copy()
    del colour
    gc.collect()
    churn = [miravex.median_filter(np.full((48, 64, 3), i, np.uint8)) for i in range(50)]
    assert len(churn) == 50
    assert np.array_equal(corner, expected)


def test_inputs_are_let_go_after_the_call() -> None:
    class Picture(np.ndarray):
        pass

    picture = np.zeros((8, 8), np.uint8).view(Picture)
    references = sys.getrefcount(picture)
    result = miravex.median_filter(picture)
    assert sys.getrefcount(picture) == references
    gone = weakref.ref(picture)
    del picture
    gc.collect()
    assert gone() is None
    assert result.shape == (8, 8)


def test_rewritten_arrays_are_copied_unless_wanted_in_place(noise: np.ndarray) -> None:
    across, down = np.array([1.0, 2.0, 4.0]), np.array([3.0, 5.0])
    expected = miravex.image_convolve(noise, across, down)
    assert across.tolist() == [1, 2, 4] and down.tolist() == [3, 5]
    assert np.array_equal(miravex.image_convolve(noise, across, down, inplace=True), expected)
    assert across.tolist() == [4, 2, 1] and down.tolist() == [5, 3]  # reversed by the library
    homography = np.array([[1.0, 0, 5], [0, 1, 3], [0, 0, 1]])
    before = homography.copy()
    miravex.image_perspective_transformation(noise, homography)
    assert np.array_equal(homography, before)
    miravex.image_perspective_transformation(noise, homography, inplace=True)
    assert not np.array_equal(homography, before)


def test_only_arrays_that_can_be_rewritten_are_taken_in_place(noise: np.ndarray) -> None:
    fixed = np.ones(3)
    fixed.flags.writeable = False
    for kernel in ([1.0, 2.0], np.ones(3, np.float32), np.ones(3, int), np.ones(3, ">f8"), np.ones(6)[::2], fixed):
        with pytest.raises(ValueError, match="horizontal is .*writeable C-contiguous float64"):
            miravex.image_convolve(noise, kernel, np.ones(3), inplace=True)
        miravex.image_convolve(noise, kernel, np.ones(3))
    assert fixed.tolist() == [1, 1, 1]


def test_numbers_of_other_systems_are_numbers(noise: np.ndarray) -> None:
    class Ratio:
        """A number as a computer-algebra system has it."""

        def __init__(self, value: float) -> None:
            self.value = value

        def __float__(self) -> float:
            return self.value

    third = miravex.image_convolve(noise, [1 / 3] * 3, [0.5])
    assert np.array_equal(miravex.image_convolve(noise, [Fraction(1, 3)] * 3, [Decimal("0.5")]), third)
    assert np.array_equal(miravex.image_convolve(noise, [Ratio(1 / 3)] * 3, [Ratio(0.5)]), third)
    for kernel in ([Fraction(1, 3), "3"], [Fraction(1, 3), None], [Fraction(1, 3), 1j], [Ratio(1), [1, 2]], {1, 2}):
        with pytest.raises(ValueError, match="horizontal is"):
            miravex.image_convolve(noise, kernel, [1])


def test_matrices_of_sympy(noise: np.ndarray) -> None:
    sympy = pytest.importorskip("sympy")
    x = sympy.Symbol("x")
    half = sympy.Rational(1, 2)
    blurred = miravex.image_convolve(noise, [0.5, 0.5], [1.0])
    assert np.array_equal(miravex.image_convolve(noise, sympy.Matrix([half, half]).T.tolist()[0], [1]), blurred)
    move = sympy.Matrix([[1, 0, 5], [0, 1, sympy.sqrt(4)], [0, 0, 1]])
    warped = miravex.image_perspective_transformation(noise, np.array(move, dtype=float))
    assert np.array_equal(miravex.image_perspective_transformation(noise, move), warped)
    with pytest.raises(ValueError, match=r"homography is .*, whose entry \[0, 2\] is x \+ 1, expected an array of real"):
        miravex.image_perspective_transformation(noise, move + sympy.Matrix([[0, 0, x - 4], [0, 0, 0], [0, 0, 0]]))
    picture = sympy.Matrix([[1, 2], [3, 4]])
    with pytest.raises(ValueError, match=r"^median_filter: image is .*\(try numpy.array\(M, dtype=numpy.uint8\)\)$"):
        miravex.median_filter(picture)
    assert miravex.median_filter(np.array(picture, dtype=np.uint8)).shape == (2, 2)
    with pytest.raises(ValueError, match=r"^median_filter: image is .*, whose entry \[1, 0\] is 3\*x, expected an image") as refusal:
        miravex.median_filter(sympy.Matrix([[1, 2], [3 * x, x]]))
    assert "(try" not in str(refusal.value)


def test_color_beyond_the_edge_is_zero_by_default(noise: np.ndarray, tmp_path: Path) -> None:
    outside = np.full(noise.shape, -9.0)
    picture = noise | 1
    calls = {
        "image_perspective_transformation": {"homography": np.array([[1, 0, 9], [0, 1, 9], [0, 0, 1.0]])},
        "log_polar_remap": {"magnitude": 8.0},
        "remap_tensor": {"x": outside, "y": outside},
    }
    np.save(tmp_path / "picture.npy", picture)
    for name, arguments in calls.items():
        made = getattr(miravex, name)(picture, **arguments)
        assert (made == 0).any()
        assert np.array_equal(made, getattr(miravex, name)(picture, **arguments, color=[0, 0, 0]))
        assert not np.array_equal(made, getattr(miravex, name)(picture, **arguments, color=[7, 0, 0]))
        words = []
        for option, value in arguments.items():
            if isinstance(value, np.ndarray):
                np.save(tmp_path / f"{option}.npy", value)
                value = tmp_path / f"{option}.npy"
            words += [f"--{option}", str(value)]
        command = [os.environ["MIRAVEX_TOOL"], name.replace("_", "-"), tmp_path / "picture.npy", *words]
        subprocess.run([*command, "-o", tmp_path / f"{name}.npy"], check=True)
        assert np.array_equal(np.load(tmp_path / f"{name}.npy"), made)


def test_integers_in_arrays_may_be_of_another_type_if_nothing_is_lost() -> None:
    rows = np.eye(3)
    allowed = np.array([[0, 1, 0], [1, 0, 0], [0, 0, 1]])
    expected = miravex.descriptor_matcher(rows, rows, allowed)
    for kind in (bool, np.int8, np.uint64, np.float32, float, object):
        assert np.array_equal(miravex.descriptor_matcher(rows, rows, allowed.astype(kind)).rows, expected.rows)
    too_large = np.full((3, 3), 2**63, np.uint64)
    for mask in (allowed + 0.5, allowed * np.nan, allowed * 1e300, too_large, too_large.astype(object), allowed * 1j):
        with pytest.raises(ValueError, match="mask is .*expected an array of .*integers"):
            miravex.descriptor_matcher(rows, rows, mask)


def test_ndarray_subclasses_and_array_likes_are_read() -> None:
    class Wrapped:
        def __init__(self, array: np.ndarray) -> None:
            self.array = array

        def __array__(self, dtype: object = None) -> np.ndarray:
            return self.array

    picture = np.arange(64, dtype=np.uint8).reshape(8, 8)
    expected = miravex.median_filter(picture)
    assert np.array_equal(miravex.median_filter(Wrapped(picture)), expected)
    assert np.array_equal(miravex.median_filter(np.ma.masked_array(picture)), expected)


SPACES = ["gray", "RGB", "unspecified", 8, 5, {"image": "RGB"}, {}, None, types.MappingProxyType({"image": 8})]


@pytest.mark.parametrize("space", SPACES)
def test_colour_space_can_be_given(space: object) -> None:
    picture = np.zeros((8, 8, 3), np.uint8)
    assert miravex.median_filter(picture, colorspace=space).shape == picture.shape


@pytest.mark.parametrize("channels, expected", [(1, 0), (2, 8), (3, 1), (4, 8), (5, 8)])
def test_colour_space_follows_the_channels(channels: int, expected: int) -> None:
    assert _miravex.color_space_of_image(np.zeros((4, 4, channels), np.uint8)) == expected


def test_small_pictures() -> None:
    for shape in [(1, 1), (1, 9), (9, 1), (1, 1, 3)]:
        picture = np.full(shape, 7, np.uint8)
        assert np.array_equal(miravex.median_filter(picture, radius=1), picture)
