"""How far results look: a pixel outside the reach that a record states never changes the result, and one at its
end does, for certain arguments."""

from __future__ import annotations

import os
from collections.abc import Iterator
from typing import Any

import miravex
import numpy as np
import pytest
from miravex import _miravex
from pictures import CASES, EVERY, Numbers

RECORDS = {record.function: record for record in miravex.catalog()}
#: Pictures in which a pixel changes, for each operation and padding; more, until every end of the reach was met.
TRIALS, MOST = (2000, 8000) if os.environ.get("MIRAVEX_LONG_TESTS") else (30, 3000)


def test_every_stated_reach_is_tested() -> None:
    assert set(CASES) == {name for name, record in RECORDS.items() if record.is_bounded}
    assert all(record.reach for record in RECORDS.values() if any(a.kind == "image" for a in record.arguments))
    assert all(not record.reach for record in RECORDS.values() if not any(a.kind == "image" for a in record.arguments))


def pixels_changed(before: Any, after: Any) -> Iterator[tuple[int, int]]:
    """Row and column of each pixel that differs."""
    differs = (before != after) & ~((before != before) & (after != after))
    while differs.ndim > 2:
        differs = differs.any(axis=-1)
    yield from zip(*map(np.ndarray.tolist, np.nonzero(differs)))


def corners_changed(before: Any, after: Any, rows: int) -> Iterator[tuple[int, int]]:
    """Those of corners that came, went or have another strength."""
    for x, y, *_ in set(map(tuple, before.rows)) ^ set(map(tuple, after.rows)):
        yield int(rows - y), int(x)


def distance(place: float, pixel: int, side: int, before: int | None, behind: int | None, folds: bool) -> float:
    """How far a pixel lies to the right of a place, or below it; the shortest way round where edges meet."""
    away = pixel - place
    if not folds or before is None or behind is None:
        return away
    ways = [away + turns * side for turns in range(-8, 9)]
    return min(ways, key=lambda way: max(way - behind, -way - before))


@pytest.mark.parametrize(("name", "padding"), EVERY)
def test_reach_holds_and_is_met(name: str, padding: str) -> None:
    case, record = CASES[name], RECORDS[name]
    numbers = Numbers(sum(map(ord, name + padding)), 14, 40)
    at_the_end = {"above": False, "below": False, "left": False, "right": False}
    for trial in range(MOST):
        if trial >= TRIALS and all(at_the_end.values()):
            break
        given = case.arguments(numbers, padding)
        known = _miravex.examine(record.name, given)
        above, below, left, right = known["reach"]
        image = given["frames" if "frames" in given else "image"]
        frame = image[2] if "frames" in given else image
        rows, columns = frame.shape[:2]
        function = getattr(miravex, name)
        before = function(**given)
        y, x = int(numbers.integers(rows)), int(numbers.integers(columns))
        other = image.copy()
        target = other[2] if "frames" in given else other
        target[y, x] = ~frame[y, x] if frame.dtype == bool else frame.max() - frame[y, x]
        after = function(**{**given, "frames" if "frames" in given else "image": other})
        if np.array_equal(before, after, equal_nan=image.dtype.kind == "f"):
            continue
        if isinstance(before, miravex.results.Keypoints):
            changed = list(corners_changed(before, after, rows))
        else:
            assert known["shape"] == before.shape and known["dtype"] == before.dtype
            changed = list(pixels_changed(before, after))
        places = case.place(given) if case.place else (np.arange(rows), np.arange(columns))
        for row, column in changed:
            own_y = float(places[0][row] if places[0].ndim == 1 else places[0][row, column])
            own_x = float(places[1][column] if places[1].ndim == 1 else places[1][row, column])
            around = padding == "Periodic"
            if record.looks_up and not (1 <= own_y < rows - 2 and 1 <= own_x < columns - 2):
                continue  # beyond the edge, where test_dask_pictures compares whole results
            down = distance(own_y, y, rows, above, below, around)
            across = distance(own_x, x, columns, left, right, around)
            assert above is None or -down <= above, (given, own_y, y)
            assert below is None or down <= below, (given, own_y, y)
            assert left is None or -across <= left, (given, own_x, x)
            assert right is None or across <= right, (given, own_x, x)
            at_the_end["above"] |= -down == above
            at_the_end["below"] |= down == below
            at_the_end["left"] |= -across == left
            at_the_end["right"] |= across == right
    assert all(at_the_end.values()), at_the_end
