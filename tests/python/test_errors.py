"""What callers are told, and when."""

from __future__ import annotations

import pickle

import miravex
import numpy as np
import pytest

PICTURE = np.zeros((8, 10), np.uint8)


def message(kind: type[Exception], *args: object, **kwargs: object) -> str:
    with pytest.raises(kind) as caught:
        miravex.median_filter(*args, **kwargs)
    return str(caught.value)


def test_bounds_name_argument_value_range_and_suggestion() -> None:
    text = message(ValueError, PICTURE, radius=0)
    for part in ("median_filter", "radius is 0", "at least 1", "try 1"):
        assert part in text
    assert "try 127" in message(ValueError, PICTURE, radius=128)


def test_words_get_a_suggestion() -> None:
    with pytest.raises(ValueError, match=r'padding is "Reflecte".*one of.*try Reflected'):
        miravex.pyr_down(PICTURE, padding="Reflecte")


def test_unknown_names_get_a_suggestion() -> None:
    assert "try radius" in message(TypeError, PICTURE, raduis=1)
    assert "image" in message(TypeError)
    message(TypeError, PICTURE, 1, 2)
    with pytest.raises(TypeError):
        miravex.median_filter(PICTURE, image=PICTURE)


def test_constraints_are_explained() -> None:
    with pytest.raises(ValueError, match="width is 9, expected a width that doubled"):
        miravex.pyr_down(PICTURE, width=9)


def test_images_are_described() -> None:
    assert "int64" in message(ValueError, PICTURE.astype(int))
    assert "astype(numpy.uint8)" in message(ValueError, PICTURE.astype(int))
    assert "10 x 8 byte image with 2 channels" in message(ValueError, np.zeros((8, 10, 2), np.uint8))


@pytest.mark.parametrize(
    "image",
    [
        None,
        5,
        "picture.png",
        b"bytes",
        [],
        [[1, 2], [3]],
        {},
        object(),
        np.zeros(4, np.uint8),
        np.zeros((2, 2, 2, 2, 2), np.uint8),
        np.zeros((0, 5), np.uint8),
        np.zeros((5, 0), np.uint8),
        np.zeros((5, 5, 0), np.uint8),
        np.zeros((0, 0, 0), np.uint8),
        np.zeros((0, 5, 5, 3), np.uint8),
        np.zeros((3, 5, 5, 3), np.uint8),
        np.zeros((5, 5), np.complex64),
        np.zeros((5, 5), np.float16),
        np.zeros((5, 5), object),
        np.zeros((5, 5), "datetime64[s]"),
        np.zeros((5, 5), [("x", np.uint8)]),
    ],
    ids=lambda value: f"{type(value).__name__}{getattr(value, 'shape', '')}",
)
def test_other_images_are_refused(image: object) -> None:
    assert "image" in message(ValueError, image)


@pytest.mark.parametrize("radius", ["x", 1.5, 2.0, [], object(), 2**63, -(2**63) - 1, 2**200, float("nan")])
def test_other_integers_are_refused(radius: object) -> None:
    assert "radius" in message(ValueError, PICTURE, radius=radius)


def test_numpy_scalars_are_numbers() -> None:
    expected = miravex.median_filter(PICTURE, 3)
    for kind in (np.int8, np.uint64, np.int32):
        assert np.array_equal(miravex.median_filter(PICTURE, radius=kind(3)), expected)
    colour = np.zeros((8, 8, 3), np.uint8)
    for radius in (np.float32(3), 3, np.float64(3)):
        assert miravex.pyr_mean_shift_filter(colour, spatial_radius=radius).shape == colour.shape


@pytest.mark.parametrize("radius", ["3", b"3", None, [], 1j, object()])
def test_other_reals_are_refused_or_left_to_the_default(radius: object) -> None:
    colour = np.zeros((8, 8, 3), np.uint8)
    if radius is None:
        assert miravex.pyr_mean_shift_filter(colour, spatial_radius=None).shape == colour.shape
        return
    with pytest.raises(ValueError, match="spatial_radius"):
        miravex.pyr_mean_shift_filter(colour, spatial_radius=radius)


@pytest.mark.parametrize("word", [5, b"Fixed", "Fixed\0", "\ud800", [], "x" * 10000])
def test_other_words_are_refused(word: object) -> None:
    with pytest.raises(ValueError, match="padding"):
        miravex.pyr_down(PICTURE, padding=word)


@pytest.mark.parametrize("space", ["grey", "", 2**40, -1, 1.5, True, b"RGB", {"image": "grey"}])
def test_other_colour_spaces_are_refused(space: object) -> None:
    assert "colorspace" in message(ValueError, PICTURE, colorspace=space)


def test_failures_carry_the_words_of_opencv() -> None:
    with pytest.raises(miravex.MiravexError, match="border type"):
        miravex.pyr_down(PICTURE, padding="None")


def test_failures_can_be_sent_to_another_process() -> None:
    error = pickle.loads(pickle.dumps(miravex.MiravexError("why")))
    assert isinstance(error, miravex.MiravexError) and str(error) == "why"


def test_objects_that_misbehave() -> None:
    class Rude:
        def __array__(self, dtype: object = None) -> np.ndarray:
            raise RuntimeError("no")

        def __repr__(self) -> str:
            raise RuntimeError("no words either")

        def __index__(self) -> int:
            raise RuntimeError("no")

    assert "image" in message(ValueError, Rude())
    assert "radius" in message(ValueError, PICTURE, radius=Rude())


def test_an_interrupt_while_reading_an_argument_is_not_swallowed() -> None:
    class Interrupting:
        def __array__(self, dtype: object = None) -> np.ndarray:
            raise KeyboardInterrupt

    with pytest.raises(KeyboardInterrupt):
        miravex.median_filter(Interrupting())
