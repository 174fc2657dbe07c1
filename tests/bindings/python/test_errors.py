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
    with pytest.raises(ValueError, match="search_window is 4097.*try 4095"):
        miravex.fast_nl_means_denoising(PICTURE, search_window=4097)


def test_words_get_a_suggestion() -> None:
    with pytest.raises(ValueError, match=r'padding is "Reflecte".*one of.*try Reflected'):
        miravex.pyr_down(PICTURE, padding="Reflecte")


def test_unknown_names_get_a_suggestion() -> None:
    assert "try radius" in message(TypeError, PICTURE, raduis=1)
    assert "image" in message(TypeError)
    message(TypeError, PICTURE, 1, 2)
    assert "unexpected keyword argument" in message(TypeError, PICTURE, **{"\ud800": 1})
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


@pytest.mark.parametrize("word", [5, b"Fixed", "Fixed\0", "\ud800", "\udcff", [], "x" * 10000])
def test_other_words_are_refused(word: object) -> None:
    with pytest.raises(ValueError, match="padding"):
        miravex.pyr_down(PICTURE, padding=word)


ENDLESS: dict[str, object] = {}
ENDLESS["image"] = ENDLESS


WRONG_SPACES = ["grey", "", "\ud800", 2**40, -1, 1.5, True, b"RGB"]
WRONG_SPACES += [{"image": "grey"}, {"image": {"image": "RGB"}}, ENDLESS]


@pytest.mark.parametrize("space", WRONG_SPACES)
def test_other_colour_spaces_are_refused(space: object) -> None:
    assert "colorspace" in message(ValueError, PICTURE, colorspace=space)


@pytest.mark.parametrize("name", ["imgae", "radius", "", 5, None, "\ud800", ()])
def test_colour_spaces_of_no_image_are_refused(name: object) -> None:
    text = message(ValueError, PICTURE, colorspace={name: "RGB"})
    assert f"colorspace names the argument {name!r}, expected one of image" in text
    assert ("(try image)" in text) == (name == "imgae")


@pytest.mark.parametrize("flag", [1, 0, "yes", None, [], np.array([True, False])])
def test_other_flags_are_refused(flag: object) -> None:
    with pytest.raises(ValueError, match="inplace is .*expected True or False"):
        miravex.image_convolve(PICTURE, [1], [1], inplace=flag)
    with pytest.raises(ValueError, match="chain_code is"):
        miravex.find_contours(PICTURE, chain_code=[] if flag is None else flag)


def test_flags_of_numpy_are_flags() -> None:
    assert type(miravex.find_contours(PICTURE, chain_code=np.True_)) is miravex.results.ChainCodes
    kernel = np.array([1.0, 2.0])
    miravex.image_convolve(PICTURE, kernel, np.ones(1), inplace=np.True_)
    assert kernel.tolist() == [2, 1]


@pytest.mark.parametrize("name", ["absent.xml", "fehlt-ü.xml", b"\xff.xml", "\udcff.xml"])
def test_failures_say_what_is_wrong_with_a_file(name: object) -> None:
    with pytest.raises(miravex.MiravexError, match="face_detection: cascade .*there is no such file"):
        miravex.face_detection(np.zeros((64, 64), np.uint8), name)


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


@pytest.mark.parametrize("kind", [KeyboardInterrupt, SystemExit, MemoryError])
def test_an_interrupt_while_reading_an_argument_is_not_swallowed(kind: type[BaseException]) -> None:
    class Interrupting:
        def interrupt(self, *args: object) -> None:
            raise kind

        __array__ = __index__ = __float__ = __repr__ = interrupt  # type: ignore[assignment]

    for call in (
        lambda: miravex.median_filter(Interrupting()),
        lambda: miravex.median_filter(PICTURE, radius=Interrupting()),
        lambda: miravex.pyr_mean_shift_filter(np.zeros((8, 8, 3), np.uint8), spatial_radius=Interrupting()),
        lambda: miravex.pyr_down(PICTURE, padding=Interrupting()),
        lambda: miravex.median_filter(PICTURE, colorspace=Interrupting()),
    ):
        with pytest.raises(kind):
            call()
