"""Arguments for the operations with a stated reach: pictures of noise of many types and sizes, and every padding."""

from __future__ import annotations

from collections.abc import Callable
from typing import Any, NamedTuple

import numpy as np

PADDINGS = ["Constant", "Fixed", "Reversed", "Periodic", "Reflected", "None"]
Arguments = dict[str, Any]


class Numbers:
    """Numbers by a seed, and the range of sides of the pictures that are drawn."""

    def __init__(self, seed: int, least: int, most: int) -> None:
        self.generator = np.random.default_rng(seed)
        self.least, self.most = least, most

    def __getattr__(self, name: str) -> Any:
        return getattr(self.generator, name)


def gray(numbers: Numbers, kind: Any = np.uint8, channels: int = 1) -> np.ndarray:
    sides = tuple(numbers.integers(numbers.least, numbers.most, 2))
    shape = sides if channels == 1 else (*sides, channels)
    if kind == np.bool_:
        return numbers.integers(0, 2, shape).astype(bool)
    if np.issubdtype(kind, np.floating):
        return numbers.random(shape).astype(kind)
    return numbers.integers(0, np.iinfo(kind).max, shape, kind, endpoint=True)


def any_type(numbers: Numbers) -> Any:
    return numbers.choice([np.uint8, np.uint16, np.float32, np.float64])


def small(numbers: Numbers) -> int:
    return int(numbers.integers(1, 5))


def window(numbers: Numbers) -> int:
    return int(numbers.choice([1, 3, 5, 7]))


class Case(NamedTuple):
    """How arguments are drawn, and where in the picture a pixel of the result has its place."""

    arguments: Callable[[Numbers, str], Arguments]
    place: Callable[[Arguments], tuple[np.ndarray, np.ndarray]] | None = None
    paddings: tuple[str, ...] = ("",)


def pad(numbers: Numbers, padding: str) -> Arguments:
    margins = dict(zip(("top", "bottom", "left", "right"), map(int, numbers.integers(0, 60, 4))))
    values = {"values": [3.0]} if padding == "Constant" else {}
    return {"image": gray(numbers), **margins, "padding": padding, **values}


def pad_place(given: Arguments) -> tuple[np.ndarray, np.ndarray]:
    rows, columns = given["image"].shape
    return (
        np.arange(rows + given["top"] + given["bottom"]) - given["top"],
        np.arange(columns + given["left"] + given["right"]) - given["left"],
    )


def pyramid_sides(numbers: Numbers, image: np.ndarray, up: bool) -> Arguments:
    rows, columns = image.shape[:2]

    def side(length: int) -> int:
        if up:
            return 2 * length + int(numbers.integers(-1, 2))
        return int(numbers.choice([n for n in range(1, length) if abs(2 * n - length) <= 2]))

    return {"image": image, "width": side(columns), "height": side(rows)}


def half(given: Arguments) -> tuple[np.ndarray, np.ndarray]:
    return np.arange(given["height"]) // 2, np.arange(given["width"]) // 2


def twice(given: Arguments) -> tuple[np.ndarray, np.ndarray]:
    return np.arange(given["height"]) * 2, np.arange(given["width"]) * 2


def binarize(numbers: Numbers, padding: str) -> Arguments:
    kind = numbers.choice([np.bool_, np.bool_, np.uint8, np.float32])
    coefficients = [1, numbers.choice([0, 0.2]), numbers.choice([0, 0.1])]
    return {
        "image": gray(numbers, kind),
        "radius": small(numbers),
        "coefficients": numbers.choice([coefficients, [0, 0, 0.5]]),
        "padding": padding,
        "padding_value": float(numbers.choice([0, 1, 0.3])),
    }


def remap(numbers: Numbers, padding: str) -> Arguments:
    image = gray(numbers, any_type(numbers))
    rows, columns = image.shape
    margin = 0 if padding == "None" else 9
    return {
        "image": image,
        "interpolation": str(numbers.choice(["Nearest", "Linear", "Area", "Cubic", "Lanczos4"])),
        "padding": padding,
        "x": numbers.uniform(5 - margin, columns - 7 + margin, image.shape),
        "y": numbers.uniform(5 - margin, rows - 7 + margin, image.shape),
    }


