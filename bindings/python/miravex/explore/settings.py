"""What the page's form says, as words of the command and as a call to show.

Nothing of the form is passed on as it is where the command would take it for a file: files have keys, and what is
written into the form is a number, a list of numbers, a choice or a flag.
"""

from __future__ import annotations

import json
import math
import re
import shlex
from collections.abc import Mapping
from typing import Any, NamedTuple

from .. import _calls
from .._calls import Call, Given
from .._miravex import Argument, Operation
from .._signatures import shown
from .files import Files, NoSuchFile

LONGEST = 100_000  # of a word; Linux takes little more
SCENE = {  # files of the command line alone, between which it draws matches
    "query_picture": "picture that the query descriptors were found in, to draw the matches on",
    "train_picture": "picture that the train descriptors were found in",
    "query_keypoints": "keypoints of the query descriptors",
    "train_keypoints": "keypoints of the train descriptors",
}


class Refused(Exception):
    """A value of the form that no call can be made of."""

    def __init__(self, argument: str, text: str) -> None:
        super().__init__(text)
        self.argument = argument


class Prepared(NamedTuple):
    words: list[str]  # for the command
    call: Call  # for people


def draws_matches(record: Operation) -> bool:
    return any(result.layout == "matches" for result in record.results)


def is_positional(argument: Argument) -> bool:
    return argument.kind == "image" and not argument.optional and not argument.implied_by


def option(name: str) -> str:
    return "--" + _calls.kebab(name)


def is_key(word: str) -> bool:
    return word.startswith("@")


def _number(argument: str, text: str) -> str:
    try:
        value: float = int(text) if re.fullmatch(r"[+-]?\d+", text) else float(text.replace("_", "?"))
    except ValueError:
        raise Refused(argument, f'"{text}" is no number') from None
    if not math.isfinite(value):
        raise Refused(argument, f"{text} is no finite number")
    return str(value)


def numbers_word(argument: str, text: str) -> str:
    """A list or the rows of a matrix, however they were written, as 1,2,3 or 1,0,0;0,1,0."""
    if not re.search(r"\d", text):
        raise Refused(argument, "expected numbers such as 1,2,3, and rows such as 1,0,0;0,1,0")
    if text.strip().startswith("["):
        try:
            read = json.loads(text)
        except (ValueError, RecursionError):
            raise Refused(argument, "these brackets are no list of numbers") from None
        rows = read if read and all(isinstance(row, list) for row in read) else [read]
        written = [[str(number) for number in row] for row in rows]
    else:
        lines = [line.strip().strip(",") for line in re.split(r"[;\n]+", text)]
        written = [re.split(r"\s*,\s*|\s+", line.strip()) for line in lines if line]
    return ";".join(",".join(_number(argument, number) for number in row) for row in written)


def _plain_word(argument: Argument, text: str) -> str:
    if argument.kind in ("reals", "integers"):
        return numbers_word(argument.name, text)
    if argument.kind == "array" and not re.fullmatch(r"\d+(x\d+)*", text):
        raise Refused(argument.name, "expected sizes such as 4x160x200x3, or a file")
    if argument.kind == "image" or argument.is_path:
        raise Refused(argument.name, "expected one of the files of this page")
    if argument.kind == "text" and not argument.choices:
        raise Refused(argument.name, "expected a sample of this page")
    return text


