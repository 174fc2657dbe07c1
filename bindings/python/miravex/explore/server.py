"""The server of the page: on 127.0.0.1 alone, for whoever knows the address.

Every request must name this server as its host and bear the address's token; what comes from another page's
script is turned away by its origin. Nothing of a request becomes a path: files go by keys, results by numbers.
"""

from __future__ import annotations

import asyncio
import hmac
import html
import json
import secrets
import shutil
import signal
import sys
import tempfile
import webbrowser
from collections import OrderedDict
from collections.abc import Sequence
from pathlib import Path
from typing import Any

from tornado.httpserver import HTTPServer
from tornado.netutil import bind_sockets
from tornado.web import Application, HTTPError, RequestHandler, stream_request_body

from .._miravex import Operation, catalog, version
from .._signatures import sentence
from .files import Files
from .settings import SCENE, Reader, Refused, calls_shown, draws_matches, example_values, samples_of
from .tool import Tool, ToolMissing, find_tool

LARGEST_FILE = 256 << 20
LARGEST_CALL = 1 << 20
RESULTS_KEPT = 16

STATIC = Path(__file__).absolute().parent / "static"
TYPES = {
    ".html": "text/html; charset=utf-8",
    ".css": "text/css; charset=utf-8",
    ".js": "text/javascript; charset=utf-8",
    ".svg": "image/svg+xml",
    ".png": "image/png",
    ".jpg": "image/jpeg",
    ".json": "application/json",
}
HEADERS = {
    "Content-Security-Policy": "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; "
    "connect-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'",
    "X-Content-Type-Options": "nosniff",
    "Referrer-Policy": "no-referrer",
    "Cross-Origin-Resource-Policy": "same-origin",
    "Cross-Origin-Opener-Policy": "same-origin",
    "Cache-Control": "no-store",
}


class Page:
    """What one run of the server knows."""

    def __init__(self, folder: Path, pictures: Sequence[Path], tool: Tool) -> None:
        self.token = secrets.token_urlsafe(24)
        self.hosts: frozenset[str] = frozenset()
        self.folder = folder
        self.tool = tool
        self.records = {record.command: record for record in catalog()}
        samples = {name for record in self.records.values() for name in samples_of(record)}
        self.files = Files(folder, pictures, samples, tool)
        self.static = {path.name: path.read_bytes() for path in STATIC.iterdir() if path.is_file()}
        self.schema: Any = None
        self._results: OrderedDict[str, Path] = OrderedDict()
        self._made = 0

    async def start(self) -> None:
        """Asks the command what it can do."""
        await self.tool.check(self.folder)
        self.schema = await self.tool.told(["schema"], self.folder)

    def catalogue(self) -> dict[str, Any]:
        """The schema of all operations, each with its examples as the form says them."""
        operations = []
        for told in self.schema["operations"]:
            record = self.records[told["command"]]
            operations.append({**told, "roomTitle": record.room_title, **self._page_facts(record)})
        return {"version": version, "operations": operations, "files": self.files.listed()}

    @staticmethod
    def _page_facts(record: Operation) -> dict[str, Any]:
        examples = [{"title": title, "values": example_values(record, words)} for title, words in record.examples]
        scene = [
            {"name": name, "kind": "image" if name.endswith("picture") else "reals", "summary": text, "optional": True}
            for name, text in SCENE.items()
        ]
        return {
            "summary": sentence(record.summary),
            "examples": examples,
            "samples": sorted(samples_of(record)),
            "scene": scene if draws_matches(record) else [],
        }

    def new_result(self) -> tuple[str, Path]:
        """The number of a result to be, and the folder that it is made in."""
        self._made += 1
        folder = self.folder / f"result-{self._made}"
        folder.mkdir()
        return str(self._made), folder

    def keep_result(self, number: str, folder: Path) -> None:
        """It is whole; the oldest ones go."""
        self._results[number] = folder
        while len(self._results) > RESULTS_KEPT:
            shutil.rmtree(self._results.popitem(last=False)[1], ignore_errors=True)

    def result_file(self, number: str, name: str) -> Path | None:
        """A file of a result by the name that the page was told; None for any other."""
        folder = self._results.get(number)
        names = {str(path.relative_to(folder)): path for path in folder.rglob("*") if path.is_file()} if folder else {}
        return names.get(name)


