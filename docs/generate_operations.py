"""Writes the reference pages from the catalogue's records: one per operation, their index, the cards of the start
page, the operations by task, and how long the examples take.

Usage: generate_operations.py OUTPUT [--gallery DIRECTORY] [--calls FILE]
"""

from __future__ import annotations

import argparse
import json
import re
import shutil
from pathlib import Path
from typing import Any

import numpy as np
from miravex._calls import c_lines, calls, command_lines, octave_lines, python_lines
from miravex._miravex import Argument, Operation, catalog
from miravex._signatures import argument_texts, parameter_name, result_type, sentence, signature
from PIL import Image

import plots
from tasks import TASKS


def escaped(text: str) -> str:
    """Plain text as reStructuredText."""
    text = re.sub(r"([\\*`|])", r"\\\1", text)
    text = re.sub(r"^(\w+)\.", r"\1\\.", text)  # no list that starts with "P. Debevec"
    return re.sub(r"_(?=\W|$)", r"\\_", text)


def heading(text: str, line: str) -> list[str]:
    return [text, line * len(text), ""]


def block(language: str, lines: list[str]) -> list[str]:
    return [f".. code-block:: {language}", "", *("   " + line for line in lines), ""]


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


class Gallery:
    """What the gallery made of the examples, and the folder of pages that its pictures are copied to."""

    def __init__(self, folder: Path | None, output: Path) -> None:
        self._folder = folder
        self._output = output
        told = json.loads((folder / "gallery.json").read_text(encoding="utf-8")) if folder else []
        self._runs = [run for run in told if "failed" not in run and "skipped" not in run]

    def runs(self, record: Operation) -> list[dict[str, Any]]:
        return [run for run in self._runs if run["operation"] == record.command]

    def figure(self, file: str) -> str:
        """A picture, beside the page."""
        assert self._folder
        shutil.copy(self._folder / file, self._output)
        return Path(file).name

    def plot(self, run: dict[str, Any]) -> tuple[str, str] | None:
        """The file and the caption of a drawing of a result that is numbers."""
        assert self._folder
        if not plots.can_plot(run.get("layout", "")):
            return None
        numbers = self._folder / run["files"][0]
        return f"{numbers.stem}.svg", plots.plot(run["layout"], numbers, self._output / f"{numbers.stem}.svg")

    def plot_given(self, record: Operation) -> tuple[str, str] | None:
        """The same of what the first example is given, where that is points."""
        given = calls(record)[0].given
        lists = {name: np.array(one.numbers) for name, one in given.items() if one.argument.kind == "reals" and not one.is_sample}
        sets = {name: numbers for name, numbers in lists.items() if numbers.ndim == 2 and numbers.shape[1] == 2}
        if len(sets) < 2:
            return None
        weights = {name: lists[other] for name in sets if (other := name.replace("points", "weights")) in lists and other != name}
        return f"{record.command}-given.svg", plots.plot_points(sets, weights, self._output / f"{record.command}-given.svg")

    def card(self, record: Operation) -> str:
        """A small picture of the operation at work; empty where the gallery has nothing of it."""
        for run in self.runs(record):
            if not run["results"]:
                drawn = self.plot(run) or self.plot_given(record)
                return drawn[0] if drawn else ""
            assert self._folder
            name = f"card-{record.command}.jpg"
            with Image.open(self._folder / run["results"][0]["file"]) as picture:
                # The middle, in one shape for all.
                width, height = min(picture.width, picture.height * 4 // 3), min(picture.height, picture.width * 3 // 4)
                left, top = (picture.width - width) // 2, (picture.height - height) // 2
                middle = picture.convert("RGB").crop((left, top, left + width, top + height))
                middle.resize((400, 300), Image.Resampling.LANCZOS).save(self._output / name, quality=85)
            return name
        return ""

    def times(self) -> dict[str, float]:
        """Milliseconds of each operation's first example, where the gallery tells them."""
        return {run["operation"]: run["milliseconds"] for run in reversed(self._runs) if "milliseconds" in run}


def figures_lines(figures: list[tuple[str, str]]) -> list[str]:
    lines = [".. container:: pictures", ""] if figures else []
    for name, caption in figures:
        lines += [f"   .. figure:: {name}", f"      :alt: {caption}", "", f"      {escaped(caption)}", ""]
    return lines


def run_lines(record: Operation, run: dict[str, Any], gallery: Gallery) -> list[str]:
    """The operation at work: pictures, and numbers as a drawing or as the first of them."""
    figures = [(gallery.figure(figure["file"]), figure["caption"]) for figure in [*run["inputs"], *run["results"]]]
    drawn = gallery.plot(run)
    if drawn:
        figures.append(drawn)
    elif not figures and (given := gallery.plot_given(record)):
        figures.append(given)
    lines = heading(run["title"], "-") + figures_lines(figures)
    lines += numbers_table(run["table"]) if "table" in run and not drawn else []
    return [*lines, escaped(sentence(f"the result: {run['outcome']}")), ""]


LANGUAGES = (
    ("Command line", "sh", command_lines),
    ("Python", "python", python_lines),
    ("GNU Octave", "octave", octave_lines),
    ("C", "c", c_lines),
)


#: Calls of each operation's examples by the names of languages, beside their titles.
Calls = dict[str, list[dict[str, str]]]

# Languages whose calls `bindings/generate calls` writes: title, highlighting, name there, sign of comments.
OTHER_LANGUAGES = (("R", "r", "r", "#"), ("PARI/GP", "text", "gp", "\\\\"))


def tabs(record: Operation, elsewhere: Calls) -> list[str]:
    written = [(title, language, lines(record)) for title, language, lines in LANGUAGES]
    for title, language, name, comment in OTHER_LANGUAGES:
        examples = [[f"{comment} {call['title']}", call[name], ""] for call in elsewhere.get(record.function, [])]
        if examples:
            written.append((title, language, [line for example in examples for line in example][:-1]))
    lines = []
    for title, language, call_lines in written:
        lines += [f".. tab:: {title}", "", *("   " + line for line in block(language, call_lines))]
    return lines


def page(record: Operation, gallery: Gallery, elsewhere: Calls) -> str:
    lines = heading(record.function, "=")
    lines += [f".. py:function:: miravex.{record.function}({plain_signature(record)})", ""]
    lines += [f"   {escaped(sentence(record.summary))}", ""]
    first, *others = gallery.runs(record) or [None]
    lines += run_lines(record, first, gallery) if first else []
    lines += heading("Calls", "-") + tabs(record, elsewhere)
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
    for run in others:
        lines += run_lines(record, run, gallery)
    return "\n".join(lines)


Records = tuple[Operation, ...]


def by_room(records: Records) -> dict[str, list[Operation]]:
    rooms: dict[str, list[Operation]] = {}
    for record in records:
        rooms.setdefault(record.room_title, []).append(record)
    return rooms


def index(records: Records) -> str:
    lines = heading("Operations", "=")
    for title, chosen in by_room(records).items():
        lines += heading(title, "-")
        lines += [f"* :doc:`{record.function}`: {escaped(sentence(record.summary))}" for record in chosen]
        lines += ["", ".. toctree::", "   :hidden:", ""]
        lines += [*(f"   {record.function}" for record in chosen), ""]
    return "\n".join(lines)


def cards(records: Records, gallery: Gallery) -> str:
    """For the start page: a picture of each operation, by room."""
    lines: list[str] = []
    for title, chosen in by_room(records).items():
        lines += [*heading(title, "-"), ".. container:: cards", ""]
        for record in chosen:
            lines += ["   .. container:: card", ""]
            if picture := gallery.card(record):
                lines += [f"      .. image:: operations/{picture}", f"         :alt: {record.function}"]
                lines += [f"         :target: operations/{record.function}.html", ""]
            lines += [f"      :doc:`operations/{record.function}`", "", f"      {escaped(sentence(record.summary))}", ""]
    return "\n".join(lines)


def by_task(records: Records) -> str:
    known = {record.function: record for record in records}
    lines = heading("Which operation do I need?", "=")
    for task in TASKS:
        lines += [*heading(task.title, "-"), task.about, ""]
        for record in (known[name] for name in task.operations):
            lines += [f":doc:`{record.function}`", f"   {escaped(sentence(record.summary))}", ""]
    return "\n".join(lines)


def times(gallery: Gallery, output: Path) -> str:
    lines = heading("How long they take", "=")
    milliseconds = gallery.times()
    if not milliseconds:
        return "\n".join([*lines, "These pages were built without the times that the gallery measures.", ""])
    plots.plot_times(milliseconds, output / "times.svg")
    text = (
        "The first example of each operation, in milliseconds, as the gallery ran it on the machine that built these "
        "pages: the call alone, without reading and writing files. What was measured with care, and against what, "
        "stands in the file ``docs/performance.md``."
    )
    return "\n".join([*lines, text, "", ".. figure:: times.svg", "   :alt: a bar for each operation", ""])


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("output", type=Path)
    parser.add_argument("--gallery", type=Path)
    parser.add_argument("--calls", type=Path, help="calls.json of bindings/generate")
    options = parser.parse_args()
    options.output.mkdir(parents=True, exist_ok=True)
    records = catalog()
    gallery = Gallery(options.gallery, options.output)
    elsewhere = json.loads(options.calls.read_text(encoding="utf-8")) if options.calls else {}
    pages = {f"{record.function}.rst": page(record, gallery, elsewhere) for record in records}
    pages["index.rst"] = index(records)
    pages["cards.inc"] = cards(records, gallery)
    pages["which.rst"] = by_task(records)
    pages["times.rst"] = times(gallery, options.output)
    for name, text in pages.items():
        (options.output / name).write_text(text, encoding="utf-8")


if __name__ == "__main__":
    main()
