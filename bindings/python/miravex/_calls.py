"""Calls as text: as people write them on the command line, in Python, GNU Octave and C, from the records."""

from __future__ import annotations

import json
import re
import textwrap
from typing import Any, NamedTuple

from ._miravex import Argument, Operation
from ._signatures import is_required, parameter_name, sentence, shown

# The member of a C cell for each kind of argument and result.
CELLS = {
    "integer": "integer",
    "real": "real",
    "boolean": "boolean",
    "text": "string",
    "image": "image",
    "reals": "tensor",
    "integers": "tensor",
    "array": "numericArray",
    "sequence": "image",
}

# Files of samples whose names say more than the samples'.
FILES = {
    "hdr": "hdr.exr",
    "film": "film.avi",
    "cascade": "frontal_face.xml",
    "face_network_prototxt": "network.prototxt",
    "face_network_weights": "network.caffemodel",
}


class Given(NamedTuple):
    """One argument of a call: its word of the command line, or the name of a sample or of files instead."""

    argument: Argument
    word: str
    is_sample: bool
    path: str = ""  # the file, when it is no sample's

    @property
    def name(self) -> str:
        """What Python and C call a sample or what a file holds."""
        return self.argument.name if self.path else re.sub(r"\W", "_", self.word)

    @property
    def file(self) -> str:
        """What the command line calls a sample."""
        if self.path:
            return self.path
        if self.argument.kind == "text" and not self.argument.is_path:
            return f'"${self.name}"'
        several = "*" if self.argument.rank == 3 else ""
        return FILES.get(self.word, f"{self.word}{several}.{'jpg' if self.argument.kind == 'image' else 'csv'}")

    @property
    def numbers(self) -> list[Any]:
        """A list, or a list of rows."""
        rows = [[json.loads(number) for number in row.split(",")] for row in self.word.split(";")]
        return rows if len(rows) > 1 else rows[0]

    def python(self) -> str:
        kind = self.argument.kind
        if self.is_sample:
            return json.dumps(self.file, ensure_ascii=False) if self.argument.is_path else self.name
        if kind == "boolean":
            return str(self.word == "true")
        if kind in ("integer", "real"):
            return self.word
        if kind == "array":
            return f"numpy.zeros(({self.word.replace('x', ', ')}), numpy.float32)"
        return f'"{self.word}"' if kind == "text" else str(self.numbers)

    def octave(self) -> str:
        kind = self.argument.kind
        if self.is_sample or kind == "text":
            return self.python()
        if kind in ("integer", "real", "boolean"):
            return self.word
        return f"[{self.word.replace(';', '; ').replace(',', ', ')}]"

    def c(self) -> str:
        kind = self.argument.kind
        if kind == "text":
            return self.name if self.is_sample and not self.argument.is_path else self.python()
        if kind == "boolean":
            return str(int(self.word == "true"))
        if kind in ("integer", "real"):
            return self.word
        holds = self.name if self.is_sample else self.word
        return f"{self.argument.name}_handle /* {holds} */"


class Call(NamedTuple):
    title: str
    given: dict[str, Given]
    command: list[str]


def sample(word: str) -> str:
    """The name in "@name" or "@name.csv"; empty for other words."""
    found = re.fullmatch(r"@(\w+)(\.\w+)?", word)
    return found[1] if found else ""


def given_by(argument: Argument, word: str) -> Given:
    return Given(argument, sample(word) or word, bool(sample(word)))


def call_of(record: Operation, title: str, words: tuple[str, ...]) -> Call:
    """An example as arguments by name and as words of a command line."""
    options = {f"--{kebab(argument.name)}": argument for argument in record.arguments}
    in_order = sorted(shown(record), key=lambda argument: argument.kind != "image")
    given: dict[str, Given] = {}
    command = []
    rest = list(words)
    while rest:
        word = rest.pop(0)
        if not word.startswith("--"):
            one = given_by(in_order.pop(0), word)
            command.append(one.file)
        else:
            value = rest.pop(0)
            command.append(word)
            if word not in options:  # of the command line alone, for its drawing
                command.append(sample(value) + (".jpg" if word.endswith("-picture") else ".csv"))
                continue
            one = given_by(options[word], value)
            command.append(one.file if one.is_sample else quoted(value))
        given[one.argument.name] = one
    return Call(title, given, command)


def quoted(word: str) -> str:
    return word if re.fullmatch(r"[\w@%+=:,./-]+", word) else f"'{word}'"


