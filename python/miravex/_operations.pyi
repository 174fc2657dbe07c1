"""Type stubs of the generated functions. Written by python -m miravex._stubs; not edited by hand."""

import os
from collections.abc import Mapping
from typing import Any, Literal

import numpy.typing as npt
from numpy.typing import ArrayLike

from ._miravex import Operation

Array = npt.NDArray[Any]
Image = npt.NDArray[Any]
Path = str | bytes | os.PathLike[str] | os.PathLike[bytes]
ColorSpace = Literal["gray", "RGB", "unspecified"] | int

__all__ = [
    "catalog",
    "load_images_from_path_into",
    "median_filter",
    "pyr_down",
    "pyr_mean_shift_filter",
    "pyr_up",
]

def catalog() -> tuple[Operation, ...]: ...

def load_images_from_path_into(
    destination: Array,
    paths: str,
    lengths: ArrayLike,
    color_space: Literal["RGB", "XYZ", "LAB", "LUV", "Grayscale"] = 'RGB',
    mean: ArrayLike | None = None,
    rstddev: ArrayLike | None = None,
    stripes: int = 0,
    channels_last: int = 1,
) -> Array:
    """Loads image files in parallel into one float array, resized and normalised."""

def median_filter(
    image: Image,
    radius: int = 2,
    *,
    colorspace: ColorSpace | Mapping[str, ColorSpace] | None = None,
) -> Image:
    """Replaces every pixel by the median of a square around it."""

def pyr_down(
    image: Image,
    padding: Literal["Fixed", "Reversed", "Periodic", "Reflected", "None"] = 'Reflected',
    width: int | None = None,
    height: int | None = None,
    *,
    colorspace: ColorSpace | Mapping[str, ColorSpace] | None = None,
) -> Image:
    """Blurs a picture and halves its size."""

def pyr_mean_shift_filter(
    image: Image,
    spatial_radius: float = 10.0,
    color_radius: float = 0.1,
    max_level: int = 1,
    iterations: int = 5,
    *,
    colorspace: ColorSpace | Mapping[str, ColorSpace] | None = None,
) -> Image:
    """Flattens colours by mean-shift clustering over position and colour."""

def pyr_up(
    image: Image,
    width: int | None = None,
    height: int | None = None,
    *,
    colorspace: ColorSpace | Mapping[str, ColorSpace] | None = None,
) -> Image:
    """Doubles the size of a picture, smoothly."""
