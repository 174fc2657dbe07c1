"""What operations give back besides pictures: named tuples of NumPy arrays.

A table such as :class:`Keypoints` has one array per column. Its columns are views into one array of rows,
``keypoints.rows``, which is what other operations take; ``numpy.asarray(keypoints)`` is that array too. A
table without rows has rows of shape (0, columns).

Positions are in pixels from the left and bottom edges of the picture, y upwards; indices count from 0.
"""

from __future__ import annotations

from collections.abc import Callable, Sequence
from typing import Any, NamedTuple, TypeVar

import numpy as np
import numpy.typing as npt

Array = npt.NDArray[Any]
T = TypeVar("T", bound="Table")


class Table:
    """Rows of numbers with one named array per column."""

    @classmethod
    def columns(cls) -> tuple[str, ...]:
        """The columns' names."""
        names: tuple[str, ...] = getattr(cls, "_fields")
        return names

    @classmethod
    def over(cls: type[T], rows: npt.ArrayLike) -> T:
        """The table of an array of rows; nothing is copied."""
        array = np.asarray(rows)
        names = cls.columns()
        if array.ndim != 2 or array.shape[1] != len(names):
            raise ValueError(f"rows has shape {array.shape}, expected (n, {len(names)}): {', '.join(names)}")
        table = cls(*array.T)
        table.__dict__["_rows"] = array
        return table

    @property
    def rows(self) -> Array:
        """The table as an array of shape (rows, columns)."""
        kept: Array | None = self.__dict__.get("_rows")
        return np.stack(tuple(self), axis=1) if kept is None else kept  # type: ignore[arg-type]

    def __array__(self, dtype: npt.DTypeLike = None) -> Array:
        return np.asarray(self.rows, dtype=dtype)


class Keypoints(
    Table,
    NamedTuple(
        "Keypoints",
        [
            ("x", Array),
            ("y", Array),
            ("size", Array),
            ("angle", Array),
            ("response", Array),
            ("octave", Array),
            ("class_id", Array),
        ],
    ),
):
    """Interest points: position, diameter and direction (degrees) of what was found there."""


class Features(NamedTuple):
    """Keypoints and, row by row, their descriptors."""

    keypoints: Keypoints
    descriptors: Array


class Regions(
    Table,
    NamedTuple(
        "Regions",
        [("number", Array), ("xmin", Array), ("ytop", Array), ("xmax", Array), ("ybottom", Array)],
    ),
):
    """Bounding rectangles of numbered regions."""


class Matches(Table, NamedTuple("Matches", [("query", Array), ("train", Array)])):
    """Pairs of matching descriptors, as indices from 0 into both sets; best first for each query.

    ``counts`` has the number of matches of every query descriptor, zeros included.
    """

    @property
    def counts(self) -> Array:
        kept: Array | None = self.__dict__.get("_counts")
        return np.bincount(self.query) if kept is None else kept


class PolarLines(Table, NamedTuple("PolarLines", [("rho", Array), ("theta", Array)])):
    """Lines by their distance from the top left pixel and the direction of their normal, rows downwards."""


class Lines(
    Table, NamedTuple("Lines", [("x1", Array), ("y1", Array), ("x2", Array), ("y2", Array)])
):
    """Lines or segments by their end points."""


class WideLines(
    Table,
    NamedTuple(
        "WideLines",
        [("x1", Array), ("y1", Array), ("x2", Array), ("y2", Array), ("width", Array)],
    ),
):
    """Segments by their end points, with their widths."""


class Circles(Table, NamedTuple("Circles", [("x", Array), ("y", Array), ("radius", Array)])):
    """Circles by centre and radius."""


class Contours(NamedTuple):
    """Outlines as arrays of points (n, 2), and one row of the hierarchy for each: next, previous, first
    child and parent, as indices from 0, -1 for none."""

    points: list[Array]
    hierarchy: Array


class ChainCodes(NamedTuple):
    """Outlines as arrays of directions, 0 to the right, counted anticlockwise in eighths of a turn; 8 where
    two points are no neighbours."""

    codes: list[Array]


class Faces(
    Table,
    NamedTuple(
        "Faces",
        [("xmin", Array), ("ymin", Array), ("xmax", Array), ("ymax", Array), ("score", Array)],
    ),
):
    """Boxes around faces, each with its score: a confidence, or the number of detections merged."""


class Flow(NamedTuple):
    """Motion from each frame to the next: arrays (pairs, rows, columns); u to the right, v upwards."""

    u: Array
    v: Array


class ValidFlow(NamedTuple):
    """Motion from each frame to the next, with 1 where it could be found and 0 where it was replaced."""

    u: Array
    v: Array
    valid: Array


class Shift(NamedTuple):
    """How far a picture moved: to the right and upwards."""

    x: float
    y: float


# --- from and to the library's own form -----------------------------------------------------------------


def _regrouped(table: type[T]) -> Callable[[Array], T]:
    """Reads a flat list of numbers as rows."""
    return lambda flat: table.over(flat.reshape(-1, len(table.columns())))


def _features(rows: Array) -> Features:
    width = len(Keypoints.columns())
    return Features(Keypoints.over(rows[:, :width]), rows[:, width:])


