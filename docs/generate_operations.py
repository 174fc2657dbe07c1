"""Writes the reference pages, one per operation, from the catalogue's records.

Usage: generate_operations.py OUTPUT [--gallery DIRECTORY]
"""

from __future__ import annotations

import argparse
import json
import re
import shutil
import textwrap
from pathlib import Path
from typing import Any, NamedTuple

from miravex._miravex import Argument, Operation, catalog
from miravex._signatures import argument_texts, is_required, parameter_name, result_type, sentence, shown, signature

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


def escaped(text: str) -> str:
    """Plain text as reStructuredText."""
    text = re.sub(r"([\\*`|])", r"\\\1", text)
    text = re.sub(r"^(\w+)\.", r"\1\\.", text)  # no list that starts with "P. Debevec"
    return re.sub(r"_(?=\W|$)", r"\\_", text)


def heading(text: str, line: str) -> list[str]:
    return [text, line * len(text), ""]


def block(language: str, lines: list[str]) -> list[str]:
    return [f".. code-block:: {language}", "", *("   " + line for line in lines), ""]


# --- examples -------------------------------------------------------------------------------------------

FILES = {
    "hdr": "hdr.exr",
    "film": "film.avi",
    "cascade": "frontal_face.xml",
    "face_network_prototxt": "network.prototxt",
    "face_network_weights": "network.caffemodel",
}


class Given(NamedTuple):
    """One argument of an example: its word of the command line, which is a sample's name when it is one."""

    argument: Argument
    word: str
    is_sample: bool

    @property
    def name(self) -> str:
        """What Python and C call a sample."""
        return re.sub(r"\W", "_", self.word)

    @property
    def file(self) -> str:
        """What the command line calls a sample."""
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
            return f'"{self.file}"' if self.argument.is_path else self.name
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


def command_lines(record: Operation) -> list[str]:
    result = record.results[0]
    kind = "exr" if "high dynamic range" in result.summary else "png"
    output = ["-o", f"out.{kind}"] if result.kind == "image" else []
    lines: list[str] = []
    for call in calls(record):
        lines += [f"# {call.title}", " ".join(["miravex", record.command, *call.command, *output]), ""]
    return lines[:-1]


def kebab(name: str) -> str:
    return name.replace("_", "-")


def python_lines(record: Operation) -> list[str]:
    inputs: dict[str, str] = {}
    lines = []
    for call in calls(record):
        parts = []
        for argument in sorted(shown(record), key=lambda argument: not is_required(argument)):
            if argument.name not in call.given:
                continue
            given = call.given[argument.name]
            label = "" if is_required(argument) else f"{parameter_name(argument)}="
            parts.append(label + given.python())
            if given.is_sample and not argument.is_path:
                inputs[given.name] = argument.accepted or sentence(argument.summary)
        lines += [f"# {call.title}", f"miravex.{record.function}({', '.join(parts)})", ""]
    described = [line for name, text in inputs.items() for line in wrapped(f"{name}: {text}")]
    return [*described, *([""] if described else []), *lines[:-1]]


def octave_lines(record: Operation) -> list[str]:
    if any(argument.kind == "array" and argument.rewritten for argument in record.arguments):
        return ['batch = miravex.load_images (paths, "size", [160, 200]);']
    lines = []
    for call in calls(record):
        parts = []
        for argument in sorted(shown(record), key=lambda argument: not is_required(argument)):
            if argument.name in call.given:
                label = "" if is_required(argument) else f'"{argument.name}", '
                parts.append(label + call.given[argument.name].octave())
        lines += [f"% {call.title}", f"result = miravex.{record.function} ({', '.join(parts)});", ""]
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


def c_lines(record: Operation) -> list[str]:
    given = calls(record)[0].given
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


# --- pages ----------------------------------------------------------------------------------------------


def shown_default(argument: Argument) -> str:
    if argument.implied_by:
        return f"set when {argument.implied_by} is given"
    if argument.derived_default:
        return argument.derived_default
    if argument.default is not None:
        return str(argument.default)
    return "none, may be left out" if argument.optional else "required"


def arguments_table(record: Operation) -> list[str]:
    lines = [".. list-table::", "   :header-rows: 1", "   :widths: 18 10 50 22", ""]
    lines += ["   * - argument", "     - kind", "     - meaning", "     - default"]
    for argument in record.arguments:
        texts = argument_texts(argument)
        own = f" (in Python ``{parameter_name(argument)}``)" if parameter_name(argument) != argument.name else ""
        lines.append(f"   * - ``{argument.name}``{own}")
        lines.append(f"     - {argument.kind}")
        lines.append(f"     - {' '.join(escaped(text) if '``' not in text else text for text in texts if text)}")
        lines.append(f"     - {escaped(shown_default(argument))}")
    return [*lines, ""]


PYTHON_TYPES = {
    "Image": "an array with the axes of a picture",
    "Array": "an array",
    "float": "a float",
}
PYTHON_LAYOUTS = {
    "labels": "an array of the picture's size",
    "positions": "an array of positions from 0",
    "response-curve": "an array of shape (256, 3)",
}
C_RESULTS = {
    "image": "an image",
    "sequence": "a 3D image",
    "reals": "a tensor of reals",
    "integers": "a tensor of integers",
    "real": "a real",
}


