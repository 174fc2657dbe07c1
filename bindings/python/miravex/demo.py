"""A tour of the package: python -m miravex.demo [DIRECTORY]

Takes a photograph of Debian's opencv-doc, or draws a picture where that is missing, runs a handful of
operations as a notebook would, and writes what they show as PNG files.
"""

from __future__ import annotations

import struct
import sys
import zlib
from pathlib import Path
from typing import Any

import numpy as np
import numpy.typing as npt

import miravex

Image = npt.NDArray[Any]
PHOTOS = Path("/usr/share/doc/opencv-doc/examples/data")


def write_png(path: Path, picture: Image) -> None:
    """An 8-bit gray or RGB picture as a PNG file."""
    rows, columns = picture.shape[:2]
    colour = 2 if picture.ndim == 3 else 0
    lines = np.zeros((rows, 1 + picture[0].size), np.uint8)
    lines[:, 1:] = picture.reshape(rows, -1)

    def part(name: bytes, content: bytes) -> bytes:
        return struct.pack(">I", len(content)) + name + content + struct.pack(">I", zlib.crc32(name + content))

    header = struct.pack(">IIBBBBB", columns, rows, 8, colour, 0, 0, 0)
    path.write_bytes(
        b"\x89PNG\r\n\x1a\n" + part(b"IHDR", header) + part(b"IDAT", zlib.compress(lines.tobytes())) + part(b"IEND", b"")
    )


def drawn_picture() -> Image:
    """Boxes and discs on a slope, in colour."""
    rows, columns = np.mgrid[:360, :480]
    picture: Image = np.stack([columns / 2, rows / 2, (rows + columns) / 4], axis=-1).astype(np.uint8)
    for i, (row, column) in enumerate([(90, 120), (240, 130), (120, 330), (260, 360)]):
        inside = (rows - row) ** 2 + (columns - column) ** 2 < (30 + 10 * i) ** 2
        picture[inside] = (255 - 60 * i, 60 * i, 120)
    picture[150:210, 200:290] = (250, 240, 60)
    return picture


def photograph() -> tuple[Image, str]:
    for name in ("fruits.jpg", "lena.jpg", "home.jpg"):
        if (PHOTOS / name).exists():
            loaded, failed = miravex.load_images(PHOTOS / name, (360, 480), "channels_last")
            if not failed:
                picture: Image = np.rint(loaded[0] * 255).astype(np.uint8)
                return picture, name
    return drawn_picture(), "a drawn picture"


def main() -> None:
    directory = Path(sys.argv[1]) if len(sys.argv) > 1 else Path("miravex-demo")
    directory.mkdir(parents=True, exist_ok=True)

    def show(name: str, picture: Image, said: str) -> None:
        path = directory / f"{name}.png"
        write_png(path, picture if picture.dtype == np.uint8 else (picture * 255).astype(np.uint8))
        print(f"{path}: {said}")

    photo, origin = photograph()
    show("photo", photo, f"{origin}, {photo.shape[1]} x {photo.shape[0]}")

    smooth = miravex.median_filter(photo, radius=5)
    show("median", smooth, "median_filter(photo, radius=5)")

    flat = miravex.pyr_mean_shift_filter(photo, spatial_radius=10, color_radius=0.08)
    show("mean-shift", flat, "pyr_mean_shift_filter(photo, spatial_radius=10, color_radius=0.08)")

    gray = np.ascontiguousarray(photo @ np.array([0.299, 0.587, 0.114])).astype(np.uint8)
    features = miravex.orb(gray, mode="detectAndCompute", n_features=300)
    found = features.keypoints
    text = f"orb: {len(found.x)} keypoints with descriptors of {features.descriptors.shape[1]} bytes"
    show("keypoints", miravex.draw.keypoints(photo, found), text)

    moved = np.roll(gray, (7, 12), axis=(0, 1))
    other = miravex.orb(moved, mode="detectAndCompute", n_features=300)
    pairs = miravex.descriptor_matcher(features.descriptors, other.descriptors)
    shift = np.median(other.keypoints.rows[pairs.train, :2] - found.rows[pairs.query, :2], axis=0)
    text = f"descriptor_matcher: moved by {shift[0]:.1f} to the right and {-shift[1]:.1f} down"
    show("matches", miravex.draw.matches(gray, features, moved, other, pairs), text)

    shapes = (miravex.median_filter(gray, radius=7) > 128).astype(np.uint8)
    outlines = miravex.find_contours(shapes, mode="Tree")
    text = f"find_contours: {len(outlines.points)} outlines"
    show("contours", miravex.draw.contours(photo, outlines), text)

    try:
        miravex.median_filter(photo, radius=0)
    except ValueError as error:
        print(f"A wrong argument is named before the call: {error}")


if __name__ == "__main__":
    main()
