"""Calls of operations on arrays of Dask: stacks, pictures of one chunk, and pictures in blocks."""

from __future__ import annotations

import inspect
from collections.abc import Callable, Sequence
from dataclasses import dataclass, replace
from typing import TYPE_CHECKING, Any

import dask.array as da
import numpy as np
from dask.base import is_dask_collection, tokenize
from dask.delayed import Delayed, delayed
from dask.highlevelgraph import HighLevelGraph

from . import _dask_blocks as blocks
from . import _miravex, _operations
from ._cluster import opencv_threads, tasks_at_once, threads_of_a_task
from ._dask_blocks import Axis, Piece, Span
from ._given import arguments_of
from ._miravex import Argument, Operation
from ._running_sums import Window, differences
from ._signatures import docstring, parameter_of, signature
from .results import Keypoints

if TYPE_CHECKING:
    import numpy.typing as npt

    Array = npt.NDArray[Any]

STACK = inspect.Parameter("stack", inspect.Parameter.KEYWORD_ONLY, default=None, annotation="bool | None")

#: Up to this many entries, the last axis is taken for channels.
_CHANNELS = 4

#: Operations whose result has another size or place than the picture: their arguments are checked against the
#: whole picture. Those of all others are checked against the pieces that they are called with, so that a limit
#: on sizes is none to a picture in chunks.
_PLACED = ("image_pad", "image_perspective_transformation", "pyr_down", "pyr_up", "remap_tensor")

_NOTES = """
On Dask
    Pictures are ``dask.array``; the result is computed when it is asked for. An array with one more axis in
    front is a stack of pictures (or of sequences), worked on one by one: picture results are an array with that
    axis, others a list of delayed results. Other arguments may be lists of one delayed value for each picture.
    Three axes are a stack of gray pictures when the last has more than four entries, and a colour picture
    otherwise; ``stack`` says it.
"""
_BOUNDED = """
    A picture in several chunks is worked on block by block, for the same bits as in one piece.
"""
_WHOLE = """
    A picture of its own must be in one chunk, since the operation looks at the whole of it.
"""


@dataclass(frozen=True)
class _Job:
    """What the tasks of one call share."""

    function: str
    given: dict[str, Any]
    colorspace: Any
    threads: int

    def run(self, **others: Any) -> Any:
        given = {parameter_of(name): value for name, value in {**self.given, **others}.items()}
        if self.colorspace is not None:
            given["colorspace"] = self.colorspace
        with opencv_threads(self.threads):
            return getattr(_operations, self.function)(**given)


# --- tasks ------------------------------------------------------------------------------------------------


def _run(job: _Job, others: dict[str, Any]) -> Any:
    return job.run(**others)


def _run_each(job: _Job, count: int, stacked: dict[str, Any], shared: dict[str, Any], is_picture: bool) -> Any:
    """Pictures of a stack, one after the other."""
    made = [job.run(**{name: values[i] for name, values in stacked.items()}, **shared) for i in range(count)]
    return np.stack(made) if is_picture else made


@dataclass(frozen=True)
class _Cut:
    """What one block makes of a piece of the picture."""

    image: str
    axis: int  #: number of the axis of rows
    kept: tuple[Span, Span]
    sides: tuple[tuple[str, int], ...] = ()  #: arguments that follow the piece's size


def _run_piece(job: _Job, cut: _Cut, parts: list[list[Array]]) -> Array:
    made = job.run(**{cut.image: blocks.joined(parts, cut.axis)}, **dict(cut.sides))
    (top, bottom), (left, right) = cut.kept
    return np.ascontiguousarray(made[top:bottom, left:right])


def _run_corners(
    job: _Job, cut: _Cut, parts: list[list[Array]], mask: list[list[Array]] | None, place: Span, rows: int
) -> Array:
    """Corners of a block, at their places in the whole picture."""
    picture = blocks.joined(parts, 0)
    others = {} if mask is None else {"mask": blocks.joined(mask, 0)}
    found = np.array(job.run(image=picture, **others).rows)
    x, y = found[:, 0] - 0.5, len(picture) - found[:, 1] - 0.5
    (top, bottom), (left, right) = cut.kept
    kept = (y >= top) & (y < bottom) & (x >= left) & (x < right)
    found[:, 0] += place[1]
    found[:, 1] = rows - (y + place[0]) - 0.5
    return found[kept]


