"""Properties of every operation, from its record: what the record accepts, the library accepts; what is just
outside is refused before the call, by name."""

from __future__ import annotations

import math
from pathlib import Path
from typing import Any

import miravex
import numpy as np
import pytest
from hypothesis import assume, given, settings
from hypothesis import strategies as st
from miravex._signatures import parameter_name
from values import colour_spaces, picture_like, usual

RECORDS = miravex.catalog()
CALLS = settings(max_examples=12)  # of every operation, some of which take a second
OWN_REFUSAL = "the library refused the call"


def name(record: Any) -> str:
    """Of an operation or of one of its arguments."""
    return getattr(record, "function", record.name)


def call(record: Any, given_values: dict[str, Any]) -> Any:
    options = {"colorspace": colour_spaces(record)} if colour_spaces(record) else {}
    named = {parameter_name(argument): argument.name for argument in record.arguments}
    parameters = {key: given_values[name] for key, name in named.items() if name in given_values}
    return getattr(miravex, record.function)(**parameters, **options)


@pytest.mark.parametrize("record", RECORDS, ids=name)
def test_defaults_make_a_call(record: Any) -> None:
    value = call(record, usual(record))
    for result in record.results:
        if result.kind in ("image", "sequence") and result.when is None:
            assert isinstance(value, np.ndarray)
            assert value.ndim in ((2, 3) if result.kind == "image" else (3, 4))


def parts(value: Any) -> list[np.ndarray]:
    """All numbers of a result, whatever it is made of."""
    if isinstance(value, (tuple, list)):
        return [part for item in value for part in parts(item)]
    return [np.asarray(value)]


def on_read_only_pages(array: np.ndarray, file: Path) -> np.ndarray:
    """The same array in memory that the process can't write: a map of a file."""
    if array.nbytes == 0:
        return array
    file.write_bytes(array.tobytes())
    return np.memmap(file, array.dtype, "r", shape=array.shape)


@pytest.mark.parametrize("record", RECORDS, ids=name)
def test_inputs_are_only_read(record: Any, tmp_path: Path) -> None:
    """Arrays that can't be written serve as well, and hold afterwards what they held."""
    values = usual(record)
    destinations = [argument.name for argument in record.arguments if argument.kind == "array" and argument.rewritten]
    inputs = {key: value for key, value in values.items() if isinstance(value, np.ndarray) and key not in destinations}
    before = {key: value.copy() for key, value in inputs.items()}
    for key, array in inputs.items():
        values[key] = on_read_only_pages(array, tmp_path / key)
    call(record, values)
    for key, array in before.items():
        assert np.array_equal(values[key], array), key


@pytest.mark.parametrize("record", RECORDS, ids=name)
@pytest.mark.parametrize(
    "change",
    [
        np.asfortranarray,
        lambda array: array.astype(array.dtype.newbyteorder()),
        lambda array: np.repeat(array, 2, axis=-1)[..., ::2],
        lambda array: np.ascontiguousarray(array[::-1])[::-1],
    ],
    ids=["fortran", "byte order", "gaps", "backwards"],
)
def test_what_an_array_looks_like_in_memory_does_not_matter(record: Any, change: Any) -> None:
    values = usual(record)
    inputs = {argument.name for argument in record.arguments if argument.kind in ("image", "reals", "integers")}
    if not inputs & values.keys():
        return  # nothing but words and numbers
    changed = {key: change(value) if key in inputs else value for key, value in values.items()}
    expected, found = parts(call(record, values)), parts(call(record, changed))
    assert len(expected) == len(found)
    for one, other in zip(expected, found):
        assert one.dtype == other.dtype and np.array_equal(one, other, equal_nan=one.dtype.kind == "f")


def numbers_inside(argument: Any) -> st.SearchStrategy[Any]:
    """Numbers that the bounds accept, near the lower end: the upper may ask for much work."""
    low, low_inclusive = argument.minimum or (-4.0, True)
    high, high_inclusive = argument.maximum or (math.inf, False)
    if argument.kind == "integer":
        first = int(low) if low_inclusive else int(low) + 1
        last = int(min(first + 4, high if high_inclusive else high - 1))
        numbers = st.integers(first, max(first, last))
        return numbers.filter(lambda number: number % 2 == 1) if argument.odd else numbers
    usual_value = argument.default if isinstance(argument.default, float) else low + 1
    last = min(max(2 * abs(usual_value), low + 1), high)
    # Next to a bound that is itself refused, some operations would work for ever; they say so in their limits.
    first = low if low_inclusive else (low + min(usual_value, last)) / 2
    return st.floats(first, last, exclude_max=last == high and not high_inclusive)


