"""The examples of the reference pages are calls that can be made: they are read as Python, C and the shell
read them."""

from __future__ import annotations

import ast
import inspect
import re
import shlex
import subprocess
import sys
from pathlib import Path
from typing import Any

import miravex
import pytest

from miravex import _calls as pages

ROOT = Path(__file__).resolve().parents[3]
sys.path.insert(0, str(ROOT / "docs"))

import check_links  # noqa: E402
import tasks  # noqa: E402

RECORDS = miravex.catalog()


def name(record: Any) -> str:
    return record.function


@pytest.mark.parametrize("record", RECORDS, ids=name)
def test_python_calls_fit_their_signatures(record: Any) -> None:
    statements = ast.parse("\n".join(pages.python_lines(record))).body
    assert len(statements) == len(record.examples) > 0
    for statement in statements:
        call = statement.value  # type: ignore[attr-defined]
        assert ast.unparse(call.func) == f"miravex.{record.function}"
        positional = [ast.unparse(value) for value in call.args]
        named = {keyword.arg: ast.unparse(keyword.value) for keyword in call.keywords}
        inspect.signature(getattr(miravex, record.function)).bind(*positional, **named)
        assert not any("@" in text for text in [*positional, *named.values()])


@pytest.mark.parametrize("record", RECORDS, ids=name)
def test_octave_calls_name_arguments(record: Any) -> None:
    """Octave itself reads the same lines in the help of its package; here the names are looked at."""
    lines = [line for line in pages.octave_lines(record) if line and not line.startswith("%")]
    assert lines
    known = [argument.name for argument in record.arguments]
    for line in lines:
        called = re.fullmatch(r"\w+ = miravex\.(\w+) \((.*)\);", line)
        assert called and called[1] in (record.function, "load_images"), line
        if called[1] == record.function:
            named = re.findall(r'"([a-z_0-9]+)", ', called[2])
            assert set(named) <= {*known, *(choice for argument in record.arguments for choice in argument.choices)}
            assert "@" not in line


def declarations(record: Any) -> list[str]:
    """What a host has at hand before it makes the call: its objects and what it worked out of them."""
    types = {"image": "KImage", "array": "NumericArray", "reals": "KTensor", "integers": "KTensor"}
    numbers = {"integer": "int64_t", "real": "double"}
    words = {name for call in pages.calls(record) for given in call.given.values() if (name := given.c()).isidentifier()}
    return [
        *(f"{types[a.kind]} {a.name}_handle" for a in record.arguments if a.kind in types),
        *(f"{numbers[a.kind]} {a.name}_value" for a in record.arguments if a.kind in numbers),
        *(f"const char* {word}" for word in words),
    ]


def test_c_calls_compile(tmp_path: Path) -> None:
    lines = ['#include "miravex/host_interface.h"', "#include <stddef.h>"]
    for record in RECORDS:
        result = {"image": "KImage", "tensor": "KTensor", "real": "double"}[pages.CELLS[record.results[0].kind]]
        parameters = ", ".join(["LibraryData data", f"void (*use)({result})", *declarations(record)])
        lines += [
            f"HostErrorCode opencv_{record.name}(LibraryData, int64_t, ArgumentSlot*, ArgumentSlot);",
            f"void example_{record.name}({parameters})",
            "{",
            *("    " + line for line in pages.c_lines(record)),
            "}",
        ]
    (tmp_path / "examples.c").write_text("\n".join(lines))
    command = ["cc", "-std=c99", "-Wall", "-Wextra", "-Wno-unused-parameter", "-Werror", "-fsyntax-only"]
    done = subprocess.run([*command, f"-I{ROOT}/include", "examples.c"], capture_output=True, text=True, cwd=tmp_path)
    assert done.returncode == 0, done.stderr


@pytest.mark.parametrize("record", RECORDS, ids=name)
def test_command_lines_name_files_and_options(record: Any) -> None:
    options = {f"--{pages.kebab(argument.name)}" for argument in record.arguments}
    commands = [line for line in pages.command_lines(record) if line and not line.startswith("#")]
    assert len(commands) == len(record.examples)
    for command in commands:
        words = shlex.split(command)
        assert words[:2] == ["miravex", record.command] and not any("@" in word for word in words)
        for word in words:
            drawing = re.fullmatch(r"--(query|train)-(picture|keypoints)", word)
            assert not word.startswith("--") or word in options or drawing
        for word in words:  # every file has one extension
            assert len(re.findall(r"\.[a-z]{2,}", word)) <= 1
    needed = [argument for argument in record.arguments if argument.kind == "image" and not argument.optional]
    assert all(sum(bool(re.search(r"\.(jpg|exr)$", word)) for word in shlex.split(c)) >= len(needed) for c in commands)


def test_every_operation_has_a_task_and_every_task_its_operations() -> None:
    named = [name for task in tasks.TASKS for name in task.operations]
    assert sorted(named) == sorted(record.function for record in RECORDS)  # each once
    assert all(task.title and task.about.endswith(".") for task in tasks.TASKS)


def test_links_that_lead_nowhere_are_found(tmp_path: Path) -> None:
    (tmp_path / "sub").mkdir()
    (tmp_path / "a.html").write_text(
        '<p id="here"></p><a href="sub/b.html#there"></a><a href="#here"></a><a href="https://elsewhere.example/x"></a>'
    )
    (tmp_path / "sub/b.html").write_text('<p id="there"></p><a href="../a.html#here"></a><img src="../a.html">')
    assert check_links.broken(tmp_path) == []
    (tmp_path / "sub/c.html").write_text(
        '<a href="../none.html"></a><a href="b.html#nowhere"></a><a href="#nowhere"></a><img src="c.png">'
        '<a href="../../outside.html"></a><script src="/absolute.js"></script>'
    )
    (tmp_path.parent / "outside.html").write_text("")
    wrong = ["#nowhere", "../../outside.html", "../none.html", "/absolute.js", "b.html#nowhere", "c.png"]
    assert check_links.broken(tmp_path) == [f"sub/c.html: {link}" for link in wrong]