def _matches(packed: Array) -> Matches:
    queries = int(packed[0])
    counts = packed[1 : 1 + queries]
    pairs = np.empty((len(packed) - 1 - queries, 2), dtype=np.int64)
    pairs[:, 0] = np.repeat(np.arange(queries), counts)
    pairs[:, 1] = packed[1 + queries :] - 1
    matches = Matches.over(pairs)
    matches.__dict__["_counts"] = counts
    return matches


def _contours(packed: Array) -> Contours:
    count = int(packed[0])
    lengths = packed[1 : 1 + count]
    ends = np.cumsum(lengths)
    first = 1 + count
    total = int(ends[-1]) if count else 0
    points = packed[first : first + 2 * total].reshape(-1, 2)
    hierarchy = packed[first + 2 * total :].reshape(-1, 4)
    return Contours([points[end - n : end] for n, end in zip(lengths, ends)], hierarchy)


def _chain_codes(packed: Array) -> ChainCodes:
    rest = packed[1:]
    starts = np.flatnonzero(rest == -1)
    ends = np.append(starts[1:], len(rest))
    return ChainCodes([rest[start + 1 : end] for start, end in zip(starts, ends)])


def _faces(packed: Array) -> Faces:
    count = int(packed[0])
    boxes = packed[1 : 1 + 4 * count].reshape(count, 4)
    return Faces(boxes[:, 0], boxes[:, 1], boxes[:, 2], boxes[:, 3], packed[1 + 4 * count :])


def _flow(field: Array) -> Flow:
    return Flow(field[..., 0], field[..., 1])


def _valid_flow(field: Array) -> ValidFlow:
    return ValidFlow(field[..., 0], field[..., 1], field[..., 2])


def _shift(pair: Array) -> Shift:
    return Shift(float(pair[0]), float(pair[1]))


_READERS: dict[str, Callable[[Array], object]] = {
    "Keypoints": Keypoints.over,
    "KeypointsAndDescriptors": _features,
    "Regions": Regions.over,
    "Matches": _matches,
    "PolarLines": _regrouped(PolarLines),
    "BorderLines": _regrouped(Lines),
    "Segments": _regrouped(Lines),
    "WideSegments": _regrouped(WideLines),
    "Circles": _regrouped(Circles),
    "Contours": _contours,
    "ChainCodes": _chain_codes,
    "FaceBoxes": _faces,
    "Flow": _flow,
    "FlowAndValidity": _valid_flow,
    "ResponseCurve": lambda flat: flat.reshape(256, -1),
    "Shift": _shift,
    "Positions": lambda positions: positions - 1,
}

#: The Python type of each layout, for signatures; an array where none is named.
TYPES: dict[str, str] = {
    "Keypoints": "Keypoints",
    "KeypointsAndDescriptors": "Features",
    "Regions": "Regions",
    "Matches": "Matches",
    "PolarLines": "PolarLines",
    "BorderLines": "Lines",
    "Segments": "Lines",
    "WideSegments": "WideLines",
    "Circles": "Circles",
    "Contours": "Contours",
    "ChainCodes": "ChainCodes",
    "FaceBoxes": "Faces",
    "Flow": "Flow",
    "FlowAndValidity": "ValidFlow",
    "Shift": "Shift",
}


def unpacked(value: Any, layout: str) -> Any:
    """A result of the library in the form in which Python's users read it."""
    reader = _READERS.get(layout)
    return reader(value) if reader and isinstance(value, np.ndarray) else value


def _pack_matches(matches: Matches) -> Array:
    counts = matches.counts
    return np.concatenate([[len(counts)], counts, matches.train + 1]).astype(np.int64)


def _pack_contours(contours: Contours) -> Array:
    lengths = [len(points) for points in contours.points]
    points = [np.asarray(outline).ravel() for outline in contours.points]
    parts: Sequence[npt.ArrayLike] = [[len(lengths)], lengths, *points, np.ravel(contours.hierarchy)]
    return np.concatenate([np.asarray(part, dtype=np.int64) for part in parts])


def _pack_faces(faces: Faces) -> Array:
    rows = faces.rows
    return np.concatenate([[len(rows)], rows[:, :4].ravel(), rows[:, 4]])


def packed(value: Any, layout: str) -> Array:
    """The reverse of :func:`unpacked`."""
    if layout == "Matches":
        return _pack_matches(value)
    if layout == "Contours":
        return _pack_contours(value)
    if layout == "ChainCodes":
        parts = [np.concatenate([[-1], codes]) for codes in value.codes]
        outlines: Array = np.concatenate([[len(parts)], *parts]).astype(np.int64)
        return outlines
    if layout == "FaceBoxes":
        return _pack_faces(value)
    if layout == "KeypointsAndDescriptors":
        features: Features = value
        both: Array = np.hstack([features.keypoints.rows, features.descriptors])
        return both
    if layout in ("Flow", "FlowAndValidity"):
        field: Array = np.stack(value, axis=-1)
        return field
    if layout == "Positions":
        return np.asarray(value) + 1
    rows = np.asarray(value)
    flat = layout in ("PolarLines", "BorderLines", "Segments", "WideSegments", "Circles", "ResponseCurve")
    return rows.ravel() if flat else rows
