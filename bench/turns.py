"""Several ways to the same end, timed turn by turn, so that whatever else the machine does falls on all of them."""

from __future__ import annotations

import statistics
from collections.abc import Callable


def medians(ways: dict[str, Callable[[], float]], rounds: int) -> dict[str, float]:
    """The median of the seconds that each way says it took. A turn before the first warms caches and imports."""
    times: dict[str, list[float]] = {name: [] for name in ways}
    for turn in range(rounds + 1):
        for name, way in ways.items():
            took = way()
            if turn > 0:
                times[name].append(took)
    return {name: statistics.median(taken) for name, taken in times.items()}