class Handler(RequestHandler):
    """Looks at every request before anything else does."""

    page: Page

    def initialize(self, page: Page) -> None:
        self.page = page

    def set_default_headers(self) -> None:
        self.clear_header("Server")
        for name, value in HEADERS.items():
            self.set_header(name, value)

    def prepare(self) -> None:
        page = self.page
        if self.request.headers.get("Host", "") not in page.hosts:
            raise HTTPError(403, reason="Not this server's name")
        given = self.request.path.removeprefix("/").partition("/")[0]
        if not hmac.compare_digest(given.encode(), page.token.encode()):
            raise HTTPError(403, reason="Not the address of the page")
        origin = self.request.headers.get("Origin")
        if origin is not None and origin not in {f"http://{host}" for host in page.hosts}:
            raise HTTPError(403, reason="Not asked by the page")

    def write_error(self, status_code: int, **_: Any) -> None:
        self.set_header("Content-Type", "application/json")
        self.finish(json.dumps({"error": self._reason}))

    def send(self, name: str, content: bytes) -> None:
        self.set_header("Content-Type", TYPES.get(Path(name).suffix, "application/octet-stream"))
        self.write(content)


class Nothing(Handler):
    """Every other address."""

    def prepare(self) -> None:
        super().prepare()
        raise HTTPError(404)


class Static(Handler):
    """The page itself."""

    def get(self, _token: str, name: str) -> None:
        content = self.page.static.get(name or "index.html")
        if content is None:
            raise HTTPError(404)
        self.send(name or "index.html", content)


class Catalogue(Handler):
    """All that the page's forms are made of."""

    def get(self, _token: str) -> None:
        self.write(self.page.catalogue())


class Results(Handler):
    """Figures and files of a call."""

    def get(self, _token: str, number: str, name: str) -> None:
        path = self.page.result_file(number, name)
        if path is None:
            raise HTTPError(404, reason="This result is no longer here")
        self.send(name, path.read_bytes())


@stream_request_body
class Drop(Handler):
    """A dropped file, as the body of the request."""

    def prepare(self) -> None:
        super().prepare()
        self._path: Path | None = None
        if self.request.method != "POST":
            return
        self._name = (self.get_query_argument("name", "") or "file")[-200:]
        length = self.request.headers.get("Content-Length", "")
        if not length.isdigit() or int(length) > min(LARGEST_FILE, self.page.files.room()):
            raise HTTPError(413, reason=f"A file may have {LARGEST_FILE >> 20} MB, all dropped files 1 GB")
        self.request.connection.set_max_body_size(LARGEST_FILE)  # type: ignore[union-attr]
        self._path = self.page.files.place(self._name)
        self._file = self._path.open("wb")

    def data_received(self, chunk: bytes) -> None:
        self._file.write(chunk)

    def post(self, _token: str) -> None:
        assert self._path is not None
        self._file.close()
        key = self.page.files.receive(self._path, self._name)
        self.write({"key": key, "files": self.page.files.listed()})

    def on_connection_close(self) -> None:
        if self._path is not None and not self._file.closed:
            self._file.close()
            self._path.unlink()


