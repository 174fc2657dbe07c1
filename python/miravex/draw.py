"""Results drawn over pictures, as the command line's --overlay does it.

Each function takes a picture and what an operation found in it, and gives a new RGB picture of uint8.
"""

from __future__ import annotations

from typing import Any

import numpy as np
import numpy.typing as npt

from . import _miravex
from .results import packed

Image = npt.NDArray[Any]

_INTEGERS = ("Matches", "Contours", "ChainCodes", "Positions")


def _drawn(image: Image, layout: str, value: Any) -> Image:
    rows = packed(value, layout)
    return _miravex.draw(image, layout, np.asarray(rows), layout in _INTEGERS)


def keypoints(image: Image, rows: npt.ArrayLike) -> Image:
    """Circles of the keypoints' sizes with their directions; ``rows`` are Keypoints or an (n, 7) array."""
    return _drawn(image, "Keypoints", rows)
