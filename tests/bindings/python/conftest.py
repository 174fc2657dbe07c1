"""What the tests share: pictures, and the settings of generated tests."""

from __future__ import annotations

import os
from pathlib import Path

import numpy as np
import pytest
from hypothesis import HealthCheck, settings

settings.register_profile(
    "miravex",
    deadline=None,
    max_examples=int(os.environ.get("MIRAVEX_EXAMPLES", "40")),
    derandomize=True,
    database=None,
    suppress_health_check=[HealthCheck.too_slow, HealthCheck.filter_too_much],
)
settings.load_profile("miravex")

PHOTOS = Path("/usr/share/doc/opencv-doc/examples/data")


@pytest.fixture
def noise() -> np.ndarray:
    """A gray picture of uniform noise."""
    return np.random.default_rng(1).integers(0, 256, (48, 64), dtype=np.uint8)


@pytest.fixture
def colour() -> np.ndarray:
    """An RGB picture of uniform noise."""
    return np.random.default_rng(2).integers(0, 256, (48, 64, 3), dtype=np.uint8)


@pytest.fixture(scope="session")
def photos() -> list[Path]:
    """Photographs of Debian's opencv-doc."""
    found = sorted(PHOTOS.glob("*.jpg"))
    if not found:
        pytest.skip("opencv-doc is not installed")
    return found
