"""Tensors as named tuples: the library's form read, and written again."""

from __future__ import annotations

import pickle

import numpy as np
import pytest
from hypothesis import given
from hypothesis import strategies as st
from hypothesis.extra import numpy as arrays
from miravex import _miravex, results
from miravex.results import packed, unpacked

REALS = st.floats(-1e6, 1e6)
TABLES = {
    "Keypoints": results.Keypoints,
    "Regions": results.Regions,
    "PolarLines": results.PolarLines,
    "BorderLines": results.Lines,
    "Segments": results.Lines,
    "WideSegments": results.WideLines,
    "Circles": results.Circles,
}
FLAT = ("PolarLines", "BorderLines", "Segments", "WideSegments", "Circles")


@pytest.mark.parametrize("layout", TABLES)
@given(data=st.data())
def test_tables_are_views_and_pack_again(layout: str, data: st.DataObject) -> None:
    width = len(TABLES[layout].columns())
    rows = data.draw(arrays.arrays(np.float64, (data.draw(st.integers(0, 9)), width), elements=REALS))
    tensor = rows.ravel() if layout in FLAT else rows
    table = unpacked(tensor, layout)
    assert type(table) is TABLES[layout]
    assert np.array_equal(table.rows, rows) and table.rows.shape == rows.shape
    assert len(rows) == 0 or np.shares_memory(table.rows, tensor)
    for i, name in enumerate(table.columns()):
        assert np.array_equal(getattr(table, name), rows[:, i])
        assert len(rows) == 0 or np.shares_memory(getattr(table, name), tensor)
    assert np.array_equal(packed(table, layout), tensor)
    assert np.array_equal(np.asarray(table), rows)


def test_empty_tables_keep_their_width() -> None:
    for layout, table in TABLES.items():
        width = len(table.columns())
        empty = np.zeros(0) if layout in FLAT else np.zeros((0, width))
        assert unpacked(empty, layout).rows.shape == (0, width)
    assert unpacked(np.array([0.0]), "FaceBoxes").rows.shape == (0, 5)
    assert unpacked(np.array([0]), "Matches").rows.shape == (0, 2)
    assert unpacked(np.array([0]), "Contours").hierarchy.shape == (0, 4)
    assert unpacked(np.array([0]), "Contours").points == []
    assert unpacked(np.array([0]), "ChainCodes").codes == []


@given(st.lists(st.lists(st.integers(1, 50), max_size=5), max_size=6))
def test_matches_by_query(found: list[list[int]]) -> None:
    tensor = np.array([len(found), *map(len, found), *sum(found, [])], dtype=np.int64)
    matches = unpacked(tensor, "Matches")
    pairs = [(query, train - 1) for query, trains in enumerate(found) for train in trains]
    assert [tuple(pair) for pair in matches.rows] == pairs
    assert matches.counts.tolist() == [len(trains) for trains in found]
    assert np.array_equal(packed(matches, "Matches"), tensor)


@given(st.lists(st.lists(st.tuples(st.integers(-9, 9), st.integers(-9, 9)), min_size=1, max_size=5), max_size=5))
def test_contours_with_their_hierarchy(outlines: list[list[tuple[int, int]]]) -> None:
    hierarchy = np.arange(4 * len(outlines)).reshape(-1, 4) - 1
    flat = [number for outline in outlines for point in outline for number in point]
    tensor = np.array([len(outlines), *map(len, outlines), *flat, *hierarchy.ravel()], dtype=np.int64)
    contours = unpacked(tensor, "Contours")
    assert [list(map(tuple, points)) for points in contours.points] == outlines
    assert np.array_equal(contours.hierarchy, hierarchy)
    assert np.array_equal(packed(contours, "Contours"), tensor)


def test_one_pixel_contour_by_hand() -> None:
    contours = unpacked(np.array([1, 1, 3, 4, -1, -1, -1, -1]), "Contours")
    assert contours.points[0].tolist() == [[3, 4]]
    assert contours.hierarchy.tolist() == [[-1, -1, -1, -1]]


@given(st.lists(st.lists(st.integers(0, 8), min_size=1, max_size=6), max_size=5))
def test_chain_codes(outlines: list[list[int]]) -> None:
    tensor = np.array([len(outlines), *(code for outline in outlines for code in [-1, *outline])], dtype=np.int64)
    chains = unpacked(tensor, "ChainCodes")
    assert [codes.tolist() for codes in chains.codes] == outlines
    assert np.array_equal(packed(chains, "ChainCodes"), tensor)


@given(arrays.arrays(np.float64, st.tuples(st.integers(0, 6), st.just(5)), elements=REALS))
def test_faces(rows: np.ndarray) -> None:
    tensor = np.concatenate([[len(rows)], rows[:, :4].ravel(), rows[:, 4]])
    faces = unpacked(tensor, "FaceBoxes")
    assert np.array_equal(faces.rows, rows)
    assert np.array_equal(packed(faces, "FaceBoxes"), tensor)


def test_features_split_into_keypoints_and_descriptors() -> None:
    rows = np.arange(30.0).reshape(3, 10)
    features = unpacked(rows, "KeypointsAndDescriptors")
    assert np.array_equal(features.keypoints.rows, rows[:, :7])
    assert np.array_equal(features.descriptors, rows[:, 7:])
    assert np.array_equal(packed(features, "KeypointsAndDescriptors"), rows)


def test_fields_and_curves() -> None:
    flow = unpacked(np.arange(24.0).reshape(1, 3, 4, 2), "Flow")
    assert flow.u.shape == flow.v.shape == (1, 3, 4) and flow.v[0, 0, 0] == 1
    valid = unpacked(np.arange(36.0).reshape(1, 3, 4, 3), "FlowAndValidity")
    assert valid.valid[0, 0, 0] == 2
    curve = unpacked(np.arange(768.0), "ResponseCurve")
    assert curve.shape == (256, 3) and curve[1, 0] == 3
    assert np.array_equal(packed(curve, "ResponseCurve"), np.arange(768.0))
    assert unpacked(np.array([1.5, -2.0]), "Shift") == (1.5, -2.0)
    assert unpacked(np.array([1, 4]), "Positions").tolist() == [0, 3]
    assert unpacked(0.25, "Plain") == 0.25


def test_rows_of_another_width_are_refused() -> None:
    with pytest.raises(ValueError, match=r"expected \(n, 7\): x, y, size"):
        results.Keypoints.over(np.zeros((2, 6)))


def test_tables_survive_replacing_and_pickling() -> None:
    keypoints = results.Keypoints.over(np.arange(14.0).reshape(2, 7))
    moved = keypoints._replace(x=np.array([5.0, 6.0]))
    assert moved.rows[:, 0].tolist() == [5, 6] and moved.rows[1, 1] == 8
    again = pickle.loads(pickle.dumps(keypoints))
    assert type(again) is results.Keypoints and np.array_equal(again.rows, keypoints.rows)


def test_columns_are_named_as_the_command_line_names_them() -> None:
    for layout, table in TABLES.items():
        width = len(table.columns())
        tensor = np.arange(2.0 * width)
        names, rows = _miravex.table(layout, tensor if layout in FLAT else tensor.reshape(2, width))
        assert [name.lower() for name in names] == list(table.columns()), layout
        assert np.array_equal(rows, tensor.reshape(2, width))