def calls(record: Operation) -> list[Call]:
    return [call_of(record, title, words) for title, words in record.examples]


def command_line(record: Operation, call: Call) -> str:
    """One line for a shell; a picture that results is written into a file."""
    result = record.results[0]
    kind = "exr" if "high dynamic range" in result.summary else "png"
    output = ["-o", f"out.{kind}"] if result.kind == "image" else []
    return " ".join(["miravex", record.command, *call.command, *output])


def command_lines(record: Operation) -> list[str]:
    """All examples as a shell takes them; so for the languages below."""
    lines: list[str] = []
    for call in calls(record):
        lines += [f"# {call.title}", command_line(record, call), ""]
    return lines[:-1]


def kebab(name: str) -> str:
    return name.replace("_", "-")


def _ordered(record: Operation, call: Call) -> list[tuple[bool, Given]]:
    """Whether each given argument is required, and the argument, in the order of the signatures."""
    arguments = sorted(shown(record), key=lambda argument: not is_required(argument))
    return [(is_required(a), call.given[a.name]) for a in arguments if a.name in call.given]


def python_call(record: Operation, call: Call) -> str:
    parts = [
        ("" if required else f"{parameter_name(given.argument)}=") + given.python()
        for required, given in _ordered(record, call)
    ]
    return f"miravex.{record.function}({', '.join(parts)})"


def python_inputs(record: Operation, call: Call) -> dict[str, str]:
    """What the names in a call stand for."""
    return {
        given.name: given.path or given.argument.accepted or sentence(given.argument.summary)
        for _, given in _ordered(record, call)
        if given.is_sample and not given.argument.is_path
    }


def python_lines(record: Operation) -> list[str]:
    inputs: dict[str, str] = {}
    lines = []
    for call in calls(record):
        inputs.update(python_inputs(record, call))
        lines += [f"# {call.title}", python_call(record, call), ""]
    described = [line for name, text in inputs.items() for line in wrapped(f"{name}: {text}")]
    return [*described, *([""] if described else []), *lines[:-1]]


def octave_call(record: Operation, call: Call) -> str:
    if any(argument.kind == "array" and argument.rewritten for argument in record.arguments):
        return 'batch = miravex.load_images (paths, "size", [160, 200]);'
    parts = [
        ("" if required else f'"{given.argument.name}", ') + given.octave()
        for required, given in _ordered(record, call)
    ]
    return f"result = miravex.{record.function} ({', '.join(parts)});"


def octave_lines(record: Operation) -> list[str]:
    lines = []
    for call in calls(record):
        lines += [f"% {call.title}", octave_call(record, call), ""]
    return lines[:-1]


def wrapped(text: str) -> list[str]:
    return textwrap.wrap(text, 96, initial_indent="# ", subsequent_indent="#     ")


def c_value(argument: Argument, given: dict[str, Given]) -> str:
    if argument.implied_by:
        return "1" if argument.implied_by in given else "0"
    if argument.name in given:
        return given[argument.name].c()
    if argument.kind == "boolean":
        return str(int(bool(argument.default)))
    if argument.kind == "text" and argument.default is not None:
        return f'"{argument.default}"'
    if argument.kind in ("integer", "real"):
        derived = f" /* {argument.derived_default} */"
        return str(argument.default) if argument.default is not None else f"{argument.name}_value{derived}"
    if isinstance(argument.default, tuple):
        return f"{argument.name}_handle /* {len(argument.default)} zeros */"
    unused = {"image": "any image, it is not looked at", "array": "any array, it is not looked at"}
    placeholder = unused.get(argument.kind, "the empty list")
    return f"{argument.name}_handle /* {placeholder} */"


def c_lines(record: Operation, call: Call | None = None) -> list[str]:
    """The call of a host; the record's first example when none is named."""
    given = (call or calls(record)[0]).given
    lines = [
        f"ValueCell {argument.name} = {{ .{CELLS[argument.kind]} = {c_value(argument, given)} }};"
        for argument in record.arguments
    ]
    slots = ", ".join(f"&{argument.name}" for argument in record.arguments)
    cell = CELLS[record.results[0].kind]
    return [
        *lines,
        *textwrap.wrap(f"ArgumentSlot arguments[] = {{ {slots} }};", 84, subsequent_indent="    "),
        "ValueCell result;",
        f"if (opencv_{record.name}(data, {len(record.arguments)}, arguments, &result) == StatusOk)",
        f"    use(result.{cell});",
    ]
