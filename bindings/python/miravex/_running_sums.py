"""Local binarization of a picture larger than memory.

The library's means and deviations come of sums that run along rows and then down columns, each of them the one
before it and a difference: their rounding is carried on from edge to edge, and decides where a picture is flat.
So the picture goes through in bands of whole rows, and the sums of columns from band to band. What is reckoned
here is what the library reckons, in the same order; the comparison is left to it.
"""

from __future__ import annotations

from collections.abc import Iterator
from dataclasses import dataclass
from typing import TYPE_CHECKING, Any

import numpy as np

from ._dask_blocks import Span, folded

if TYPE_CHECKING:
    import numpy.typing as npt

    Array = npt.NDArray[Any]

#: Samples of one band: some ten arrays of doubles are as large.
_BAND = 1 << 21


@dataclass(frozen=True)
class Window:
    """The window and weights of a call, and the picture that it runs over."""

    rows: int
    columns: int
    radius: int
    padding: str
    fill: float
    mean_weight: float
    deviation_weight: float
    full: float  #: the sample that stands for 1
    by_blurs: bool  #: weights of 0 leave a term out, as they do for samples of more than 8 bits

    def reach(self) -> Span:
        """Of the window, up and down and to both sides; none across a single row or column of zero fill."""
        zero_fill = self.padding == "None"
        return (
            0 if zero_fill and self.rows == 1 else self.radius,
            0 if zero_fill and self.columns == 1 else self.radius,
        )

    def bands(self) -> Iterator[Span]:
        height = self.band_height()
        for begin in range(0, self.rows, height):
            yield begin, min(begin + height, self.rows)

    def band_height(self) -> int:
        return max(1, _BAND // max(self.columns, 1))

    def beyond(self, squares: bool) -> float:
        """What lies beyond a constant edge."""
        return self.fill if self.padding_of(squares) == "Constant" else 0.0

    def padding_of(self, squares: bool) -> str:
        """With two of the paddings the squares are reflected at the edge instead."""
        return "Reflected" if squares and self.padding in ("Constant", "Periodic") else self.padding

    def terms(self) -> tuple[bool, ...]:
        """Of means, and of means of squares where there are deviations."""
        return (False, True) if self.deviation_weight != 0 else (False,)

    def rows_for(self, band: Span, squares: bool) -> tuple[Array, Array]:
        """The rows that enter the sums of columns in a band and those that leave; -1 beyond a constant edge. The
        first band begins with the rows of its first window."""
        reach = self.reach()[0]
        padding = self.padding_of(squares)
        begin = band[0] + reach if band[0] > 0 else -reach
        entering = np.arange(begin, band[1] + reach)
        leaving = np.arange(band[0] - reach, band[1] - reach)
        return folded(entering, self.rows, padding), folded(leaving, self.rows, padding)

    def rows_of(self, band: Span) -> Array:
        """Every row that a band looks at."""
        found = [np.arange(*band)]
        for squares in self.terms():
            found += self.rows_for(band, squares)
        rows = np.unique(np.concatenate(found))
        inside: Array = rows[rows >= 0]
        return inside


def _along(samples: Array, window: Window, squares: bool) -> Array:
    """Sums along each row of samples."""
    reach = window.reach()[1]
    side = 2 * reach + 1
    width = window.columns
    padding = window.padding_of(squares)
    values = samples * samples if squares else samples
    index = folded(np.arange(-reach, width + reach), width, padding)
    wide = values[:, np.maximum(index, 0)]
    wide[:, index < 0] = window.beyond(squares)
    if side in (3, 5):
        total = wide[:, :width].copy()
        for offset in range(1, side):
            total += wide[:, offset : offset + width]
        return total
    steps = np.empty((len(samples), width))
    steps[:, 0] = np.cumsum(wide[:, :side], axis=1)[:, -1]
    steps[:, 1:] = wide[:, side:] - wide[:, : width - 1]
    return np.cumsum(steps, axis=1)


@dataclass(frozen=True)
class _Rows:
    """The rows of a picture that a band looks at."""

    picture: Array
    known: Array  #: their numbers
    window: Window

    def samples(self, rows: Array) -> Array:
        """As reals from 0 to 1."""
        given = self.picture[np.searchsorted(self.known, rows)]
        return given / self.window.full if self.window.full != 1 else given.astype(np.float64)

    def sums(self, rows: Array, squares: bool) -> Array:
        """Along each of these rows, of which -1 lies beyond a constant edge."""
        made = np.empty((len(rows), self.window.columns))
        inside = rows >= 0
        made[inside] = _along(self.samples(rows[inside]), self.window, squares)
        if not inside.all():
            beyond = np.full((1, self.window.columns), self.window.beyond(squares))
            made[~inside] = _along(beyond, self.window, squares)
        return made


def _means(rows: _Rows, band: Span, state: Array | None, squares: bool) -> tuple[Array, Array]:
    """The means of a band's windows, and the sums of columns that the next one begins with."""
    window = rows.window
    entering, leaving = window.rows_for(band, squares)
    first = len(entering) - len(leaving)
    running = np.zeros(window.columns) if state is None else state
    if state is None:
        height = window.band_height()
        for begin in range(0, first, height):
            part = rows.sums(entering[begin : min(begin + height, first)], squares)
            running = np.cumsum(np.vstack([running, part]), axis=0)[-1]
    both, places = np.unique(np.concatenate([entering[first:], leaving]), return_inverse=True)
    sums = rows.sums(both, squares)
    steps = np.empty((2 * len(leaving) + 1, window.columns))
    steps[0] = running
    steps[1::2] = sums[places[: len(leaving)]]
    np.negative(sums[places[len(leaving) :]], out=steps[2::2])
    np.cumsum(steps, axis=0, out=steps)
    down, across = window.reach()
    scale = 1.0 / ((2 * across + 1) * float(2 * down + 1))
    return steps[1::2] * scale, steps[-1].copy()


def differences(
    picture: Array, band: Span, states: tuple[Array | None, ...], window: Window
) -> tuple[Array, tuple[Array, ...]]:
    """A band's samples less their means and deviations, and the sums that the next band begins with. The picture
    is that of `window.rows_of(band)`."""
    rows = _Rows(picture, window.rows_of(band), window)
    found = [_means(rows, band, state, squares) for state, squares in zip(states, window.terms())]
    mean = found[0][0]
    result = rows.samples(np.arange(*band))
    if window.mean_weight != 0 or not window.by_blurs:
        result = result - (mean if window.mean_weight == 1 else mean * window.mean_weight)
    if window.deviation_weight != 0:
        with np.errstate(invalid="ignore"):
            deviation = np.sqrt(found[1][0] - mean * mean)
        result = result - (deviation if window.deviation_weight == 1 else deviation * window.deviation_weight)
    return result, tuple(state for _, state in found)
