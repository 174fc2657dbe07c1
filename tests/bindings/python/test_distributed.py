"""The worked example of docs/distributed.rst runs as it stands, and pictures are read and written as it says."""

from __future__ import annotations

import textwrap
from pathlib import Path

import miravex
import numpy as np
import pytest

pytest.importorskip("distributed")
zarr = pytest.importorskip("zarr")

PAGE = Path(__file__).resolve().parents[3] / "docs/distributed.rst"


def code_blocks() -> list[str]:
    parts = PAGE.read_text(encoding="utf-8").split(".. code-block:: python\n")[1:]
    blocks = []
    for part in parts:
        lines = part.lstrip("\n").split("\n")
        end = next((i for i, line in enumerate(lines) if line and not line.startswith("   ")), len(lines))
        blocks.append(textwrap.dedent("\n".join(lines[:end])))
    return blocks


def test_the_worked_example(tmp_path: Path, monkeypatch: pytest.MonkeyPatch, capsys: pytest.CaptureFixture[str]) -> None:
    pytest.importorskip("pandas")
    monkeypatch.chdir(tmp_path)
    numbers = np.random.default_rng(1)
    y, x = np.mgrid[:1200, :900]
    scene = (100 + 60 * np.sin(x / 40) * np.cos(y / 50) + numbers.normal(0, 9, x.shape)).astype(np.uint8)
    zarr.save_array("scene.zarr", scene, chunks=(500, 500))
    squares = numbers.integers(0, 256, (12, 6, 8), np.uint8).repeat(16, axis=1).repeat(16, axis=2)
    zarr.save_array("frames.zarr", squares, chunks=(4, 96, 128))
    blocks = code_blocks()
    assert len(blocks) == 5
    names: dict[str, object] = {}
    for block in blocks:
        exec(compile(block, str(PAGE), "exec"), names)
    smooth = miravex.median_filter(scene, radius=3)
    bits = miravex.local_adaptive_binarize(smooth, [1, 0.1, 0], radius=12)
    assert np.array_equal(zarr.open("thick.zarr", mode="r")[:], miravex.dilation(bits, radius=2))
    assert 0.01 < bits.mean() < 0.99
    assert len(names["motion"]) == 11  # type: ignore[arg-type]
    clean = miravex.fast_nl_means_denoising(squares[0], strength=12)
    count = len(miravex.fast(clean, threshold=40).x)
    assert f"{count} corners in the first frame" in capsys.readouterr().out


def test_tiles_of_a_tiff(tmp_path: Path) -> None:
    tifffile = pytest.importorskip("tifffile")
    import dask.array as da
    import miravex.dask

    picture = np.random.default_rng(2).integers(0, 256, (300, 420, 3), np.uint8)
    tifffile.imwrite(tmp_path / "slide.tif", picture, tile=(128, 128), photometric="rgb")
    slide = da.from_zarr(tifffile.imread(tmp_path / "slide.tif", aszarr=True))
    assert slide.chunks[:2] == ((128, 128, 44), (128, 128, 128, 36))
    made = miravex.dask.pyr_down(slide)
    assert np.array_equal(made.compute(), miravex.pyr_down(picture))