def _corners(found: list[Array]) -> Keypoints:
    """All of them, row by row from the top."""
    rows = np.concatenate(found)
    return Keypoints.over(rows[np.lexsort((rows[:, 0], -rows[:, 1]))])


def _run_padding(
    job: _Job, parts: list[list[Array]], index: tuple[Array, Array], origin: tuple[int, int]
) -> Array:
    def fill() -> Any:
        one = {name: 1 for name in ("top", "bottom", "left", "right")}
        return job.run(image=blocks.joined(parts, 0)[:1, :1], **one)[0, 0]

    return blocks.padded(parts, index, origin, fill)


def _looked_up(
    job: _Job, parts: list[list[Array]], origin: tuple[int, int], x: tuple[Array, Array], y: tuple[Array, Array]
) -> Array:
    """A block by the positions that it looks up: whole pixels of the picture, and what they are above them."""
    picture = blocks.joined(parts, 0)
    shape = x[0].shape
    tables = []
    for (whole, above), first in ((y, origin[0]), (x, origin[1])):
        table = np.full(picture.shape[:2], float(whole[0, 0] - first + above[0, 0]))
        table[: shape[0], : shape[1]] = whole - first + above
        tables.append(table)
    groups = [picture] if picture.ndim == 2 else np.split(picture, range(4, picture.shape[2], 4), axis=2)
    made = [job.run(image=np.ascontiguousarray(group), y=tables[0], x=tables[1]) for group in groups]
    if picture.ndim == 3:
        made = [part.reshape(*part.shape[:2], -1) for part in made]
    whole_result = made[0] if len(made) == 1 else np.concatenate(made, axis=2)
    return np.ascontiguousarray(whole_result[: shape[0], : shape[1]])


def _run_remap(job: _Job, parts: list[list[Array]], origin: tuple[int, int], x: Array, y: Array, nearest: bool) -> Array:
    return _looked_up(
        job, parts, origin, blocks.fixed_positions(np.asarray(x), nearest), blocks.fixed_positions(np.asarray(y), nearest)
    )


@dataclass(frozen=True)
class _Warp:
    """A homography at work: OpenCV's rows go down, the result's are turned afterwards."""

    inverse: Array
    shape: tuple[int, int]
    nearest: bool

    def positions(self, rows: Span, columns: Span) -> tuple[Array, Array, Array, Array]:
        """Where a block of the result looks up."""
        below = (self.shape[0] - rows[1], self.shape[0] - rows[0])
        x, x_above, y, y_above = blocks.warped_positions(self.inverse, below, columns, self.shape, self.nearest)
        return x[::-1], x_above[::-1], y[::-1], y_above[::-1]

    def extents(self, rows: Span, columns: Span) -> tuple[Array, Array]:
        """Whole positions that hold the outermost ones of a block: those along its sides, but where the horizon
        crosses it."""
        corners = [(x, self.shape[0] - 1 - y) for x in (columns[0], columns[1] - 1) for y in (rows[0], rows[1] - 1)]
        scales = [self.inverse[2] @ (x, y, 1.0) for x, y in corners]
        if not (min(scales) > 0 or max(scales) < 0):
            x, _, y, _ = self.positions(rows, columns)
            return x, y
        sides = [(rows[0], rows[0] + 1), (rows[1] - 1, rows[1])]
        lines = [self.positions(side, columns) for side in sides]
        lines += [self.positions(rows, (side, side + 1)) for side in (columns[0], columns[1] - 1)]
        # One more for positions inside, which are rounded on their own.
        x, y = (np.concatenate([line[i].ravel() for line in lines]) for i in (0, 2))
        return np.array([x.min() - 1, x.max() + 1]), np.array([y.min() - 1, y.max() + 1])


def _run_warp(
    job: _Job, parts: list[list[Array]], origin: tuple[int, int], warp: _Warp, rows: Span, columns: Span
) -> Array:
    x, x_above, y, y_above = warp.positions(rows, columns)
    return _looked_up(job, parts, origin, (x, x_above), (y, y_above))


def _run_band(job: _Job, parts: list[list[Array]], band: Span, window: Window, before: Any) -> tuple[Array, Any]:
    """A band of a binarized picture, and the sums that the next one begins with."""
    states = before[1] if before else (None,) * len(window.terms())
    differing, after = differences(blocks.joined(parts, 0), band, states, window)
    return job.run(image=differing), after


