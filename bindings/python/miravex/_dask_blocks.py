"""One picture larger than memory: operations whose pixels look no further than their record says, block by block.

A block of the result is cut from the result of a piece of the picture: the pixels that it may look at, and some
more, so that the piece begins where OpenCV's loops begin a new vector (_GRAIN). Where a piece ends at an edge of
the picture, the operation itself finds there what the padding asks for; what it makes of the piece's other ends
is cut off. With "Periodic" padding both edges belong to a piece that reaches one: it is the picture without its
middle.
"""

from __future__ import annotations

from collections.abc import Callable, Iterator, Sequence
from dataclasses import dataclass
from itertools import product
from typing import TYPE_CHECKING, Any, NamedTuple

import numpy as np

if TYPE_CHECKING:
    import numpy.typing as npt

    Array = npt.NDArray[Any]

#: Pieces begin at multiples of this many rows and columns. OpenCV's vector loops leave a rest of each row, or of
#: the whole matrix, to plain code that may round otherwise: so it is the same pixels here and there. Pyramids
#: and mosaics want even numbers besides.
_GRAIN = 64

Span = tuple[int, int]


class Piece(NamedTuple):
    """Along one axis: the spans of the picture that a piece is made of, one after the other, and the span of the
    result that is cut from what the operation makes of it."""

    spans: tuple[Span, ...]
    kept: Span

    @property
    def length(self) -> int:
        return sum(end - begin for begin, end in self.spans)


def _down(value: int) -> int:
    return value // _GRAIN * _GRAIN