class Reader:
    """Makes words of one form."""

    def __init__(self, record: Operation, values: Mapping[str, Any], files: Files) -> None:
        self._record = record
        self._files = files
        self._values = {name: self._text(name, value) for name, value in values.items()}
        self._given: dict[str, Given] = {}
        self._shown: list[str] = []
        known = {argument.name for argument in shown(record)} | (set(SCENE) if draws_matches(record) else set())
        for name in self._values:
            if name not in known:
                raise Refused(name, f"{record.command} has no argument {name}")

    @staticmethod
    def _text(name: str, value: Any) -> str:
        if not isinstance(value, str):
            raise Refused(name, "expected text")
        if len(value) > LONGEST or "\0" in value:
            raise Refused(name, "this is too long to be written here; drop a .npy or .csv file on the page instead")
        return value.strip()

    async def prepared(self) -> Prepared:
        await self._files.make(key for text in self._values.values() if is_key(text) for key in text.split(","))
        positional, options = [], []
        for argument in shown(self._record):
            text = self._values.get(argument.name, "")
            if is_positional(argument):
                if not text:
                    raise Refused(argument.name, "choose a picture")
                positional += self._file_words(argument, text)
            elif text:
                options += self._option_words(argument, text)
        for name in SCENE:
            if self._values.get(name):
                options += self._scene_words(name, self._values[name])
        return Prepared([*positional, *options], Call("", self._given, self._shown))

    def _option_words(self, argument: Argument, text: str) -> list[str]:
        flag = option(argument.name)
        if argument.kind == "boolean":
            if text not in ("true", "false"):
                raise Refused(argument.name, "expected true or false")
            self._given[argument.name] = Given(argument, text, False)
            word = flag if text == "true" else f"--no-{flag[2:]}"
            self._shown.append(word)
            return [word]
        if is_key(text):
            self._shown.append(flag)
            words = self._file_words(argument, text)
            joined = "".join(words) if argument.kind == "text" and not argument.is_path else words[0]
            return [f"{flag}={joined}"]
        word = _plain_word(argument, text)
        self._given[argument.name] = Given(argument, word, False)
        self._shown += [flag, shlex.quote(word)]
        return [f"{flag}={word}"]

    def _file_words(self, argument: Argument, text: str) -> list[str]:
        """The files of an argument, which is told of them."""
        words, paths = [], []
        for key in text.split(","):
            if not is_key(key):
                raise Refused(argument.name, "expected one of the files of this page")
            words += self._words(argument.name, key)
            known = self._files.known(key)
            sample = Given(argument, key[1:], True)
            paths.append(known.shown if known else sample.file)
            self._shown.append(shlex.quote(known.shown) if known else sample.file)
            self._given[argument.name] = sample
        if len(paths) > 1 or self._files.known(text):
            self._given[argument.name] = Given(argument, "", True, " ".join(paths))
        return words

    def _scene_words(self, name: str, text: str) -> list[str]:
        words = self._words(name, text)
        known = self._files.known(text)
        suffix = ".jpg" if name.endswith("_picture") else ".csv"
        self._shown += [option(name), shlex.quote(known.shown) if known else text[1:] + suffix]
        return [f"{option(name)}={words[0]}"]

    def _words(self, name: str, key: str) -> list[str]:
        try:
            return self._files.words(key)
        except NoSuchFile as error:
            raise Refused(name, str(error)) from None


def calls_shown(record: Operation, call: Call) -> dict[str, str]:
    """The same call in each language."""
    inputs = _calls.python_inputs(record, call).items()
    described = "\n".join(line for name, text in inputs for line in _calls.wrapped(f"{name}: {text}"))
    python = _calls.python_call(record, call)
    return {
        "Command line": _calls.command_line(record, call),
        "Python": "\n".join(text for text in ("import miravex", described, python) if text),
        "GNU Octave": _calls.octave_call(record, call),
        "C": "\n".join(_calls.c_lines(record, call)),
    }


def example_values(record: Operation, words: tuple[str, ...]) -> dict[str, str]:
    """A record's example as a form says it."""
    values = {}
    for name, given in _calls.call_of(record, "", words).given.items():
        values[name] = f"@{given.word}" if given.is_sample else given.word
    for flag, word in zip(words, words[1:]):
        name = flag.removeprefix("--").replace("-", "_")
        if flag.startswith("--") and name in SCENE:
            values[name] = f"@{_calls.sample(word)}"
    return values


def samples_of(record: Operation) -> set[str]:
    """The samples that a record's examples use."""
    return {name for _, words in record.examples for word in words if (name := _calls.sample(word))}
