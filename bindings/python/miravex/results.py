"""What operations give back besides pictures: named tuples of NumPy arrays.

A table such as :class:`Keypoints` has one array per column. Its columns are views into one array of rows,
``keypoints.rows``, which is what other operations take; ``numpy.asarray(keypoints)`` is that array too. A
table without rows has rows of shape (0, columns).

Positions are in pixels from the left and bottom edges of the picture, y upwards; indices count from 0.
"""

from __future__ import annotations

from collections.abc import Callable, Sequence
from typing import TYPE_CHECKING, Any, NamedTuple, TypeVar

import numpy as np

if TYPE_CHECKING:
    import numpy.typing as npt  # takes a fifth of the package's own import, for type checkers alone

    Array = npt.NDArray[Any]
else:
    Array = np.ndarray
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

    def __reduce__(self) -> tuple[Any, ...]:
        others = {name: value for name, value in self.__dict__.items() if name != "_rows"}
        return _table_over, (type(self), self.rows, others)


def _table_over(kind: type[T], rows: Array, others: dict[str, Any]) -> T:
    """A copied or unpickled table, whose columns are again views of its rows."""
    table = kind.over(rows)
    table.__dict__.update(others)
    return table


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
        [("left", Array), ("bottom", Array), ("right", Array), ("top", Array), ("score", Array)],
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


def _as(kind: type[T], rows: T | npt.ArrayLike) -> T:
    return rows if isinstance(rows, kind) else kind.over(rows)


def _read_features(rows: Array) -> Features:
    width = len(Keypoints.columns())
    return Features(Keypoints.over(rows[:, :width]), rows[:, width:])


def _write_features(features: Features) -> Array:
    both: Array = np.hstack([_as(Keypoints, features.keypoints).rows, features.descriptors])
    return both


def _read_matches(packed: Array) -> Matches:
    queries = int(packed[0])
    counts = packed[1 : 1 + queries]
    pairs = np.empty((len(packed) - 1 - queries, 2), dtype=np.int64)
    pairs[:, 0] = np.repeat(np.arange(queries), counts)
    pairs[:, 1] = packed[1 + queries :] - 1
    matches = Matches.over(pairs)
    matches.__dict__["_counts"] = counts
    return matches


def _write_matches(rows: Matches | npt.ArrayLike) -> Array:
    matches = _as(Matches, rows)
    counts = matches.counts
    by_query = np.argsort(matches.query, kind="stable")
    packed: Array = np.concatenate([[len(counts)], counts, matches.train[by_query] + 1])
    return packed.astype(np.int64)


def _read_contours(packed: Array) -> Contours:
    count = int(packed[0])
    lengths = packed[1 : 1 + count]
    ends = np.cumsum(lengths)
    first = 1 + count
    total = int(ends[-1]) if count else 0
    points = packed[first : first + 2 * total].reshape(-1, 2)
    hierarchy = packed[first + 2 * total :].reshape(-1, 4)
    return Contours([points[end - n : end] for n, end in zip(lengths, ends)], hierarchy)


def _write_contours(contours: Contours) -> Array:
    lengths = [len(points) for points in contours.points]
    points = [np.ravel(outline) for outline in contours.points]
    parts: Sequence[npt.ArrayLike] = [[len(lengths)], lengths, *points, np.ravel(contours.hierarchy)]
    return np.concatenate([np.asarray(part, dtype=np.int64) for part in parts])


def _read_chain_codes(packed: Array) -> ChainCodes:
    rest = packed[1:]
    starts = np.flatnonzero(rest == -1)
    ends = np.append(starts[1:], len(rest))
    return ChainCodes([rest[start + 1 : end] for start, end in zip(starts, ends)])


def _write_chain_codes(chains: ChainCodes) -> Array:
    parts = [np.concatenate([[-1], codes]) for codes in chains.codes]
    packed: Array = np.concatenate([[len(parts)], *parts])
    return packed.astype(np.int64)


def _read_faces(packed: Array) -> Faces:
    count = int(packed[0])
    boxes = packed[1 : 1 + 4 * count].reshape(count, 4)
    return Faces(boxes[:, 0], boxes[:, 1], boxes[:, 2], boxes[:, 3], packed[1 + 4 * count :])


def _write_faces(boxes: Faces | npt.ArrayLike) -> Array:
    rows = _as(Faces, boxes).rows
    return np.concatenate([[len(rows)], rows[:, :4].ravel(), rows[:, 4]])


def _read_shift(pair: Array) -> Shift:
    return Shift(float(pair[0]), float(pair[1]))


def _write_field(field: Flow | ValidFlow) -> Array:
    return np.stack(field, axis=-1)


class _Form(NamedTuple):
    """How a layout of the library's is read and written, and the type of what is read; None for an array."""

    read: Callable[[Array], Any]
    write: Callable[[Any], Any]
    result: type[Any] | None


def _rows(table: type[Any]) -> _Form:
    """Rows as they stand."""
    return _Form(table.over, lambda rows: _as(table, rows).rows, table)


def _list(table: type[Any]) -> _Form:
    """A flat list of all numbers, row by row."""
    width = len(table.columns())
    return _Form(lambda flat: table.over(flat.reshape(-1, width)), lambda rows: _as(table, rows).rows.ravel(), table)


_FORMS: dict[str, _Form] = {
    "keypoints": _rows(Keypoints),
    "keypoints-and-descriptors": _Form(_read_features, _write_features, Features),
    "regions": _rows(Regions),
    "matches": _Form(_read_matches, _write_matches, Matches),
    "polar-lines": _list(PolarLines),
    "border-lines": _list(Lines),
    "segments": _list(Lines),
    "wide-segments": _list(WideLines),
    "circles": _list(Circles),
    "contours": _Form(_read_contours, _write_contours, Contours),
    "chain-codes": _Form(_read_chain_codes, _write_chain_codes, ChainCodes),
    "face-boxes": _Form(_read_faces, _write_faces, Faces),
    "flow": _Form(lambda field: Flow(*np.moveaxis(field, -1, 0)), _write_field, Flow),
    "flow-and-validity": _Form(lambda field: ValidFlow(*np.moveaxis(field, -1, 0)), _write_field, ValidFlow),
    "response-curve": _Form(lambda flat: flat.reshape(256, -1), np.ravel, None),
    "shift": _Form(_read_shift, np.asarray, Shift),
    "positions": _Form(lambda positions: positions - 1, lambda positions: np.asarray(positions) + 1, None),
}

#: The Python type of each layout, for signatures; an array where none is named.
TYPES: dict[str, str] = {layout: form.result.__name__ for layout, form in _FORMS.items() if form.result}


def unpacked(value: Any, layout: str) -> Any:
    """A result of the library in the form in which Python's users read it."""
    form = _FORMS.get(layout)
    return form.read(value) if form and isinstance(value, np.ndarray) else value


def packed(value: Any, layout: str, name: str = "value") -> Array:
    """The reverse of :func:`unpacked`; a table may also be given as an array of its rows. ``name`` is what an
    error calls the value."""
    form = _FORMS.get(layout)
    if form is None:
        return np.asarray(value)
    if form.result and not issubclass(form.result, Table) and not isinstance(value, form.result):
        raise ValueError(f"{name} is of type {type(value).__name__}, expected {form.result.__name__}")
    return np.asarray(form.write(value))
