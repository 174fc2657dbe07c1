"""Results drawn over pictures, made by the operations that find them."""

from __future__ import annotations

import os
import subprocess
from pathlib import Path
from typing import Any

import miravex
import numpy as np
import pytest
from hypothesis import given
from hypothesis import strategies as st
from hypothesis.extra import numpy as arrays
from miravex import draw, results


def scene() -> np.ndarray:
    """A gray picture with two boxes, one within the other, and a disc."""
    picture = np.full((120, 160), 30, np.uint8)
    picture[20:80, 20:90] = 220
    picture[35:60, 40:70] = 60
    rows, columns = np.ogrid[:120, :160]
    picture[(rows - 90) ** 2 + (columns - 125) ** 2 < 20**2] = 250
    return picture


def assert_drawn(picture: np.ndarray, drawn: np.ndarray) -> None:
    assert drawn.dtype == np.uint8 and drawn.shape == (*picture.shape[:2], 3)
    plain = picture if picture.ndim == 3 else np.repeat(picture[..., None], 3, axis=2)
    changed = (drawn != plain).any(axis=2)
    assert 0 < changed.mean() < 0.99


def test_keypoints() -> None:
    picture = scene()
    found = miravex.fast(picture, threshold=20)
    assert isinstance(found, results.Keypoints) and len(found.x) > 0
    assert_drawn(picture, draw.keypoints(picture, found))
    assert np.array_equal(draw.keypoints(picture, found), draw.keypoints(picture, found.rows))
    features = miravex.orb(picture, mode="detectAndCompute", edge_threshold=5)
    assert features.descriptors.shape == (len(features.keypoints.x), 32)
    assert_drawn(picture, draw.keypoints(picture, features))


def test_nothing_found_leaves_the_picture() -> None:
    picture = np.full((40, 50), 99, np.uint8)
    found = miravex.fast(picture)
    assert found.rows.shape == (0, 7)
    assert np.array_equal(draw.keypoints(picture, found), np.full((40, 50, 3), 99))


def test_found_keypoints_can_be_described() -> None:
    picture = np.random.default_rng(5).integers(0, 256, (120, 160), dtype=np.uint8)
    found = miravex.brisk(picture, mode="detect")
    described = miravex.brisk(picture, mode="compute", keypoints=found)
    assert described.ndim == 2 and 0 < len(described) <= len(found.x)


def test_matches() -> None:
    picture = scene()
    moved = np.roll(picture, 5, axis=1)
    one, two = (
        miravex.orb(image, mode="detectAndCompute", edge_threshold=5) for image in (picture, moved)
    )
    pairs = miravex.descriptor_matcher(one.descriptors, two.descriptors)
    assert pairs.counts.tolist() == [1] * len(one.descriptors)
    assert pairs.train.max() < len(two.descriptors)
    drawn = draw.matches(picture, one, moved, two.keypoints, pairs)
    assert drawn.shape[0] == 120 and drawn.shape[1] >= 320 and drawn.shape[2] == 3


def test_contours_and_their_levels() -> None:
    picture = (scene() > 128).astype(np.uint8) * 255
    found = miravex.find_contours(picture, mode="Tree")
    assert isinstance(found, results.Contours) and len(found.points) == 3
    assert sorted((found.hierarchy[:, 3] >= 0).tolist()) == [False, False, True]
    assert_drawn(scene(), draw.contours(scene(), found))
    codes = miravex.find_contours(picture, mode="Tree", chain_code=True)
    assert isinstance(codes, results.ChainCodes) and len(codes.codes) == 3


def test_lines_and_circles() -> None:
    edges = np.zeros((100, 120), np.uint8)
    edges[30, 10:110] = edges[10:90, 60] = 255
    segments = miravex.hough_lines_p(edges, threshold=30, min_line_length=30)
    assert isinstance(segments, results.Lines) and len(segments.x1) >= 2
    assert_drawn(edges, draw.lines(edges, segments))
    wide = miravex.line_segment_detector(scene())
    assert isinstance(wide, results.WideLines) and len(wide.width) > 3
    assert_drawn(scene(), draw.lines(scene(), wide))
    borders = miravex.hough_lines(edges, threshold=60)
    assert borders.rows.shape[0] >= 2
    polar = miravex.hough_lines(edges, threshold=60, form="Equation")
    assert isinstance(polar, results.PolarLines) and len(polar.rho) >= 2
    assert_drawn(edges, draw.polar_lines(edges, polar))
    circles = miravex.hough_circles(scene(), min_radius=10, max_radius=30)
    assert isinstance(circles, results.Circles)
    assert_drawn(scene(), draw.circles(scene(), results.Circles.over([[125.5, 29.5, 20.0]])))