def _first(pair: tuple[Any, Any]) -> Any:
    return pair[0]


# --- calls ------------------------------------------------------------------------------------------------


def _outline(shape: Sequence[int], dtype: Any) -> Array:
    """An array of this shape without memory, to be examined."""
    return np.broadcast_to(np.zeros((), dtype), shape)


def _is_array(value: Any) -> bool:
    return isinstance(value, da.Array)


def _is_list_of_delayed(value: Any) -> bool:
    return isinstance(value, (list, tuple)) and any(isinstance(entry, Delayed) for entry in value)


class _Call:
    """A call of one operation, before anything is computed."""

    def __init__(self, record: Operation, given: dict[str, Any], colorspace: Any, stack: bool | None) -> None:
        self.record = record
        self.given = {name: value for name, value in given.items() if value is not None}
        self.colorspace = colorspace
        self.arguments = {argument.name: argument for argument in record.arguments}
        self.images = [name for name in self.given if self.arguments[name].kind == "image"]
        self.lists = {name: value for name, value in self.given.items() if _is_list_of_delayed(value)}
        if stack is not None and not isinstance(stack, (bool, np.bool_)):
            raise ValueError(f"{record.function}: stack is {stack!r}, expected True, False or None")
        self.stack = stack

    def refuse(self, text: str) -> ValueError:
        return ValueError(f"{self.record.function}: {text}")

    def job(self, *left_out: str, **others: Any) -> _Job:
        given = {name: value for name, value in {**self.given, **others}.items() if name not in left_out}
        threads = threads_of_a_task(tasks_at_once())
        return _Job(self.record.function, given, self.colorspace, threads)

    # What is stacked

    def _has_axis_in_front(self, argument: Argument, array: Any) -> bool:
        if argument.kind == "image":
            if self.stack is not None:
                return bool(self.stack) and array.ndim > (3 if argument.rank == 3 else 2)
            if argument.rank == 0:
                return False
            own = 3 if argument.rank == 3 else 2
            return bool(array.ndim == own + 2 or (array.ndim == own + 1 and array.shape[-1] > _CHANNELS))
        return bool(argument.shape) and array.ndim == len(argument.shape) + 1

    def stacked(self) -> dict[str, Any]:
        """The arguments with one value for each picture, as arrays and lists."""
        found: dict[str, Any] = {}
        for name, value in self.given.items():
            argument = self.arguments[name]
            if name in self.lists:
                found[name] = list(value)
            elif _is_array(value) and argument.kind in ("image", "reals", "integers"):
                if self._has_axis_in_front(argument, value):
                    found[name] = value
            elif argument.kind == "image" and isinstance(value, np.ndarray) and self._has_axis_in_front(argument, value):
                if self.stack or value.ndim == (5 if argument.rank == 3 else 4):
                    found[name] = da.from_array(value, chunks=(1, *value.shape[1:]))
        counts = {name: len(value) for name, value in found.items()}
        if len(set(counts.values())) > 1:
            texts = [f"{name} has {count}" for name, count in counts.items()]
            raise self.refuse(f"{', '.join(texts)}, expected stacks of one length")
        return found

    # What is known before anything is computed

    def examined(self, given: dict[str, Any], check: bool = True) -> dict[str, Any]:
        outlines = {}
        for name, value in given.items():
            if _is_array(value):
                outlines[name] = _outline(value.shape, value.dtype)
            elif not is_dask_collection(value) and not _is_list_of_delayed(value):
                outlines[name] = value
        return dict(_miravex.examine(self.record.name, outlines, self.colorspace, check))

    def known(self, given: dict[str, Any], check: bool = True) -> dict[str, Any]:
        """What the call will give; arguments that are not known yet are left out, where they may be."""
        late = [name for name, value in given.items() if isinstance(value, Delayed) or _is_list_of_delayed(value)]
        if not any(self._is_needed(self.arguments[name], given) for name in late):
            return self.examined(given, check)
        if any(result.is_foreseen for result in self.record.results):
            raise self.refuse(f"{late[0]} is not known yet, expected an array, since the result's shape follows from it")
        return {"kind": "", "shape": None, "values": {}}

    @staticmethod
    def _is_needed(argument: Argument, given: dict[str, Any]) -> bool:
        if argument.used_when and not argument.or_empty:
            name, value = argument.used_when
            return given.get(name) == value
        return not argument.optional

    # Ways to work

    def lazy(self) -> Any:
        for argument in self.record.arguments:
            if argument.kind == "array" and argument.rewritten:
                raise self.refuse(
                    f"{argument.name} is an array of this process, which tasks elsewhere can't fill; "
                    "miravex.dask.load_images gives the same as a lazy array"
                )
        stacked = self.stacked()
        if stacked:
            return self.each(stacked)
        for name in self.images:
            value = self.given[name]
            if isinstance(value, Delayed):
                raise self.refuse(f"{name} is delayed, expected an array of dask.array, whose shape is known")
            if not _is_array(value):
                self.given[name] = da.from_array(np.asarray(value), chunks=-1) if _is_plain(value) else value
        chunked = [name for name in self.images if self._is_chunked(name)]
        return self.by_blocks() if chunked else self.at_once()

    def each(self, stacked: dict[str, Any]) -> Any:
        """One picture after the other."""
        shared = {name: value for name, value in self.given.items() if name not in stacked}
        one = {name: _first_of(value) for name, value in stacked.items()}
        known = self.known({**shared, **one})
        is_picture = known["shape"] is not None
        arrays = {name: value for name, value in stacked.items() if _is_array(value)}
        count = len(next(iter(stacked.values())))
        along = next(iter(arrays.values())).chunks[0] if arrays else (1,) * count
        chunks = {
            name: value.rechunk({0: along, **{i: -1 for i in range(1, value.ndim)}}).to_delayed().ravel()
            for name, value in arrays.items()
        }
        late = {name: value for name, value in shared.items() if is_dask_collection(value)}
        job = self.job(*stacked, *late)
        run = delayed(_run_each, pure=True)
        made: list[Any] = []
        begin = 0
        for i, length in enumerate(along):
            parts = {
                name: chunks[name][i] if name in chunks else stacked[name][begin : begin + length] for name in stacked
            }
            part = run(job, length, parts, late, is_picture)
            begin += length
            if is_picture:
                made.append(da.from_delayed(part, (length, *known["shape"]), known["dtype"]))
            else:
                made += [part[k] for k in range(length)]
        if is_picture and not made:
            return da.zeros((0, *known["shape"]), dtype=known["dtype"])
        return da.concatenate(made) if is_picture else made

    def at_once(self) -> Any:
        """The whole call in one task."""
        known = self.known(self.given)
        late = {name: value for name, value in self.given.items() if is_dask_collection(value)}
        made = delayed(_run, pure=True)(self.job(*late), late)
        return made if known["shape"] is None else da.from_delayed(made, known["shape"], known["dtype"])

    def _axis_of_rows(self, name: str) -> int:
        array = self.given[name]
        own = self.arguments[name].rank
        return 1 if own == 3 or (own == 0 and array.ndim == 4) else 0

    def _is_chunked(self, name: str) -> bool:
        array, axis = self.given[name], self._axis_of_rows(name)
        return _is_array(array) and any(count > 1 for count in array.numblocks[axis : axis + 2])

    def by_blocks(self) -> Any:
        """One picture whose pixels look no further than is known."""
        name = "frames" if "frames" in self.given else self.images[0]
        axis = self._axis_of_rows(name)
        array = self.given[name]
        known = None
        if self.record.is_bounded and self.record.function in _PLACED:
            known = self.known(self.given)
        elif self.record.is_bounded:
            known = self.known(self.given, check=False)
        reach = known["reach"] if known else (None,)
        binarizes = self.record.function == "local_adaptive_binarize"
        if not known or (None in reach and not binarizes):
            raise self.refuse(
                f"{name} is in {' x '.join(map(str, array.numblocks[axis : axis + 2]))} chunks, expected one, since the "
                f"operation looks at {self.record.reach}: hand it over as {name}.rechunk(-1) where it fits a "
                "worker's memory, or in pictures of their own"
            )
        whole = {i: -1 for i in range(array.ndim) if i not in (axis, axis + 1)}
        self.given[name] = array = array.rechunk(whole)
        if None in reach:
            return self.by_bands(array)
        special: dict[str, Callable[[Any, Any], Any]] = {
            "image_pad": self.pad,
            "remap_tensor": self.remap,
            "image_perspective_transformation": self.warp,
        }
        if self.record.function in special:
            return special[self.record.function](array, known)
        return self.by_pieces(name, axis, array, known)

    def _made(self, tasks: dict[tuple[int, int], Any], chunks: Sequence[tuple[int, ...]], known: dict[str, Any], *of: Any) -> Any:
        """The array of these blocks."""
        name = f"{self.record.function}-{tokenize(self.record.function, self.given, self.colorspace)}"
        behind = tuple((n,) for n in known["shape"][2:])
        graph = {(name, *block, *(0 for _ in behind)): task for block, task in tasks.items()}
        layers = HighLevelGraph.from_collections(name, graph, dependencies=list(of))
        return da.Array(layers, name, (*chunks, *behind), dtype=known["dtype"])

    def by_pieces(self, name: str, axis: int, array: Any, known: dict[str, Any]) -> Any:
        above, below, left, right = (max(pixels, 0) for pixels in known["reach"])
        halves, doubles = self.record.function == "pyr_down", self.record.function == "pyr_up"
        periodic = known["values"].get("padding") == "Periodic"
        sides = known["shape"] or array.shape[axis : axis + 2]
        down, across = (
            Axis(array.shape[axis + i], array.chunks[axis + i], *reach, periodic, halves, doubles, sides[i])
            for i, reach in enumerate(((above, below), (left, right)))
        )
        rows, columns = down.blocks(), across.blocks()
        pieces = [down.piece(block) for block in rows], [across.piece(block) for block in columns]
        if self.record.function not in _PLACED:
            self._check_piece(name, axis, array, pieces)
        mask = self.given.get("mask")
        if mask is not None:
            self.given["mask"] = mask = mask.rechunk(array.chunks)
        job = self.job(name, "mask")
        high_sources = [blocks.source_of(down.chunks, piece.spans) for piece in pieces[0]]
        wide_sources = [blocks.source_of(across.chunks, piece.spans) for piece in pieces[1]]
        tasks: dict[tuple[int, int], Any] = {}
        for (i, j), own_rows, own_columns in blocks.blocks_of(rows, columns):
            high, wide = pieces[0][i], pieces[1][j]
            parts = blocks.parts_of(array, high_sources[i], wide_sources[j], axis)
            follow = (("height", down.result_of(high)), ("width", across.result_of(wide))) if halves or doubles else ()
            cut = _Cut(name, axis, (high.kept, wide.kept), follow)
            if known["shape"] is not None:
                tasks[i, j] = (_run_piece, job, cut, parts)
                continue
            allowed = None if mask is None else blocks.parts_of(mask, high_sources[i], wide_sources[j], 0)
            place = (own_rows[0] - high.kept[0], own_columns[0] - wide.kept[0])
            tasks[i, j] = (_run_corners, job, cut, parts, allowed, place, array.shape[0])
        of = [array] if mask is None else [array, mask]
        if known["shape"] is not None:
            return self._made(tasks, (blocks.lengths(rows), blocks.lengths(columns)), known, *of)
        prefix = f"{self.record.function}-{tokenize(self.given, self.colorspace)}"
        graph = {f"{prefix}-{i}-{j}": task for (i, j), task in tasks.items()}
        layers = HighLevelGraph.from_collections(prefix, graph, dependencies=of)
        parts = [Delayed(key, layers, layer=prefix) for key in graph]
        return delayed(_corners, pure=True)(parts)

    def _check_piece(self, name: str, axis: int, array: Any, pieces: tuple[list[Piece], list[Piece]]) -> None:
        """The arguments are checked against the largest of the pieces that they will come with."""
        shape = list(array.shape)
        shape[axis] = max((piece.length for piece in pieces[0]), default=0)
        shape[axis + 1] = max((piece.length for piece in pieces[1]), default=0)
        given = {**self.given, name: _outline(shape, array.dtype)}
        if "mask" in given:
            if given["mask"].shape != array.shape:
                self.examined(self.given)
            given["mask"] = _outline(shape, given["mask"].dtype)
        self.examined(given)

    def by_bands(self, array: Any) -> Any:
        """Local binarization, whose sums run from edge to edge: bands of rows, one after the other."""
        small = {**self.given, "image": _outline([min(n, 512) for n in array.shape], array.dtype)}
        values = self.examined(small)["values"]
        coefficients = [float(weight) for weight in self.given["coefficients"]]
        rows, columns = array.shape[:2]
        full = float(np.iinfo(array.dtype).max) if array.dtype.kind == "u" else 1.0
        window = Window(
            rows=rows,
            columns=columns,
            radius=(values["radius"] + 2**31) % 2**32 - 2**31,
            padding=values["padding"],
            fill=values["padding_value"],
            mean_weight=coefficients[0],
            deviation_weight=coefficients[1],
            full=full,
            by_blurs=array.dtype not in (np.bool_, np.uint8),
        )
        job = replace(self.job(), given={"coefficients": [0.0, 0.0, coefficients[2]]}, colorspace=None)
        bands = list(window.bands())
        name = f"local_adaptive_binarize-{tokenize(self.given, self.colorspace)}"
        graph: dict[Any, Any] = {}
        whole_rows = blocks.source_of(array.chunks[1], [(0, columns)])
        before = None
        for i, band in enumerate(bands):
            spans = _spans_of(window.rows_of(band))
            parts = blocks.parts_of(array, blocks.source_of(array.chunks[0], spans), whole_rows, 0)
            key = (f"sums-{name}", i)
            graph[key] = (_run_band, job, parts, band, window, before)
            graph[name, i, 0] = (_first, key)
            before = key
        layers = HighLevelGraph.from_collections(name, graph, dependencies=[array])
        banded = da.Array(layers, name, (blocks.lengths(bands), (columns,)), dtype=np.bool_)
        return banded.rechunk(array.chunks)

    def pad(self, array: Any, known: dict[str, Any]) -> Any:
        values = known["values"]
        axes = []
        for i, (first, last) in enumerate((("top", "bottom"), ("left", "right"))):
            before, behind = values[first], values[last]
            ends = [before + end for end in np.cumsum(array.chunks[i]).tolist()]
            spans = [(0, before), *zip([before, *ends], ends), (ends[-1], ends[-1] + behind)]
            axes.append(blocks.pieces_at_most([span for span in spans if span[0] < span[1]], max(array.chunks[i])))
        offsets = (values["top"], values["left"])
        job = self.job("image", "top", "bottom", "left", "right")
        tasks = {}
        for (i, j), *block in blocks.blocks_of(*axes):
            index: list[Array] = []
            inner: list[Span] = []
            origin: list[int] = []
            for span, offset, side in zip(block, offsets, array.shape):
                positions = blocks.folded(np.arange(*span) - offset, side, values["padding"])
                inside = positions[positions >= 0]
                own = (int(inside.min()), int(inside.max()) + 1) if len(inside) else (0, 1)
                index.append(positions)
                inner.append(own)
                origin.append(own[0])
            sources = [blocks.source_of(chunks, [own]) for chunks, own in zip(array.chunks, inner)]
            parts = blocks.parts_of(array, sources[0], sources[1], 0)
            tasks[i, j] = (_run_padding, job, parts, _Index(*index), _Index(*origin))
        return self._made(tasks, [blocks.lengths(spans) for spans in axes], known, array)

    def _lookups(self, array: Any, known: dict[str, Any], extents: Callable[[int, int, Span, Span], Any]) -> Any:
        """Blocks of a result that is looked up, with the parts of the picture that hold what they look at."""
        above, below, left, right = known["reach"]
        padding = known["values"]["padding"]
        rows, columns = (Axis(array.shape[i], array.chunks[i], 0, 0).blocks() for i in (0, 1))
        for (i, j), down, across in blocks.blocks_of(rows, columns):
            x, y = extents(i, j, down, across)
            high = blocks.looked_up(y, array.shape[0], padding, (above, below))
            wide = blocks.looked_up(x, array.shape[1], padding, (left, right))
            high = blocks.at_least(high, down[1] - down[0], array.shape[0])
            wide = blocks.at_least(wide, across[1] - across[0], array.shape[1])
            sources = [blocks.source_of(chunks, [span]) for chunks, span in zip(array.chunks, (high, wide))]
            parts = blocks.parts_of(array, sources[0], sources[1], 0)
            yield (i, j), down, across, parts, _Index(high[0], wide[0])

    def remap(self, array: Any, known: dict[str, Any]) -> Any:
        """Tables in chunks are read once here, for where they look."""
        nearest = known["values"]["interpolation"] == "Nearest"
        tables = [
            table.rechunk(array.chunks[:2]) if _is_array(table) else np.asarray(table, np.float64)
            for table in (self.given["x"], self.given["y"])
        ]
        late = [table for table in tables if _is_array(table)]
        found = [
            table.map_blocks(_outermost, nearest, chunks=((1,) * table.numblocks[0], (2,) * table.numblocks[1]), dtype=np.int64)
            for table in late
        ]
        read = iter(da.compute(*found)) if found else iter(())
        outermost = [next(read) if _is_array(table) else None for table in tables]

        def extents(i: int, j: int, down: Span, across: Span) -> list[Array]:
            return [
                blocks.fixed_positions(table[slice(*down), slice(*across)], nearest)[0]
                if ends is None
                else ends[i, 2 * j : 2 * j + 2]
                for table, ends in zip(tables, outermost)
            ]

        job = self.job("image", "x", "y")
        tasks = {}
        for (i, j), down, across, parts, origin in self._lookups(array, known, extents):
            own = [
                (table.name, i, j) if _is_array(table) else table[slice(*down), slice(*across)] for table in tables
            ]
            tasks[i, j] = (_run_remap, job, parts, origin, *own, nearest)
        return self._made(tasks, array.chunks[:2], known, array, *late)

    def warp(self, array: Any, known: dict[str, Any]) -> Any:
        homography = np.asarray(self.given["homography"], np.float64)
        if not np.isfinite(homography).all():
            raise self.refuse("homography has numbers that are not finite, expected finite ones for a picture in chunks")
        if blocks.is_identity(homography):
            return array.astype(known["dtype"]) if array.dtype != np.bool_ else self._bytes(array)
        nearest = known["values"]["interpolation"] == "Nearest"
        warp = _Warp(blocks.homography_downward(homography, array.shape[0]), array.shape[:2], nearest)
        job = replace(self.job("image", "homography"), function="remap_tensor")
        tasks = {}
        for block, down, across, parts, origin in self._lookups(array, known, lambda i, j, *spans: warp.extents(*spans)):
            tasks[block] = (_run_warp, job, parts, origin, warp, _Index(*down), _Index(*across))
        return self._made(tasks, array.chunks[:2], known, array)

    @staticmethod
    def _bytes(array: Any) -> Any:
        """Bits as the bytes that resampling makes of them."""
        return array.map_blocks(_resampled_bits, dtype=np.uint8)