class Calls(Handler):
    """A call: waits for it, and ends it when the page no longer does."""

    _running: asyncio.Task[dict[str, Any]] | None = None

    async def post(self, _token: str) -> None:
        record, values = self._asked()
        self._running = asyncio.ensure_future(self._made(record, values))
        try:
            self.write(await self._running)
        except asyncio.CancelledError:
            self.set_status(499)

    def on_connection_close(self) -> None:
        if self._running:
            self._running.cancel()

    def _asked(self) -> tuple[Operation, dict[str, Any]]:
        if self.request.headers.get("Content-Type", "") != "application/json":
            raise HTTPError(415, reason="Expected application/json")
        try:
            asked = json.loads(self.request.body)
            record, values = self.page.records[asked["operation"]], asked["values"]
        except (ValueError, KeyError, TypeError):
            raise HTTPError(400, reason="Not a call") from None
        if not isinstance(values, dict):
            raise HTTPError(400, reason="Not a call")
        return record, values

    async def _made(self, record: Operation, values: dict[str, Any]) -> dict[str, Any]:
        page = self.page
        try:
            prepared = await Reader(record, values, page.files).prepared()
        except Refused as refused:
            return {"error": str(refused), "refusals": [{"argument": refused.argument, "message": str(refused)}]}
        number, folder = page.new_result()
        try:
            answer = await page.tool.run(["exhibit", "shown", record.command, *prepared.words, "--json"], folder)
        except BaseException:
            shutil.rmtree(folder, ignore_errors=True)
            raise
        if answer.status != 0:
            shutil.rmtree(folder, ignore_errors=True)
            return answer.refusal
        page.keep_result(number, folder)
        told = json.loads(answer.output)
        for figure in [*told["inputs"], *told["results"]]:
            figure["file"] = f"results/{number}/shown/{figure['file']}"
        told["files"] = [f"results/{number}/shown/{name}" for name in told.get("files", [])]
        told["calls"] = calls_shown(record, prepared.call)
        del told["command"]
        return dict(told)


def application(page: Page) -> Application:
    known = {"page": page}
    return Application(
        [
            (r"/([^/]+)/catalogue", Catalogue, known),
            (r"/([^/]+)/files", Drop, known),
            (r"/([^/]+)/calls", Calls, known),
            (r"/([^/]+)/results/(\d+)/(.+)", Results, known),
            (r"/([^/]+)/([\w.]*)", Static, known),
        ],
        default_handler_class=Nothing,
        default_handler_args=known,
        log_function=lambda handler: None,
    )


def open_in_browser(folder: Path, address: str) -> None:
    """By way of a file that only the user can read: a browser's words are seen by everyone on the machine."""
    way = folder / "open.html"
    way.touch(mode=0o600)
    way.write_text(f'<!DOCTYPE html><meta http-equiv="refresh" content="0; url={html.escape(address)}">', encoding="utf-8")
    webbrowser.open(way.as_uri())


async def _served(folder: Path, pictures: Sequence[Path], port: int, browser: bool) -> None:
    stopped = asyncio.Event()
    for which in (signal.SIGINT, signal.SIGTERM):
        asyncio.get_running_loop().add_signal_handler(which, stopped.set)
    page = Page(folder, pictures, Tool(find_tool()))
    await page.start()
    sockets = bind_sockets(port, "127.0.0.1")
    number = sockets[0].getsockname()[1]
    page.hosts = frozenset({f"127.0.0.1:{number}", f"localhost:{number}"})
    server = HTTPServer(application(page), max_body_size=LARGEST_CALL, idle_connection_timeout=600)
    server.add_sockets(sockets)

    address = f"http://127.0.0.1:{number}/{page.token}/"
    print(f"The page is at {address}\nCtrl-C ends it.", flush=True)
    if browser:
        await asyncio.to_thread(open_in_browser, folder, address)
    await stopped.wait()
    server.stop()


def serve(pictures: Sequence[Path], port: int, browser: bool) -> None:
    """Serves the page until it is interrupted; what was dropped and computed goes with it."""
    for path in pictures:
        if not path.is_file():
            sys.exit(f"miravex: {path} is no file")
    with tempfile.TemporaryDirectory(prefix="miravex-explore-") as folder:
        try:
            # Calls under way are cancelled, and with them their processes.
            asyncio.run(_served(Path(folder), pictures, port, browser))
        except (ToolMissing, RuntimeError, OSError) as error:
            sys.exit(f"miravex: {error}")