def looked_up(given: Arguments) -> tuple[np.ndarray, np.ndarray]:
    return np.floor(given["y"]), np.floor(given["x"])


def warp(numbers: Numbers, padding: str) -> Arguments:
    move = np.eye(3)
    move[:2, 2] = numbers.uniform(-9, 9, 2)
    return {
        "image": gray(numbers),
        "homography": move,
        "interpolation": str(numbers.choice(["Nearest", "Linear"])),
        "padding": padding,
    }


def moved(given: Arguments) -> tuple[np.ndarray, np.ndarray]:
    """Where a shift looks up: its rows go upwards, from the edge below the last pixel."""
    rows, columns = given["image"].shape
    right, up = given["homography"][:2, 2]
    y = rows - (np.arange(rows)[::-1] - up)
    return np.floor(y), np.floor(np.arange(columns) - right)


def frames(numbers: Numbers, channels: int) -> np.ndarray:
    picture = gray(numbers, np.uint8, channels)
    return numbers.integers(0, 256, (5, *picture.shape), np.uint8)


def denoise(numbers: Numbers, channels: int, sequence: bool) -> Arguments:
    picture = frames(numbers, channels) if sequence else gray(numbers, np.uint8, channels)
    return {
        "frames" if sequence else "image": picture,
        "strength": 80.0,
        "template_window": window(numbers),
        "search_window": window(numbers),
    }


def bracket(numbers: Numbers) -> Arguments:
    return {"frames": frames(numbers, 3), "exposures": [0.5, 1.0, 2.0, 4.0, 9.0]}


CASES = {
    "agast": Case(lambda n, _: {"image": gray(n), "threshold": 60, "nonmax_suppression": False}),
    "dilation": Case(lambda n, _: {"image": gray(n, any_type(n)), "radius": small(n)}),
    "fast": Case(lambda n, _: {"image": gray(n), "threshold": 60, "nonmax_suppression": bool(n.integers(2))}),
    "fast_nl_means_denoising": Case(lambda n, _: denoise(n, 1, False)),
    "fast_nl_means_denoising_colored": Case(lambda n, _: denoise(n, 3, False)),
    "fast_nl_means_denoising_multi": Case(lambda n, _: denoise(n, 2, True)),
    "fast_nl_means_denoising_colored_multi": Case(lambda n, _: denoise(n, 3, True)),
    "image_convolve": Case(
        lambda n, padding: {
            "image": gray(n, any_type(n)),
            "horizontal": n.normal(size=n.integers(1, 9)),
            "vertical": n.normal(size=n.integers(1, 9)),
            "padding": padding,
        },
        paddings=tuple(PADDINGS),
    ),
    "image_demosaic": Case(lambda n, _: {"image": gray(n), "pattern": str(n.choice(["RGGB", "GBRG", "GRBG", "BGGR"]))}),
    "image_pad": Case(pad, pad_place, tuple(PADDINGS)),
    "image_perspective_transformation": Case(warp, moved, ("Constant", "Fixed")),
    "local_adaptive_binarize": Case(binarize, paddings=tuple(PADDINGS)),
    "median_filter": Case(lambda n, _: {"image": gray(n, any_type(n)), "radius": small(n)}),
    "merge_debevec": Case(lambda n, _: bracket(n)),
    "merge_robertson": Case(lambda n, _: bracket(n)),
    "pyr_down": Case(
        lambda n, padding: {**pyramid_sides(n, gray(n, any_type(n)), False), "padding": padding},
        twice,
        ("Fixed", "Reversed", "Periodic", "Reflected"),
    ),
    "pyr_up": Case(lambda n, _: pyramid_sides(n, gray(n, any_type(n)), True), half),
    "remap_tensor": Case(remap, looked_up, tuple(PADDINGS)),
}

#: Each operation with each padding.
EVERY = [(name, padding) for name, case in CASES.items() for padding in case.paddings]
