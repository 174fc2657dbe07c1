"""Writes the reference pages, one per operation, from the catalogue's records.

Usage: generate_operations.py OUTPUT [--gallery DIRECTORY]
"""

from __future__ import annotations

import argparse
import json
import re
import shutil
from pathlib import Path

from miravex._miravex import Argument, Operation, catalog
from miravex._signatures import argument_texts, is_required, parameter_name, sentence, shown, signature

ROOMS = {
    "filters": "Filters and geometric transforms",
    "photo": "Computational photography",
    "features": "Features, shapes and detection",
    "importops": "Batch loading",
}
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
    return re.sub(r"_(?=\W|$)", r"\\_", text)


def heading(text: str, line: str) -> list[str]:
    return [text, line * len(text), ""]


def block(language: str, lines: list[str]) -> list[str]:
    return [f".. code-block:: {language}", "", *("   " + line for line in lines), ""]


# --- examples -------------------------------------------------------------------------------------------


def file_of(word: str) -> str:
    """A word of a command, with a file's name for a sample picture."""
    return re.sub(r"^@(\S+)$", r"\1.jpg", word)


def quoted(word: str) -> str:
    return word if re.fullmatch(r"[\w@%+=:,./-]+", word) else f"'{word}'"


def command_lines(record: Operation) -> list[str]:
    lines = []
    for title, words in examples(record):
        shown_words = [quoted(file_of(word)) for word in words]
        output = result_file(record)
        lines += [f"# {title}", " ".join(["miravex", record.command, *shown_words, *output]), ""]
    return lines[:-1]


def examples(record: Operation) -> list[tuple[str, tuple[str, ...]]]:
    given = list(record.examples)
    if given:
        return given
    words: list[str] = []
    for argument in shown(record):
        if is_required(argument):
            words += [f"@{argument.name}"] if argument.kind == "image" else [f"--{kebab(argument.name)}", "..."]
    return [(record.summary, tuple(words))]


def result_file(record: Operation) -> list[str]:
    return ["-o", "out.png"] if record.results[0].kind == "image" else []


def kebab(name: str) -> str:
    return name.replace("_", "-")


def parsed(record: Operation, words: tuple[str, ...]) -> dict[str, str]:
    """The arguments of an example, as Python expressions."""
    arguments = {kebab(argument.name): argument for argument in record.arguments}
    positional: list[str] = []
    named: dict[str, str] = {}
    rest = list(words)
    while rest:
        word = rest.pop(0)
        argument = arguments.get(word[2:]) if word.startswith("--") else None
        if argument is None:
            if word.startswith("-"):
                if rest and not rest[0].startswith("-"):
                    rest.pop(0)  # an option of the command line alone
            else:
                positional.append(variable(word))
        elif argument.kind == "boolean" and (not rest or rest[0] not in ("true", "false")):
            named[argument.name] = "True"
        else:
            named[argument.name] = expression(argument, rest.pop(0) if rest else "")
    images = [a for a in shown(record) if a.kind == "image" and a.name not in named]
    tensors = [a for a in shown(record) if a.kind != "image" and is_required(a) and a.name not in named]
    result: dict[str, str] = {}
    for argument in [*images, *tensors]:
        if not positional:
            break
        if argument.rank == 3 and argument.kind == "image" and len(positional) > 1:
            result[argument.name] = f"numpy.stack([{', '.join(positional)}])"
            positional = []
        else:
            result[argument.name] = positional.pop(0)
    return {**result, **named}


def variable(word: str) -> str:
    name = re.sub(r"\W", "_", Path(word.lstrip("@")).stem)
    return name if name and not name[0].isdigit() else f"picture_{name}"


def expression(argument: Argument, word: str) -> str:
    if argument.kind == "boolean":
        return "True" if word in ("true", "1", "yes") else "False"
    if word.startswith("@"):
        return variable(word)
    if argument.kind in ("integer", "real"):
        return word
    if argument.kind in ("reals", "integers", "array"):
        try:
            return json.dumps(json.loads(word))
        except ValueError:
            pass
        if re.fullmatch(r"[-\d.,eE+ ]+", word):
            return f"[{', '.join(part.strip() for part in word.split(','))}]"
        return f'numpy.load("{word}")'
    if argument.kind == "image":
        return variable(word)
    return f'"{word}"'


