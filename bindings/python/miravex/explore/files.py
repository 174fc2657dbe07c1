"""The files that the page may use: those named at the start, those dropped on it, and sample pictures.

Everywhere else in the page files have keys: "@1", "@2", ... for the former, "@photo" for a sample.
"""

from __future__ import annotations

import asyncio
import re
from collections.abc import Iterable
from pathlib import Path
from typing import Any, NamedTuple

from .tool import Tool

MOST_IN_ALL = 1 << 30  # bytes of dropped files


class NoSuchFile(Exception):
    """A key that stands for nothing; says why."""


class Known(NamedTuple):
    """A file by its key."""

    path: Path
    name: str  # what the page calls it
    shown: str  # what calls name it


class Files:
    """All that a call may read."""

    def __init__(self, folder: Path, named: Iterable[Path], samples: Iterable[str], tool: Tool) -> None:
        self._folder = folder
        self._tool = tool
        self._known: dict[str, Known] = {}
        self._samples = frozenset(samples)
        self._made: dict[str, list[str]] = {}
        self._missing: dict[str, str] = {}  # and why
        self._making = asyncio.Lock()
        self._received = 0
        self._places = 0
        for path in named:
            self._add(path.absolute(), path.name, str(path))

    def _add(self, path: Path, name: str, shown: str) -> str:
        key = f"@{len(self._known) + 1}"
        self._known[key] = Known(path, name, shown)
        return key

    def listed(self) -> list[dict[str, str]]:
        return [{"key": key, "name": known.name} for key, known in self._known.items()]

    def room(self) -> int:
        """How many bytes more can be dropped."""
        return MOST_IN_ALL - self._received

    def place(self, name: str) -> Path:
        """Where a dropped file goes: under a name of ours that keeps the end of its own, which says what it is."""
        kept = re.sub(r"[^\w.-]", "_", name, flags=re.ASCII)[-60:].lstrip(".-")
        self._places += 1
        return self._folder / f"dropped-{self._places}-{kept}"

    def receive(self, path: Path, name: str) -> str:
        """Takes in what was put there; its key."""
        self._received += path.stat().st_size
        return self._add(path, name, name)

    def known(self, key: str) -> Known | None:
        """A file that was named or dropped; None for a sample's key."""
        if key in self._known:
            return self._known[key]
        if key[1:] in self._samples:
            return None
        raise NoSuchFile(f"{key} is no longer here; choose another file")

    async def make(self, keys: Iterable[str]) -> None:
        """Makes the samples among these that were not asked for before; together, since some are parts of others."""
        async with self._making:
            names = [key[1:] for key in keys if key[1:] in self._samples and key[1:] not in self._made]
            if not names:
                return
            told: Any = await self._tool.told(["samples", "samples", *names, "--json"], self._folder)
            for name, words in told["samples"].items():
                self._made[name] = [self._absolute(word) for word in words]
            self._missing.update(told["missing"])

    def words(self, key: str) -> list[str]:
        """What stands for a key in a command: a path, or the words of a sample that was made."""
        known = self.known(key)
        if known:
            return [str(known.path)]
        if key[1:] not in self._made:
            raise NoSuchFile(f"{key}: {self._missing[key[1:]]}")
        return self._made[key[1:]]

    def _absolute(self, word: str) -> str:
        """Samples are made beside the dropped files; calls run elsewhere."""
        made = self._folder / word
        return str(made) if word.startswith("samples/") and made.exists() else word
