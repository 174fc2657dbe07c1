"""Results drawn over pictures, as the command line's ``--overlay`` draws them.

Each function takes a picture and what an operation found in it, and gives a new RGB picture of uint8.
"""

from __future__ import annotations

from typing import TYPE_CHECKING, Any

import numpy as np

from . import _miravex, results
from .results import packed

if TYPE_CHECKING:
    import numpy.typing as npt

    Image = npt.NDArray[Any]


_INTEGERS = ("matches", "contours", "chain-codes", "positions")


def _drawn(image: Image, layout: str, value: Any, name: str = "rows") -> Image:
    return _miravex.draw(image, layout, packed(value, layout, name), layout in _INTEGERS)


def keypoints(image: Image, rows: npt.ArrayLike | results.Features) -> Image:
    """Circles of the keypoints' sizes, each with a radius in its direction. The rows are Keypoints, Features
    or an array of shape (n, 7)."""
    return _drawn(image, "keypoints", _rows(rows))


def regions(image: Image, rows: npt.ArrayLike) -> Image:
    """Rectangles, from Regions or an array of shape (n, 5)."""
    return _drawn(image, "regions", rows)


def labels(image: Image, numbers: npt.ArrayLike) -> Image:
    """The pixels of each region in a colour of its own, from an array of the picture's shape; 0 is none."""
    return _drawn(image, "labels", numbers)


def polar_lines(image: Image, rows: npt.ArrayLike) -> Image:
    """Lines across the whole picture, from PolarLines or an array of shape (n, 2)."""
    return _drawn(image, "polar-lines", rows)


def border_lines(image: Image, rows: npt.ArrayLike) -> Image:
    """Lines between points of the picture's border, from Lines or an array of shape (n, 4)."""
    return _drawn(image, "border-lines", rows)


def lines(image: Image, rows: npt.ArrayLike) -> Image:
    """Segments, from Lines or WideLines, or from an array of shape (n, 4) or (n, 5)."""
    wide = np.asarray(rows).shape[-1:] == (len(results.WideLines.columns()),)
    return _drawn(image, "wide-segments" if wide else "segments", rows)


def circles(image: Image, rows: npt.ArrayLike) -> Image:
    """Circles, from Circles or an array of shape (n, 3)."""
    return _drawn(image, "circles", rows)


def contours(image: Image, outlines: results.Contours) -> Image:
    """Outlines, coloured by their level in the hierarchy."""
    return _drawn(image, "contours", outlines, "outlines")


def faces(image: Image, boxes: npt.ArrayLike) -> Image:
    """Boxes with their scores, from Faces or an array of shape (n, 5)."""
    return _drawn(image, "face-boxes", boxes, "boxes")


def flow(image: Image, field: results.Flow | results.ValidFlow) -> Image:
    """The first pair's motion in the colours of a wheel: hue for the direction, strength for the speed."""
    return _drawn(image, "flow-and-validity" if isinstance(field, results.ValidFlow) else "flow", field, "field")


def matches(
    first: Image,
    first_keypoints: npt.ArrayLike | results.Features,
    second: Image,
    second_keypoints: npt.ArrayLike | results.Features,
    pairs: npt.ArrayLike,
) -> Image:
    """Both pictures side by side with a line for every match. The pairs are Matches, or an array of shape
    (n, 2) of positions in the keypoints, from 0."""
    queries, trains = np.atleast_1d(_rows(first_keypoints)), np.atleast_1d(_rows(second_keypoints))
    found = pairs if isinstance(pairs, results.Matches) else results.Matches.over(pairs)
    for name, column, rows in (("query", found.query, queries), ("train", found.train, trains)):
        if column.dtype.kind not in "iu" or ((column < 0) | (column >= len(rows))).any():
            raise ValueError(f"pairs names a {name} keypoint that is not there, expected positions from 0")
    return _miravex.draw_matches(first, queries, second, trains, packed(found, "matches"))


def _rows(keypoints: Any) -> Any:
    return keypoints.keypoints if isinstance(keypoints, results.Features) else keypoints