def results_lines(record: Operation) -> list[str]:
    lines = []
    for result in record.results:
        when = f'when {result.when[0]} is {result.when[1]}, ' if result.when else ""
        name = result_type(result)
        table = f":class:`~miravex.results.{name}`"
        python = PYTHON_LAYOUTS.get(result.layout) or PYTHON_TYPES.get(name, table)
        text = f"{when}in Python {python}, in C {C_RESULTS[result.kind]}: {escaped(result.summary)}"
        lines.append(f"* {sentence(text)}")
    return [*lines, ""]


def plain_signature(record: Operation) -> str:
    parts = []
    for parameter in signature(record).parameters.values():
        if parameter.kind is parameter.KEYWORD_ONLY and "*" not in parts:
            parts.append("*")
        default = "" if parameter.default is parameter.empty else f"={parameter.default!r}"
        parts.append(parameter.name + default)
    return ", ".join(parts)


def number_text(number: float) -> str:
    return f"{number:.0f}" if float(number).is_integer() and abs(number) < 1e9 else f"{number:.4g}"


def numbers_table(table: dict[str, Any]) -> list[str]:
    """The first rows of a result, as the command line gives them."""
    if not table["rows"]:
        return []
    lines = [".. list-table::", "   :header-rows: 1", ""]
    for row in [table["columns"], *([number_text(number) for number in row] for row in table["rows"])]:
        cells = [*row, "..."] if table["columnsInAll"] > len(row) else row
        lines += [f"   {'* -' if i == 0 else '  -'} {cell}" for i, cell in enumerate(cells)]
    return [*lines, ""]


def runs(record: Operation, gallery: Path | None, output: Path) -> list[str]:
    """The operation at work in the gallery: its pictures, copied beside the page, and numbers."""
    lines: list[str] = []
    if gallery is None:
        return lines
    for run in json.loads((gallery / "gallery.json").read_text(encoding="utf-8")):
        if run["operation"] != record.command or "failed" in run or "skipped" in run:
            continue
        lines += heading(run["title"], "-")
        figures = [*run["inputs"], *run["results"]]
        lines += [".. container:: pictures", ""] if figures else []
        for figure in figures:
            source = gallery / figure["file"]
            shutil.copy(source, output / source.name)
            lines += [f"   .. figure:: {source.name}", "", f"      {escaped(figure['caption'])}", ""]
        lines += numbers_table(run["table"]) if "table" in run else []
        lines += [escaped(sentence(f"the result: {run['outcome']}")), ""]
    return lines


def page(record: Operation, gallery: Path | None, output: Path) -> str:
    lines = heading(record.function, "=")
    lines += [f".. py:function:: miravex.{record.function}({plain_signature(record)})", ""]
    lines += [f"   {escaped(sentence(record.summary))}", ""]
    lines += heading("Command line", "-") + block("sh", command_lines(record))
    lines += heading("Python", "-") + block("python", python_lines(record))
    lines += heading("GNU Octave", "-") + block("octave", octave_lines(record))
    lines += heading("C", "-") + block("c", c_lines(record))
    lines += ["How calls are made: :doc:`/tool`, :doc:`/python`, :doc:`/kernels`, :doc:`/host`.", ""]
    lines += heading("Arguments", "-") + arguments_table(record)
    lines += heading("Result", "-") + results_lines(record)
    if record.constraints or record.limits:
        lines += heading("Limits", "-")
        lines += [f"* ``{name}``: {escaped(text)}." for name, text in record.constraints]
        lines += [f"* {escaped(text)}" for text in record.limits]
        lines.append("")
    if record.reach:
        lines += heading("Reach", "-")
        lines += [escaped(f"How far from its place a pixel of the result looks: {record.reach}."), ""]
    if record.source:
        lines += heading("Source", "-") + [escaped(record.source), ""]
    lines += runs(record, gallery, output)
    return "\n".join(lines)


def index(records: tuple[Operation, ...]) -> str:
    lines = heading("Operations", "=")
    for title in dict.fromkeys(record.room_title for record in records):
        chosen = [record for record in records if record.room_title == title]
        lines += heading(title, "-")
        lines += [f"* :doc:`{record.function}`: {escaped(sentence(record.summary))}" for record in chosen]
        lines += ["", ".. toctree::", "   :hidden:", ""]
        lines += [*(f"   {record.function}" for record in chosen), ""]
    return "\n".join(lines)


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("output", type=Path)
    parser.add_argument("--gallery", type=Path)
    options = parser.parse_args()
    options.output.mkdir(parents=True, exist_ok=True)
    records = catalog()
    for record in records:
        text = page(record, options.gallery, options.output)
        (options.output / f"{record.function}.rst").write_text(text, encoding="utf-8")
    (options.output / "index.rst").write_text(index(records), encoding="utf-8")


if __name__ == "__main__":
    main()