def python_lines(record: Operation) -> list[str]:
    lines = []
    for title, words in examples(record):
        values = parsed(record, words)
        required = [argument for argument in shown(record) if is_required(argument)]
        others = [argument for argument in shown(record) if not is_required(argument)]
        parts = [values.get(argument.name, argument.name) for argument in required]
        parts += [
            f"{parameter_name(argument)}={values[argument.name]}"
            for argument in others
            if argument.name in values
        ]
        lines += [f"# {title}", f"miravex.{record.function}({', '.join(parts)})", ""]
    return lines[:-1]


def c_value(argument: Argument, values: dict[str, str]) -> str:
    default = values.get(argument.name) if argument.kind in ("integer", "real", "boolean", "text") else None
    value = default if default is not None else argument.default
    if argument.implied_by:
        return "1" if argument.implied_by in values else "0"
    if argument.kind == "boolean":
        return "1" if str(value) == "True" else "0"
    if argument.kind == "text" and value is not None:
        word = str(value).strip('"')
        return f'"{word}"'
    if argument.kind in ("integer", "real") and value is not None:
        return str(value)
    return argument.name + {"image": "_handle", "text": "_words"}.get(argument.kind, "_value")


def c_lines(record: Operation) -> list[str]:
    values = parsed(record, examples(record)[0][1])
    lines = [
        f"ValueCell {argument.name} = {{ .{CELLS[argument.kind]} = {c_value(argument, values)} }};"
        for argument in record.arguments
    ]
    slots = ", ".join(f"&{argument.name}" for argument in record.arguments)
    cell = CELLS[record.results[0].kind]
    return [
        *lines,
        f"ArgumentSlot arguments[] = {{ {slots}, NULL }};",
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
        lines.append(f"   * - ``{argument.name}``")
        lines.append(f"     - {argument.kind}")
        lines.append(f"     - {' '.join(escaped(text) if '``' not in text else text for text in texts if text)}")
        lines.append(f"     - {escaped(shown_default(argument))}")
    return [*lines, ""]


def results_lines(record: Operation) -> list[str]:
    lines = []
    known = signature(record).return_annotation
    lines += [f"In Python: ``{known}``.", ""]
    for result in record.results:
        when = f", when {result.when[0]} is {result.when[1]}" if result.when else ""
        lines.append(f"* {escaped(result.kind + when)}: {escaped(result.summary)}")
    return [*lines, ""]


def plain_signature(record: Operation) -> str:
    parts = []
    for parameter in signature(record).parameters.values():
        if parameter.kind is parameter.KEYWORD_ONLY and "*" not in parts:
            parts.append("*")
        default = "" if parameter.default is parameter.empty else f"={parameter.default!r}"
        parts.append(parameter.name + default)
    return ", ".join(parts)


def pictures(record: Operation, gallery: Path | None, output: Path) -> list[str]:
    """The operation's runs on real pictures from the gallery, copied beside the page."""
    lines: list[str] = []
    if gallery is None:
        return lines
    for run in json.loads((gallery / "gallery.json").read_text(encoding="utf-8")):
        if run["operation"] != record.command or run.get("failed") or not run["results"]:
            continue
        lines += heading(run["title"], "-")
        for shown_picture in [*run["inputs"], *run["results"]]:
            source = gallery / shown_picture["file"]
            shutil.copy(source, output / source.name)
            caption = escaped(shown_picture["caption"])
            lines += [f".. figure:: {source.name}", "   :width: 60%", "   :align: left", "", f"   {caption}", ""]
        lines += [escaped(sentence(run["outcome"])), ""]
    return lines


def page(record: Operation, gallery: Path | None, output: Path) -> str:
    lines = heading(record.function, "=")
    lines += [f".. py:function:: miravex.{record.function}({plain_signature(record)})", ""]
    lines += [f"   {escaped(sentence(record.summary))}", ""]
    lines += heading("Command line", "-") + block("sh", command_lines(record))
    lines += heading("Python", "-") + block("python", python_lines(record))
    lines += heading("C", "-") + block("c", c_lines(record))
    lines += heading("Arguments", "-") + arguments_table(record)
    lines += heading("Result", "-") + results_lines(record)
    if record.constraints or record.limits:
        lines += heading("Limits", "-")
        lines += [f"* ``{name}``: {escaped(text)}." for name, text in record.constraints]
        lines += [f"* {escaped(text)}" for text in record.limits]
        lines.append("")
    if record.source:
        lines += heading("Source", "-") + [escaped(record.source), ""]
    lines += pictures(record, gallery, output)
    return "\n".join(lines)


def index(records: tuple[Operation, ...]) -> str:
    lines = heading("Operations", "=")
    for room, title in ROOMS.items():
        chosen = [record for record in records if record.room == room]
        if not chosen:
            continue
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