@pytest.mark.parametrize("record", RECORDS, ids=name)
@CALLS
@given(data=st.data())
def test_the_library_accepts_what_the_record_accepts(record: Any, data: st.DataObject) -> None:
    values = usual(record)
    for argument in record.arguments:
        if argument.choices:
            values[argument.name] = data.draw(st.sampled_from(argument.choices), label=argument.name)
        elif argument.kind == "boolean" and not argument.implied_by:
            values[argument.name] = data.draw(st.booleans(), label=argument.name)
        elif argument.kind in ("integer", "real") and not argument.derived_default and not argument.implied_by:
            if data.draw(st.booleans()) and not argument.optional:
                values[argument.name] = data.draw(numbers_inside(argument), label=argument.name)
    try:
        call(record, values)
    except ValueError as refusal:
        # Only rules between arguments, and objects that a mode needs, may object.
        texts = [text for _, text in record.constraints]
        needed = [a.name for a in record.arguments if a.optional and a.used_when]
        related = any(text in str(refusal) for text in texts)
        absent = any(f"{other} is missing" in str(refusal) for other in needed)
        if not related and not absent:
            raise
        assume(False)
    except miravex.MiravexError as failure:
        assert OWN_REFUSAL not in str(failure)


def just_outside(argument: Any) -> list[Any]:
    outside: list[Any] = []
    integer = argument.kind == "integer"
    for bound, step in ((argument.minimum, -1), (argument.maximum, 1)):
        if bound is None:
            continue
        value, inclusive = bound
        if integer:
            number = int(value) + (step if inclusive else 0)
            outside.append(number)
        else:
            outside.append(math.nextafter(value, step * math.inf) if inclusive else value)
    return outside


BOUNDED = [
    (record, argument)
    for record in RECORDS
    for argument in record.arguments
    if argument.kind in ("integer", "real") and not argument.implied_by and (argument.minimum or argument.maximum)
]


@pytest.mark.parametrize("record, argument", BOUNDED, ids=name)
def test_just_outside_each_bound_is_refused_by_name(record: Any, argument: Any) -> None:
    values = usual(record)
    if argument.used_when:
        other, wanted = argument.used_when
        values[other] = {"true": True, "false": False}.get(wanted, wanted)
    for number in just_outside(argument):
        with pytest.raises(ValueError, match=f"{record.function}.*{argument.name} is "):
            call(record, {**values, argument.name: number})


WORDED = [(record, argument) for record in RECORDS for argument in record.arguments if argument.choices]


@pytest.mark.parametrize("record, argument", WORDED, ids=name)
def test_near_misses_of_words_are_refused(record: Any, argument: Any) -> None:
    values = usual(record)
    for choice in argument.choices:
        for word in (choice.swapcase(), choice + " ", choice[:-1]):
            if word in argument.choices:
                continue
            with pytest.raises(ValueError, match=argument.name):
                call(record, {**values, argument.name: word})


PICTURED = [
    (record, argument)
    for record in RECORDS
    for argument in record.arguments
    if argument.kind == "image" and not argument.optional
]


@pytest.mark.parametrize("record, argument", PICTURED, ids=name)
def test_images_that_the_record_does_not_accept_are_refused(record: Any, argument: Any) -> None:
    values = usual(record)
    for kind in ("bit", "byte", "bit16", "real32", "real"):
        if argument.pixel_types and kind not in argument.pixel_types:
            other = picture_like(values[argument.name], argument, type_name=kind)
            with pytest.raises(ValueError, match=f"{argument.name} is"):
                call(record, {**values, argument.name: other})
    for channels in (1, 2, 3, 4, 5):
        if argument.channels and channels not in argument.channels:
            other = picture_like(values[argument.name], argument, channels=channels)
            with pytest.raises(ValueError, match=f"{argument.name} is"):
                call(record, {**values, argument.name: other})
    for shape in ((3,), (2, 2, 2, 2, 2), (0, 4), (4, 0), ()):
        with pytest.raises(ValueError, match=argument.name):
            call(record, {**values, argument.name: np.zeros(shape, np.uint8)})


@pytest.mark.parametrize("record", RECORDS, ids=name)
@CALLS
@given(data=st.data())
def test_nothing_crashes(record: Any, data: st.DataObject) -> None:
    """Any argument replaced by something wild ends in a result or in one of the two errors."""
    values = usual(record)
    argument = data.draw(st.sampled_from([a for a in record.arguments if not a.implied_by]))
    wild = st.one_of(
        st.none(),
        st.booleans(),
        st.integers(-3, 3),
        st.sampled_from([2**31 - 1, -(2**31), 2**31, 2**63 - 1, -(2**63), 2**64]),
        st.floats(),
        st.text(max_size=5),
        st.binary(max_size=5),
        st.lists(st.floats(-2, 2), max_size=4),
        st.builds(
            np.zeros,
            st.lists(st.integers(0, 5), max_size=5).map(tuple),
            st.sampled_from([bool, "u1", "u2", "f4", "f8", "i8", "c8", "O", "U3"]),
        ),
    )
    values[argument.name] = data.draw(wild, label=argument.name)
    try:
        call(record, values)
    except (ValueError, miravex.MiravexError, MemoryError):
        pass
