"""A server of the page for the tests, and the command beside it."""

from __future__ import annotations

import http.client
import json
import os
import re
import signal
import subprocess
import sys
import time
from collections.abc import Iterator
from pathlib import Path
from typing import Any

import numpy as np
import pytest

TOOL = os.environ.get("MIRAVEX_TOOL", "miravex")


def write_picture(path: Path, seed: int, rows: int = 60, columns: int = 80) -> Path:
    """Noise in colour, as a PPM file."""
    samples = np.random.default_rng(seed).integers(0, 256, (rows, columns, 3), dtype=np.uint8)
    path.write_bytes(f"P6 {columns} {rows} 255\n".encode() + samples.tobytes())
    return path


def run_tool(*words: str, folder: Path) -> str:
    done = subprocess.run([TOOL, *words], capture_output=True, text=True, cwd=folder)
    assert done.returncode == 0, f"{words}: {done.stderr}"
    return done.stdout


class Served:
    """A server that runs, and what its address tells."""

    def __init__(self, *words: str, folder: Path, browser: Path | None = None) -> None:
        command = [sys.executable, "-m", "miravex.explore", *([] if browser else ["--no-browser"]), *words]
        environment = {**os.environ, "MIRAVEX_TOOL": TOOL, "TMPDIR": str(folder), "BROWSER": str(browser)}
        self.folder = folder
        self.process = subprocess.Popen(command, stdout=subprocess.PIPE, text=True, cwd=folder, env=environment)
        assert self.process.stdout
        told = re.search(r"http://127\.0\.0\.1:(\d+)/([\w-]+)/", self.process.stdout.readline())
        assert told, "the server told no address"
        self.address, self.port, self.token = told[0], int(told[1]), told[2]

    def ask(
        self, method: str, path: str, body: bytes | None = None, headers: dict[str, str] | None = None
    ) -> tuple[int, dict[str, str], bytes]:
        """One request, its path as it is; what a client adds by itself can be overridden."""
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=60)
        given = {"Host": f"127.0.0.1:{self.port}", **(headers or {})}
        connection.putrequest(method, path, skip_host=True, skip_accept_encoding=True)
        if body is not None and "Content-Length" not in given and "Transfer-Encoding" not in given:
            given["Content-Length"] = str(len(body))
        for name, value in given.items():
            connection.putheader(name, value)
        try:
            connection.endheaders(body)
            answer = connection.getresponse()
            return answer.status, {name.lower(): value for name, value in answer.getheaders()}, answer.read()
        finally:
            connection.close()

    def call(self, operation: str, values: Any, **headers: str) -> dict[str, Any]:
        body = json.dumps({"operation": operation, "values": values}).encode()
        status, _, content = self.ask("POST", f"/{self.token}/calls", body, {"Content-Type": "application/json", **headers})
        assert status == 200, content
        return dict(json.loads(content))

    def fetch(self, name: str) -> bytes:
        status, _, content = self.ask("GET", f"/{self.token}/{name}")
        assert status == 200, name
        return content

    def children(self) -> list[str]:
        """The command lines of calls under way."""
        found = []
        for entry in Path("/proc").iterdir():
            try:
                parent = (entry / "stat").read_text().rpartition(")")[2].split()[1]
                if parent == str(self.process.pid):
                    found.append((entry / "cmdline").read_bytes().replace(b"\0", b" ").decode())
            except (OSError, IndexError):
                continue
        return [line for line in found if " exhibit " in line]

    def wait_for_children(self, count: int, seconds: float = 20) -> None:
        end = time.monotonic() + seconds
        while len(self.children()) != count:
            assert time.monotonic() < end, f"{self.children()} instead of {count} calls"
            time.sleep(0.02)

    def stop(self) -> int:
        self.process.send_signal(signal.SIGINT)
        return self.process.wait(30)


@pytest.fixture(scope="session")
def picture(tmp_path_factory: pytest.TempPathFactory) -> Path:
    return write_picture(tmp_path_factory.mktemp("pictures") / "noise 1.ppm", 1)


@pytest.fixture(scope="module")
def served(picture: Path, tmp_path_factory: pytest.TempPathFactory) -> Iterator[Served]:
    server = Served(str(picture), folder=tmp_path_factory.mktemp("served"))
    yield server
    assert server.stop() == 0


# The slowest call: it goes on for minutes, or until it is ended.
SLOW = ("optical-flow-dual-tvl1", {"frames": "@flow_pair", "iterations": "3000", "warpings": "10", "epsilon": "1e-9"})
