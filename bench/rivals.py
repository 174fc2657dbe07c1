"""Kernels of our own beside other software that does the same work, on one thread of each.

Non-local means, templates of 7 and search windows of 21 pixels, beside skimage's quick mode with the same windows. Mean
shift of colours, up to 100 steps on one level, beside the command of ImageMagick; both commands read and write the same
file. Rounds take turns; counted is processor time. Prints pixels a second and theirs over ours.
"""

from __future__ import annotations

import resource
import statistics
import subprocess
import sys
import tempfile
from collections.abc import Callable
from pathlib import Path

import miravex
import numpy as np
from skimage.io import imread
from skimage.restoration import denoise_nl_means

ROOT = Path(__file__).resolve().parent.parent
PHOTO = "/usr/share/doc/opencv-doc/examples/data/fruits.jpg"


def processor_seconds() -> float:
    """Of this process and of those that it waited for."""
    used = (resource.getrusage(who) for who in (resource.RUSAGE_SELF, resource.RUSAGE_CHILDREN))
    return sum(part.ru_utime + part.ru_stime for part in used)


def compare(what: str, pixels: int, rounds: int, ours: Callable[[], object], theirs: Callable[[], object]) -> None:
    taken: dict[str, list[float]] = {"ours": [], "theirs": []}
    for _ in range(rounds):
        for name, run in (("ours", ours), ("theirs", theirs)):
            before = processor_seconds()
            run()
            taken[name].append(processor_seconds() - before)
    mine, other = (statistics.median(taken[name]) for name in ("ours", "theirs"))
    print(f"| {what} | {pixels / mine / 1e6:.2f} | {pixels / other / 1e6:.2f} | {other / mine:.1f} |")


def main() -> None:
    rounds = int(sys.argv[1])
    miravex.set_threads(1)
    with tempfile.TemporaryDirectory() as folder:
        source, target = Path(folder) / "photo.ppm", Path(folder) / "result.ppm"
        subprocess.run(["convert", PHOTO, str(source)], check=True)
        color = imread(PHOTO)
        rows, columns = color.shape[:2]
        gray = np.ascontiguousarray(color[..., 1])
        tool = [str(ROOT / "build/release/bin/miravex"), "--threads", "1", "--force", "--quiet"]
        print("| operation | ours, megapixels/s | theirs | theirs / ours, in time |\n|---|---|---|---|")
        compare(
            f"non-local means, gray {columns} x {rows}, beside scikit-image",
            gray.size,
            rounds,
            lambda: miravex.fast_nl_means_denoising(gray, 10.0, 7, 21),
            lambda: denoise_nl_means(gray / 255, patch_size=7, patch_distance=10, h=10 / 255, fast_mode=True),
        )
        settings = "--spatial-radius 10 --color-radius 0.1 --max-level 0 --iterations 100".split()
        shift = [*tool, "pyr-mean-shift-filter", str(source), *settings, "--output", str(target)]
        compare(
            f"mean shift, {columns} x {rows}, beside ImageMagick",
            rows * columns,
            rounds,
            lambda: subprocess.run(shift, check=True, capture_output=True),
            lambda: subprocess.run(
                ["convert", "-limit", "thread", "1", str(source), "-mean-shift", "21x21+10%", str(target)], check=True
            ),
        )


if __name__ == "__main__":
    main()
