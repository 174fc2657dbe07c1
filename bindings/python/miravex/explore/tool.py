"""The command ``miravex``, which makes the page's calls: one process for each, at most as many as there are cores."""

from __future__ import annotations

import asyncio
import json
import os
import shutil
import signal
import subprocess
import threading
from collections.abc import Sequence
from pathlib import Path
from typing import Any, NamedTuple

from .._miravex import version


class ToolMissing(Exception):
    """Says where the command was looked for."""


def find_tool() -> Path:
    """Where MIRAVEX_TOOL says, in the package (of a wheel), beside it in a build or an installation, or on PATH."""
    named = os.environ.get("MIRAVEX_TOOL")
    if named:
        return Path(named).absolute()
    package = Path(__file__).resolve().parents[1]
    unresolved = Path(__file__).absolute().parents[1]  # a build tree's package is made of links
    beside = [package, *(parent / "bin" for parent in [*unresolved.parents, *package.parents])]
    for folder in beside:
        candidate = folder / "miravex"
        if candidate.is_file() and os.access(candidate, os.X_OK):
            return candidate
    found = shutil.which("miravex")
    if not found:
        raise ToolMissing("the page needs the command miravex, which is neither beside this package nor on PATH")
    return Path(found)


class Answer(NamedTuple):
    """What a run of the command said."""

    status: int
    output: str
    errors: str

    @property
    def refusal(self) -> dict[str, Any]:
        """Its words on what went wrong, and whom to blame: {"error", "refusals"}."""
        if self.status < 0:
            return {"error": f"the call was ended by {signal.Signals(-self.status).name}", "refusals": []}
        try:
            told = json.loads(self.errors.strip().splitlines()[-1])
            return {"error": str(told["error"]), "refusals": told.get("refusals", [])}
        except (ValueError, IndexError, KeyError, TypeError):
            return {"error": self.errors.strip() or f"the command ended with status {self.status}", "refusals": []}


class Run:
    """One process of the command, which may be ended from another thread, even before it began."""

    def __init__(self, words: Sequence[str], folder: Path) -> None:
        self._words = words
        self._folder = folder
        self._lock = threading.Lock()
        self._process: subprocess.Popen[bytes] | None = None
        self._ended = False

    def wait(self) -> Answer:
        with self._lock:
            if self._ended:
                return Answer(-signal.SIGKILL, "", "")
            self._process = subprocess.Popen(
                self._words,
                cwd=self._folder,
                stdin=subprocess.DEVNULL,
                stdout=subprocess.PIPE,
                stderr=subprocess.PIPE,
                # A list of films would otherwise have them fetched from elsewhere.
                env={"OPENCV_FFMPEG_CAPTURE_OPTIONS": "protocol_whitelist;file", **os.environ},
                start_new_session=True,  # an interrupt of the server is told to calls by the server
            )
        output, errors = self._process.communicate()
        return Answer(self._process.returncode, output.decode(errors="replace"), errors.decode(errors="replace"))

    def end(self) -> None:
        with self._lock:
            self._ended = True
            if self._process:
                self._process.kill()


class Tool:
    """Runs the command."""

    def __init__(self, path: Path) -> None:
        self.path = path
        self._slots = asyncio.Semaphore(max(1, os.cpu_count() or 1))

    async def run(self, words: Sequence[str], folder: Path) -> Answer:
        """Runs it in a folder; ends it when the task that waits is cancelled."""
        async with self._slots:
            run = Run([str(self.path), *words], folder)
            try:
                return await asyncio.to_thread(run.wait)
            finally:
                run.end()

    async def told(self, words: Sequence[str], folder: Path) -> Any:
        """What it prints as JSON; throws RuntimeError with its words when it fails."""
        answer = await self.run(words, folder)
        if answer.status != 0:
            raise RuntimeError(answer.refusal["error"])
        return json.loads(answer.output)

    async def check(self, folder: Path) -> None:
        """Throws RuntimeError when it is of another version than this package."""
        answer = await self.run(["--version"], folder)
        if not answer.output.startswith(f"miravex {version} "):
            told = answer.output.strip() or answer.refusal["error"]
            raise RuntimeError(f"{self.path} is not of this package's version {version}: {told}")