def test_regions_and_labels() -> None:
    found = miravex.mser_detect(scene(), form="Rectangle")
    assert isinstance(found, results.Regions) and len(found.number) > 0
    assert_drawn(scene(), draw.regions(scene(), found))
    numbers = miravex.mser_detect(scene(), form="LabelMatrix")
    assert numbers.shape == scene().shape and numbers.max() == len(found.number)
    assert_drawn(scene(), draw.labels(scene(), numbers))


def test_faces() -> None:
    boxes = results.Faces.over([[20.5, 30.5, 60.5, 70.5, 3.0]])
    assert_drawn(scene(), draw.faces(scene(), boxes))


def test_flow() -> None:
    noise = np.random.default_rng(6).integers(0, 256, (60, 80), dtype=np.uint8)
    frames = np.stack([miravex.median_filter(noise, radius=2)] * 2)
    frames[1] = np.roll(frames[0], 2, axis=1)
    field = miravex.optical_flow_farneback(frames)
    assert isinstance(field, results.Flow) and field.u.shape == (1, 60, 80)
    assert abs(np.median(field.u) - 2) < 0.5 and abs(np.median(field.v)) < 0.5
    assert draw.flow(frames[0], field).shape == (60, 80, 3)


TABLES = {
    draw.keypoints: 7,
    draw.regions: 5,
    draw.polar_lines: 2,
    draw.border_lines: 4,
    draw.lines: 4,
    draw.circles: 3,
    draw.faces: 5,
}


def test_what_does_not_fit_is_refused() -> None:
    for function, width in TABLES.items():
        for rows in (np.zeros((4, width + 2)), np.zeros(2 * width), "words", None, [[np.nan] * 3, 4], [["a"] * width]):
            with pytest.raises(ValueError):
                function(scene(), rows)
    for function, name in ((draw.contours, "outlines"), (draw.flow, "field")):
        with pytest.raises(ValueError, match=f"{name} is of type ndarray, expected"):
            function(scene(), np.zeros((3, 2)))
    with pytest.raises(ValueError, match="not the size"):
        draw.labels(scene(), np.zeros((3, 2)))
    for empty in (np.zeros((0, 4), np.uint8), np.zeros((1, 1, 0, 4), np.uint8), np.zeros((2, 4, 4, 3), np.uint8)):
        with pytest.raises(ValueError, match="image is .* expected"):
            draw.keypoints(empty, np.zeros((0, 7)))


HOSTILE = st.sampled_from([0.0, -1.0, np.nan, np.inf, -np.inf, 1e300, -1e300, 2.0**31, 2.0**63, 1e-300, 50.5])


@pytest.mark.parametrize("function", TABLES, ids=lambda function: function.__name__)
@given(data=st.data())
def test_no_numbers_crash_the_drawing(function: Any, data: st.DataObject) -> None:
    width = TABLES[function]
    rows = data.draw(arrays.arrays(np.float64, (3, width), elements=HOSTILE))
    assert function(scene(), rows).shape == (120, 160, 3)


@given(points=arrays.arrays(np.int64, (3, 2)), hierarchy=arrays.arrays(np.int64, (2, 4)))
def test_no_outlines_crash_the_drawing(points: np.ndarray, hierarchy: np.ndarray) -> None:
    drawn = draw.contours(scene(), results.Contours([points, points[:1]], hierarchy))
    assert drawn.shape == (120, 160, 3)


def test_matches_are_drawn_in_any_order_and_named_when_wrong() -> None:
    picture = scene()
    rows = np.array([[20.0, 30, 9, 0, 1, 0, 0], [70.0, 90, 9, 0, 1, 0, 0]])
    ordered = draw.matches(picture, rows, picture, rows, [[0, 1], [1, 0]])
    assert np.array_equal(draw.matches(picture, rows, picture, rows, [[1, 0], [0, 1]]), ordered)
    for pairs in ([[0, 2]], [[2, 0]], [[-1, 0]], [[0, -1]], [[2**40, 0]], [[0.5, 0]]):
        with pytest.raises(ValueError, match="pairs names a (query|train) keypoint that is not there"):
            draw.matches(picture, rows, picture, rows, pairs)


@pytest.mark.skipif(not os.environ.get("MIRAVEX_TOOL"), reason="MIRAVEX_TOOL does not name the command")
def test_the_command_line_draws_the_same(photos: list[Path], tmp_path: Path) -> None:
    array = scene()
    np.save(tmp_path / "scene.npy", array)
    command = [os.environ["MIRAVEX_TOOL"], "fast", str(tmp_path / "scene.npy"), "--overlay", str(tmp_path / "drawn.npy")]
    done = subprocess.run(command, capture_output=True, text=True)
    assert done.returncode == 0, done.stderr
    assert np.array_equal(np.load(tmp_path / "drawn.npy"), draw.keypoints(array, miravex.fast(array)))