def _up(value: int) -> int:
    return -(-value // _GRAIN) * _GRAIN


@dataclass(frozen=True)
class Axis:
    """How the result lies over the picture along one axis, and how far it looks."""

    side: int  #: of the picture
    chunks: tuple[int, ...]  #: of the picture
    before: int
    behind: int
    periodic: bool = False
    halves: bool = False  #: the result has half the size
    doubles: bool = False
    result: int = 0  #: the result's side, where it halves or doubles

    def blocks(self) -> list[Span]:
        """The spans of the result's blocks, which follow the picture's chunks."""
        ends = np.cumsum(self.chunks).tolist()
        if self.halves:
            ends = [-(-end // 2) for end in ends]
        if self.doubles:
            ends = [2 * end for end in ends]
        if self.halves or self.doubles:
            ends[-1] = self.result
        ends = [min(end, ends[-1]) for end in ends]
        return [(begin, end) for begin, end in zip([0, *ends], ends) if begin < end]

    def _places(self, block: Span) -> Span:
        """The places in the picture of a block's pixels."""
        begin, end = block
        if self.halves:
            return 2 * begin, 2 * end - 1
        if self.doubles:
            return begin // 2, (end - 1) // 2 + 1
        return begin, end

    def _from_picture(self, position: int) -> int:
        """The pixel of the result at a place, which is even where sizes are halved."""
        return position // 2 if self.halves else 2 * position if self.doubles else position

    def piece(self, block: Span) -> Piece:
        begin, end = self._places(block)
        begin, end = begin - self.before, end + self.behind
        # Room for windows that operations want to find in a picture, and for the rest of the vector loops.
        least = 2 * (self.before + self.behind) + 2
        first = max(_down(begin), 0)
        last = min(max(_up(end) + _GRAIN, _up(first + least)), self.side)
        first = max(min(first, _down(self.side - least)), 0) if last == self.side else first
        spans: tuple[Span, ...] = ((first, last),)
        if self.periodic and (begin < 0 or end > self.side):
            low, high = self.side, 0
            if end <= self.side:  # the end of the picture besides
                low, high = last, _down(self.side + begin)
            elif begin >= 0:  # its beginning
                low, high = max(_up(end - self.side), _up(least)), first
            spans = ((0, low), (high, self.side)) if 0 < low < high else ((0, self.side),)
        return Piece(spans, self._kept(block, spans))

    def _kept(self, block: Span, spans: tuple[Span, ...]) -> Span:
        place = min(max(self._places(block)[0], 0), self.side - 1)
        gone = 0
        reached = 0
        for begin, end in spans:
            gone += begin - reached
            reached = end
            if place < end:
                break
        shift = self._from_picture(gone)
        return block[0] - shift, block[1] - shift

    def result_of(self, piece: Piece) -> int:
        """The side of what the operation is to make of a piece."""
        if piece.spans[-1][1] == self.side:
            return self.result - self._from_picture(self.side - piece.length)
        return self._from_picture(piece.length)


#: Chunks along one axis, by number, with a part of each.
Source = list[tuple[int, slice]]


def source_of(chunks: tuple[int, ...], spans: Sequence[Span]) -> Source:
    """The chunks along an axis that hold these spans."""
    begins = np.concatenate([[0], np.cumsum(chunks)])
    found = []
    for begin, end in spans:
        first = int(np.searchsorted(begins, begin, "right")) - 1
        last = int(np.searchsorted(begins, end, "left"))
        for number in range(first, last):
            low, high = max(begin, int(begins[number])), min(end, int(begins[number + 1]))
            if low < high:
                found.append((number, slice(low - int(begins[number]), high - int(begins[number]))))
    return found


def parts_of(array: Any, rows: Source, columns: Source, axis: int) -> list[list[Any]]:
    """Tasks for parts of a chunked array; the axes before and behind are whole. The rows are those of axis
    number `axis`."""
    parts = []
    for row, own_rows in rows:
        line = []
        for column, own_columns in columns:
            index = [0] * array.ndim
            index[axis], index[axis + 1] = row, column
            cut = (*[slice(None)] * axis, own_rows, own_columns)
            line.append((_part, (array.name, *index), cut))
        parts.append(line)
    return parts


def _part(chunk: Array, cut: tuple[slice, ...]) -> Array:
    return chunk[cut]


def joined(parts: list[list[Array]], axis: int) -> Array:
    """The array of the parts that lie side by side and below one another."""
    rows = [line[0] if len(line) == 1 else np.concatenate(line, axis + 1) for line in parts]
    return np.ascontiguousarray(rows[0] if len(rows) == 1 else np.concatenate(rows, axis))


def blocks_of(down: list[Span], across: list[Span]) -> Iterator[tuple[tuple[int, int], Span, Span]]:
    """Number and spans of every block of a result."""
    for (i, rows), (j, columns) in product(enumerate(down), enumerate(across)):
        yield (i, j), rows, columns


def lengths(spans: list[Span]) -> tuple[int, ...]:
    return tuple(end - begin for begin, end in spans)


# --- positions beyond the edges ------------------------------------------------------------------------------


def folded(positions: Array, side: int, padding: str) -> Array:
    """The pixels that stand for positions beyond the edge; -1 where none does."""
    inside = (positions >= 0) & (positions < side)
    if padding == "Fixed":
        return np.clip(positions, 0, side - 1)
    if padding == "Periodic":
        around: Array = positions % side
        return around
    if padding in ("Reflected", "Reversed"):
        repeats = 0 if padding == "Reversed" else 1
        period = 2 * side - 2 * repeats
        if period == 0:
            return np.zeros_like(positions)
        within = positions % period
        return np.where(within < side, within, 2 * side - 1 - repeats - within)
    places: Array = np.where(inside, positions, -1)
    return places


def pieces_at_most(spans: list[Span], most: int) -> list[Span]:
    """The same, with none longer than so much."""
    return [
        (start, min(start + most, end)) for begin, end in spans for start in range(begin, end, max(most, 1))
    ]


def padded(parts: list[list[Array]], index: tuple[Array, Array], origin: tuple[int, int], fill: Callable[[], Any]) -> Array:
    """A block of a padded picture: pixels by their rows and columns, or the fill where these are -1."""
    rows, columns = index
    picture = joined(parts, 0)
    block: Array = picture[np.maximum(rows - origin[0], 0)][:, np.maximum(columns - origin[1], 0)]
    outside = (rows < 0)[:, None] | (columns < 0)[None, :]
    if outside.any():
        block[outside] = fill()
    return block


# --- positions looked up ---------------------------------------------------------------------------------------

#: Fractions of a pixel that OpenCV tells apart, and the range of whole ones.
_FRACTIONS = 32
_SHORT = np.iinfo(np.int16)
_INT = np.iinfo(np.int32)


def fixed_positions(table: Array, nearest: bool) -> tuple[Array, Array]:
    """The pixel that a position is rounded down to, and what it is above it, as OpenCV reckons them: in 32nds, or
    to the nearest pixel; numbers that fit no integer count as the smallest."""
    with np.errstate(invalid="ignore", over="ignore"):
        narrow = np.asarray(table, np.float64).astype(np.float32)
        scaled = np.rint(narrow if nearest else narrow * np.float32(_FRACTIONS)).astype(np.float64)
        fits = np.abs(scaled) < 2.0**31
    fixed = np.where(fits, scaled, _INT.min).astype(np.int64)
    return split_positions(fixed, nearest)


def split_positions(fixed: Array, nearest: bool) -> tuple[Array, Array]:
    if nearest:
        return np.clip(fixed, _SHORT.min, _SHORT.max), np.zeros(fixed.shape)
    return np.clip(fixed >> 5, _SHORT.min, _SHORT.max), (fixed & (_FRACTIONS - 1)) / _FRACTIONS


def looked_up(whole: Array, side: int, padding: str, reach: Span) -> Span:
    """The span of the picture that holds every pixel looked at from these positions. It ends at an edge of the
    picture wherever something beyond that edge is looked at, so that the operation finds it there."""
    begin, end = int(whole.min()) - reach[0], int(whole.max()) + reach[1] + 1
    crosses_first, crosses_last = begin < 0, end > side
    low, high = max(begin, 0), min(end, side)
    if padding in ("Reflected", "Reversed", "Periodic") and (crosses_first or crosses_last):
        if padding == "Periodic":
            return 0, side
        high = max(high, min(-begin + 1, side)) if crosses_first else high
        low = min(low, max(2 * side - end - 1, 0)) if crosses_last else low
    low, high = min(low, side - 1), max(high, 1)
    return (0 if crosses_first else low), (side if crosses_last else high)


def at_least(span: Span, length: int, side: int) -> Span:
    """The span made so long that it holds `length` pixels, of a picture that has them."""
    begin, end = span
    end = min(max(end, begin + length), side)
    return min(begin, end - length) if end - begin < length else begin, end


def homography_downward(homography: Array, height: int) -> Array:
    """The inverse of a homography in OpenCV's downward rows, to the last bit as OpenCV reckons it; zeros where
    there is none."""
    m = np.array(homography, np.float64)
    m[:, 2] += float(height) * m[:, 1]
    m[:, 1] = -m[:, 1]
    (a, b, c), (d, e, f), (g, h, i) = m.tolist()
    determinant = a * (e * i - f * h) - b * (d * i - f * g) + c * (d * h - e * g)
    if determinant == 0:
        return np.zeros((3, 3))
    share = 1.0 / determinant
    return np.array(
        [
            [(e * i - f * h) * share, (c * h - b * i) * share, (b * f - c * e) * share],
            [(f * g - d * i) * share, (a * i - c * g) * share, (c * d - a * f) * share],
            [(d * h - e * g) * share, (b * g - a * h) * share, (a * e - b * d) * share],
        ]
    )


def is_identity(homography: Array) -> bool:
    """True for the identity and its multiples, which change nothing."""
    scale = homography[0, 0]
    return bool(scale != 0 and np.isfinite(scale) and (homography == scale * np.eye(3)).all())


def warped_positions(
    inverse: Array, rows: Span, columns: Span, shape: tuple[int, int], nearest: bool
) -> tuple[Array, Array, Array, Array]:
    """Where a block of OpenCV's warp looks up: whole pixels and fractions of x, then of y. OpenCV adds up to
    each block of 64 columns of a picture of 16 rows or more first, and then within it."""
    height = min(16, shape[0])
    width = min(1024 // height, shape[1])
    x = np.arange(*columns)
    start, within = (x // width * width).astype(np.float64), (x % width).astype(np.float64)
    y = np.arange(*rows).astype(np.float64)[:, None]
    across, down, scale = (line[0] * start + line[1] * y + line[2] for line in inverse)
    with np.errstate(divide="ignore", invalid="ignore", over="ignore"):
        scale = scale + inverse[2, 0] * within
        scale = np.where(scale != 0, (1.0 if nearest else _FRACTIONS) / scale, 0.0)
        positions: list[Array] = []
        for origin, step in ((across, inverse[0, 0]), (down, inverse[1, 0])):
            exact = np.clip((origin + step * within) * scale, _INT.min, _INT.max)
            positions += split_positions(np.rint(exact).astype(np.int64), nearest)
    return positions[0], positions[1], positions[2], positions[3]