def _resampled_bits(chunk: Array) -> Array:
    identity: Array = _operations.image_perspective_transformation(chunk, np.eye(3))
    return identity.reshape(chunk.shape)


class _Index(tuple):  # type: ignore[type-arg]
    """A tuple that Dask does not take for a task or a key."""

    def __new__(cls, *entries: Any) -> _Index:
        return super().__new__(cls, entries)

    def __reduce__(self) -> tuple[Any, ...]:
        return _Index, tuple(self)


def _outermost(table: Array, nearest: bool) -> Array:
    whole = blocks.fixed_positions(table, nearest)[0]
    return np.array([[whole.min(), whole.max()]])


def _spans_of(rows: Array) -> list[Span]:
    """Consecutive numbers as spans."""
    breaks = np.flatnonzero(np.diff(rows) != 1) + 1
    return [(int(run[0]), int(run[-1]) + 1) for run in np.split(rows, breaks)]


def _first_of(values: Any) -> Any:
    """One picture of a stack, as far as it is known."""
    return _outline(values.shape[1:], values.dtype) if _is_array(values) else values


def _is_plain(value: Any) -> bool:
    return isinstance(value, (np.ndarray, list, tuple)) and np.asarray(value).dtype.kind in "buf"


def lazy_signature(record: Operation) -> inspect.Signature:
    known = signature(record)
    return known.replace(parameters=[*known.parameters.values(), STACK])


def function_of(record: Operation) -> Callable[..., Any]:
    known = signature(record)

    def operation(*args: Any, stack: bool | None = None, **kwargs: Any) -> Any:
        values, colorspace, inplace = arguments_of(record, known, args, kwargs)
        if inplace:
            raise ValueError(f"{record.function}: inplace is True, expected False, since tasks work on copies")
        return _Call(record, values, colorspace, stack).lazy()

    operation.__name__ = operation.__qualname__ = record.function
    operation.__module__ = "miravex.dask"
    notes = _NOTES + ((_BOUNDED if record.is_bounded else _WHOLE) if record.reach else "")
    operation.__doc__ = docstring(record) + "\n" + notes
    operation.__signature__ = lazy_signature(record)  # type: ignore[attr-defined]
    return operation
