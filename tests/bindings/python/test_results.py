"""Tensors as named tuples: the library's form read, and written again."""

from __future__ import annotations

import copy
import pickle

import miravex
import numpy as np
import pytest
from hypothesis import given
from hypothesis import strategies as st
from hypothesis.extra import numpy as arrays
from miravex import _miravex, results
from miravex.results import packed, unpacked

REALS = st.floats(-1e6, 1e6)
TABLES = {
    "keypoints": results.Keypoints,
    "regions": results.Regions,
    "polar-lines": results.PolarLines,
    "border-lines": results.Lines,
    "segments": results.Lines,
    "wide-segments": results.WideLines,
    "circles": results.Circles,
}
FLAT = ("polar-lines", "border-lines", "segments", "wide-segments", "circles")


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
    assert unpacked(np.array([0.0]), "face-boxes").rows.shape == (0, 5)
    assert unpacked(np.array([0]), "matches").rows.shape == (0, 2)
    assert unpacked(np.array([0]), "contours").hierarchy.shape == (0, 4)
    assert unpacked(np.array([0]), "contours").points == []
    assert unpacked(np.array([0]), "chain-codes").codes == []


@given(st.lists(st.lists(st.integers(1, 50), max_size=5), max_size=6))
def test_matches_by_query(found: list[list[int]]) -> None:
    tensor = np.array([len(found), *map(len, found), *sum(found, [])], dtype=np.int64)
    matches = unpacked(tensor, "matches")
    pairs = [(query, train - 1) for query, trains in enumerate(found) for train in trains]
    assert [tuple(pair) for pair in matches.rows] == pairs
    assert matches.counts.tolist() == [len(trains) for trains in found]
    assert np.array_equal(packed(matches, "matches"), tensor)


@given(st.lists(st.lists(st.tuples(st.integers(-9, 9), st.integers(-9, 9)), min_size=1, max_size=5), max_size=5))
def test_contours_with_their_hierarchy(outlines: list[list[tuple[int, int]]]) -> None:
    hierarchy = np.arange(4 * len(outlines)).reshape(-1, 4) - 1
    flat = [number for outline in outlines for point in outline for number in point]
    tensor = np.array([len(outlines), *map(len, outlines), *flat, *hierarchy.ravel()], dtype=np.int64)
    contours = unpacked(tensor, "contours")
    assert [list(map(tuple, points)) for points in contours.points] == outlines
    assert np.array_equal(contours.hierarchy, hierarchy)
    assert np.array_equal(packed(contours, "contours"), tensor)


def test_one_pixel_contour_by_hand() -> None:
    contours = unpacked(np.array([1, 1, 3, 4, -1, -1, -1, -1]), "contours")
    assert contours.points[0].tolist() == [[3, 4]]
    assert contours.hierarchy.tolist() == [[-1, -1, -1, -1]]


@given(st.lists(st.lists(st.integers(0, 8), min_size=1, max_size=6), max_size=5))
def test_chain_codes(outlines: list[list[int]]) -> None:
    tensor = np.array([len(outlines), *(code for outline in outlines for code in [-1, *outline])], dtype=np.int64)
    chains = unpacked(tensor, "chain-codes")
    assert [codes.tolist() for codes in chains.codes] == outlines
    assert np.array_equal(packed(chains, "chain-codes"), tensor)


@given(arrays.arrays(np.float64, st.tuples(st.integers(0, 6), st.just(5)), elements=REALS))
def test_faces(rows: np.ndarray) -> None:
    tensor = np.concatenate([[len(rows)], rows[:, :4].ravel(), rows[:, 4]])
    faces = unpacked(tensor, "face-boxes")
    assert np.array_equal(faces.rows, rows)
    assert np.array_equal(packed(faces, "face-boxes"), tensor)


def test_features_split_into_keypoints_and_descriptors() -> None:
    rows = np.arange(30.0).reshape(3, 10)
    features = unpacked(rows, "keypoints-and-descriptors")
    assert np.array_equal(features.keypoints.rows, rows[:, :7])
    assert np.array_equal(features.descriptors, rows[:, 7:])
    assert np.array_equal(packed(features, "keypoints-and-descriptors"), rows)


def test_fields_and_curves() -> None:
    flow = unpacked(np.arange(24.0).reshape(1, 3, 4, 2), "flow")
    assert flow.u.shape == flow.v.shape == (1, 3, 4) and flow.v[0, 0, 0] == 1
    valid = unpacked(np.arange(36.0).reshape(1, 3, 4, 3), "flow-and-validity")
    assert valid.valid[0, 0, 0] == 2
    curve = unpacked(np.arange(768.0), "response-curve")
    assert curve.shape == (256, 3) and curve[1, 0] == 3
    assert np.array_equal(packed(curve, "response-curve"), np.arange(768.0))
    assert unpacked(np.array([1.5, -2.0]), "shift") == (1.5, -2.0)
    assert unpacked(np.array([1, 4]), "positions").tolist() == [0, 3]
    assert unpacked(0.25, "plain") == 0.25


def test_rows_of_another_width_are_refused() -> None:
    with pytest.raises(ValueError, match=r"expected \(n, 7\): x, y, size"):
        results.Keypoints.over(np.zeros((2, 6)))


def test_tables_survive_replacing_and_pickling() -> None:
    keypoints = results.Keypoints.over(np.arange(14.0).reshape(2, 7))
    moved = keypoints._replace(x=np.array([5.0, 6.0]))
    assert moved.rows[:, 0].tolist() == [5, 6] and moved.rows[1, 1] == 8
    matches = unpacked(np.array([3, 1, 0, 1, 2, 1]), "matches")
    faces = results.Faces(*np.arange(10.0).reshape(5, 2))
    for table in (keypoints, matches, faces):
        for again in (pickle.loads(pickle.dumps(table)), copy.deepcopy(table), copy.copy(table)):
            assert type(again) is type(table) and np.array_equal(again.rows, table.rows)
            assert all(np.shares_memory(column, again.rows) for column in again)
    assert pickle.loads(pickle.dumps(matches)).counts.tolist() == [1, 0, 1]


def test_columns_are_named_as_the_command_line_names_them() -> None:
    for layout, table in TABLES.items():
        width = len(table.columns())
        tensor = np.arange(2.0 * width)
        names, rows = _miravex.table(layout, tensor if layout in FLAT else tensor.reshape(2, width))
        assert names == list(table.columns()), layout
        assert np.array_equal(rows, tensor.reshape(2, width))
    faces = results.Faces.over(np.arange(10.0).reshape(2, 5))
    names, rows = _miravex.table("face-boxes", packed(faces, "face-boxes"))
    assert names == list(results.Faces.columns()) and np.array_equal(rows, faces.rows)


def test_matches_in_another_order_are_packed_by_query() -> None:
    assert packed([[1, 4], [0, 7], [1, 2]], "matches").tolist() == [2, 1, 2, 8, 5, 3]


def test_other_things_than_results_are_named() -> None:
    for layout in ("contours", "chain-codes", "flow", "flow-and-validity", "keypoints-and-descriptors", "shift"):
        with pytest.raises(ValueError, match="rows is of type list, expected"):
            packed([1, 2], layout, "rows")


def test_every_layout_of_the_catalogue_is_read() -> None:
    layouts = {result.layout for record in miravex.catalog() for result in record.results}
    assert set(results.TYPES) <= layouts
    assert layouts - set(results.TYPES) == {"plain", "descriptors", "labels", "positions", "response-curve", "transport"}
