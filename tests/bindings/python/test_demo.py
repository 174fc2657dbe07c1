"""The tour runs from end to end."""

from __future__ import annotations

import subprocess
import sys
from pathlib import Path

import miravex


def test_demo(tmp_path: Path) -> None:
    done = subprocess.run(
        [sys.executable, "-m", "miravex.demo", str(tmp_path / "out")], capture_output=True, text=True
    )
    assert done.returncode == 0, done.stderr
    assert "moved by 12.0 to the right and 7.0 down" in done.stdout
    assert "radius is 0, expected at least 1" in done.stdout
    pictures = sorted((tmp_path / "out").glob("*.png"))
    assert len(pictures) == 6
    _, failed = miravex.load_images(pictures, (16, 16))
    assert failed == []
