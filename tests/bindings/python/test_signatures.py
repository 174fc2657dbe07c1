"""Signatures, docstrings and type stubs follow from the records."""

from __future__ import annotations

import inspect
import pydoc
import re
import subprocess
import sys
from pathlib import Path

import miravex
import pytest
from miravex import _stubs
from miravex._signatures import docstring, is_required, parameter_name, shown

RECORDS = miravex.catalog()
ROOT = Path(__file__).resolve().parents[3]


def names(record) -> str:
    return record.function


def listed() -> list[tuple[str, list[str]]]:
    """Function names and kinds of arguments, as tests/interface.txt has them."""
    lines = (ROOT / "tests/interface.txt").read_text().splitlines()
    parts = [re.fullmatch(r"\w+\((.*)\) -> .* : ([\w-]+)", line) for line in lines if not line.startswith("#")]
    assert all(parts)
    return [(part[2].replace("-", "_"), part[1].split(", ")) for part in parts if part]


def test_every_operation_is_a_function() -> None:
    found = [(record.function, [argument.kind for argument in record.arguments]) for record in RECORDS]
    assert found == listed(), "run scripts/generate to write tests/interface.txt again"
    for record in RECORDS:
        function = getattr(miravex, record.function)
        assert function.__name__ == record.function
        assert record.function in miravex.__all__
        assert record.function in dir(miravex)


@pytest.mark.parametrize("record", RECORDS, ids=names)
def test_signature_says_what_the_record_says(record) -> None:
    parameters = dict(inspect.signature(getattr(miravex, record.function)).parameters)
    assert ("colorspace" in parameters) == any(a.kind == "image" for a in record.arguments)
    parameters.pop("colorspace", None)
    parameters.pop("inplace", None)
    assert set(parameters) == {parameter_name(argument) for argument in shown(record)}
    for argument in shown(record):
        default = parameters[parameter_name(argument)].default
        if is_required(argument):
            assert default is inspect.Parameter.empty
        else:
            assert default == argument.default
    required = [p.default is inspect.Parameter.empty for p in parameters.values()]
    assert required == sorted(required, reverse=True)


@pytest.mark.parametrize("record", RECORDS, ids=names)
def test_docstring_is_complete(record) -> None:
    text = docstring(record)
    assert getattr(miravex, record.function).__doc__ == text
    for section in ("Parameters", "Returns", "Raises", "ValueError", "MiravexError"):
        assert section in text
    flat = " ".join(text.split())
    for argument in shown(record):
        assert f"{parameter_name(argument)} : " in flat
        if argument.derived_default:
            assert argument.derived_default in flat
        if argument.minimum or argument.maximum or argument.choices:
            assert " ".join(argument.accepted.split()) in flat
    assert " ".join(record.source.split()) in flat
    prose = [line for line in text.splitlines() if " : " not in line]
    assert max(map(len, prose)) <= 100
    assert record.function in pydoc.render_doc(getattr(miravex, record.function))


def test_stubs_are_up_to_date() -> None:
    kept = ROOT / "bindings/python/miravex/_operations.pyi"
    assert kept.read_text() == _stubs.stubs(), "run scripts/generate to write the stubs again"
    pytest.importorskip("dask")
    lazy = kept.with_name("_dask_operations.pyi")
    assert lazy.read_text() == _stubs.lazy_stubs(), "run scripts/generate to write the stubs again"


USER = '''
from pathlib import Path
import numpy as np
import miravex

picture = np.zeros((8, 8, 3), np.uint8)
reveal_type(miravex.median_filter(picture, radius=3))
miravex.pyr_down(picture, padding="Fixed", width=None)
miravex.pyr_mean_shift_filter(picture, 10, color_radius=0.5, colorspace={"image": "RGB"})
keypoints = miravex.results.Keypoints.over(np.zeros((0, 7)))
reveal_type(keypoints.x)
reveal_type(keypoints.rows)
reveal_type(miravex.MiravexError("x"))
features = miravex.orb(picture[..., 0], mode="detectAndCompute")
reveal_type(features.keypoints.x)
reveal_type(miravex.orb(picture[..., 0]).angle)
reveal_type(miravex.find_contours(picture[..., 0], chain_code=True).codes)
for record in miravex.catalog():
    reveal_type(record.arguments[0].choices)
'''

WRONG = '''
import numpy as np
import miravex
import miravex.dask

picture = np.zeros((8, 8, 3), np.uint8)
miravex.dask.median_filter(picture, raduis=3)
miravex.median_filter(picture, radius="3")
miravex.median_filter(picture, raduis=3)
miravex.median_filter()
miravex.pyr_down(picture, padding="Fixd")
'''


def run_mypy(directory: Path, *arguments: str) -> subprocess.CompletedProcess[str]:
    command = [sys.executable, "-m", "mypy", "--config-file", str(ROOT / "bindings/python/mypy.ini")]
    command += ["--cache-dir", str(directory / "cache"), *arguments]
    environment = {"MYPYPATH": str(ROOT / "bindings/python"), "PATH": "/usr/bin:/bin", "HOME": str(directory)}
    return subprocess.run(command, capture_output=True, text=True, env=environment, cwd=directory)


def test_types_check(tmp_path: Path) -> None:
    pytest.importorskip("mypy")
    (tmp_path / "user.py").write_text(USER)
    (tmp_path / "wrong.py").write_text(WRONG)
    package = run_mypy(tmp_path, str(ROOT / "bindings/python/miravex"))
    assert package.returncode == 0, package.stdout + package.stderr
    user = run_mypy(tmp_path, "user.py")
    assert user.returncode == 0, user.stdout + user.stderr
    assert user.stdout.count("ndarray") >= 6
    wrong = run_mypy(tmp_path, "wrong.py")
    assert wrong.stdout.count(": error: ") == 5, wrong.stdout


def test_parts_are_loaded_when_they_are_asked_for() -> None:
    script = """
import sys, miravex
assert not {"numpy", "inspect", "miravex.results", "miravex.draw", "miravex.loading"} & sys.modules.keys()
assert miravex.results.Keypoints and miravex.draw.keypoints and miravex.load_images and miravex.orb
assert not hasattr(miravex, "nothing")
from miravex import *
assert load_images is miravex.load_images and orb is miravex.orb and draw is miravex.draw
"""
    subprocess.run([sys.executable, "-c", script], check=True)
