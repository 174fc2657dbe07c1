"""What the server of the page answers, and what it turns away."""

from __future__ import annotations

import json
import os
import shutil
import socket
import subprocess
import sys
import time
from pathlib import Path
from typing import Any

import miravex
import pytest
from conftest import SLOW, TOOL, Served, run_tool, write_picture
from miravex.explore.settings import Refused, numbers_word

POLICY = "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; connect-src 'self'"
JSON = {"Content-Type": "application/json"}


# --- calls -------------------------------------------------------------------------------------------------


def test_a_call_gives_the_command_s_bytes(served: Served, picture: Path, tmp_path: Path) -> None:
    told = served.call("median-filter", {"image": "@1", "radius": "4"})
    run_tool("median-filter", str(picture), "--radius", "4", "-o", "out.npy", folder=tmp_path)
    run_tool("median-filter", str(picture), "--radius", "4", "-o", "out.png", folder=tmp_path)
    by_form = {name.rsplit(".")[-1]: served.fetch(name) for name in told["files"]}
    assert by_form == {form: (tmp_path / f"out.{form}").read_bytes() for form in ("npy", "png")}
    assert told["milliseconds"] > 0 and told["outcome"].startswith("80 x 60 byte image")
    for figure in [*told["inputs"], *told["results"]]:
        assert served.fetch(figure["file"])[:2] == b"\xff\xd8"


def test_refusals_name_their_argument(served: Served) -> None:
    told = served.call("median-filter", {"image": "@1", "radius": "0"})
    assert told["refusals"] == [{"argument": "radius", "value": "0", "expected": "at least 1", "suggestion": "1"}]
    assert [r["argument"] for r in served.call("median-filter", {"radius": "3"})["refusals"]] == ["image"]
    assert "no longer here" in served.call("median-filter", {"image": "@99"})["error"]
    both = served.call("fast", {"image": "@1", "threshold": "-1", "mask": "@1"})
    assert both["error"] and both["refusals"]


def test_a_dropped_file_is_called_on(served: Served, tmp_path: Path) -> None:
    own = write_picture(tmp_path / "b.ppm", 2)
    name = "my%20photo%20%27%3B%20ls.ppm"  # my photo '; ls.ppm
    status, _, content = served.ask("POST", f"/{served.token}/files?name={name}", own.read_bytes())
    told = json.loads(content)
    assert status == 200 and {"key": told["key"], "name": "my photo '; ls.ppm"} in told["files"]
    result = served.call("dilation", {"image": told["key"], "radius": "2"})
    run_tool("dilation", str(own), "--radius", "2", "-o", "out.npy", folder=tmp_path)
    assert served.fetch(result["files"][1]) == (tmp_path / "out.npy").read_bytes()
    assert result["calls"]["Command line"] == "miravex dilation 'my photo '\"'\"'; ls.ppm' --radius 2 -o out.png"


def test_only_the_newest_results_are_kept(served: Served) -> None:
    first = served.call("median-filter", {"image": "@1"})["files"][0]
    served.fetch(first)
    for _ in range(16):
        served.call("median-filter", {"image": "@1"})
    assert served.ask("GET", f"/{served.token}/{first}")[0] == 404


def test_catalogue_has_every_operation_with_its_examples(served: Served) -> None:
    told = json.loads(served.fetch("catalogue"))
    assert [o["name"] for o in told["operations"]] == [record.name for record in miravex.catalog()]
    assert [len(o["examples"]) for o in told["operations"]] == [len(record.examples) for record in miravex.catalog()]
    matcher = next(o for o in told["operations"] if o["command"] == "descriptor-matcher")
    assert matcher["examples"][0]["values"]["query_picture"] == "@graf1"
    assert told["files"][0] == {"key": "@1", "name": "noise 1.ppm"}


@pytest.mark.parametrize(
    ("text", "word"),
    [
        ("1,2,3", "1,2,3"),
        (" 1 2\n3 4 ", "1,2;3,4"),
        ("1, 2; 3,4;", "1,2;3,4"),
        ("[[1, 2], [3, 4.5]]", "1,2;3,4.5"),
        ("[1, -2e3]", "1,-2000.0"),
        ("+1 .5 1.", "1,0.5,1.0"),
    ],
)
def test_numbers_are_read_however_they_are_written(text: str, word: str) -> None:
    assert numbers_word("values", text) == word


@pytest.mark.parametrize("text", ["", "-", "a.npy", "/etc/passwd", "1,,2", "1e999", "[1", "[[1], 2]", "1-2", "e", "../1.csv", "1_0", "nan", "[" * 50_000 + "1"])
def test_what_is_no_list_of_numbers_is_refused(text: str) -> None:
    with pytest.raises(Refused):
        numbers_word("values", text)


# --- hostile requests --------------------------------------------------------------------------------------


@pytest.mark.parametrize("path", ["", "catalogue", "page.js", "files", "calls", "results/1/shown/x.png", "nothing/here"])
@pytest.mark.parametrize("method", ["GET", "POST"])
def test_the_wrong_token_opens_nothing(served: Served, method: str, path: str) -> None:
    for token in ("", "x", served.token[:-1], served.token + "x", served.token.swapcase(), "%C3%A4"):
        status, _, content = served.ask(method, f"/{token}/{path}", b"{}" if method == "POST" else None, JSON)
        assert status == 403 and b"address" in content and served.token.encode() not in content
    for path in ("/", "*", "x", f"x/{served.token}/", f"http://127.0.0.1:{served.port}/{served.token}/", f"//{served.token}/"):
        assert served.ask(method, path)[0] == 403


def test_other_hosts_are_turned_away(served: Served) -> None:
    path = f"/{served.token}/"
    for host in ("evil.example", "127.0.0.1", "127.0.0.1:1", f"evil.example:{served.port}", f"127.0.0.1.:{served.port}", ""):
        assert served.ask("GET", path, None, {"Host": host})[0] in (400, 403), host
    assert served.ask("GET", path, None, {"Host": f"localhost:{served.port}"})[0] == 200


def test_other_origins_are_turned_away(served: Served) -> None:
    body = json.dumps({"operation": "median-filter", "values": {"image": "@1"}}).encode()
    for origin in ("http://evil.example", "null", f"https://127.0.0.1:{served.port}", "http://127.0.0.1"):
        assert served.ask("POST", f"/{served.token}/calls", body, {**JSON, "Origin": origin})[0] == 403, origin
    own = {**JSON, "Origin": f"http://127.0.0.1:{served.port}"}
    assert served.ask("POST", f"/{served.token}/calls", body, own)[0] == 200
    assert served.ask("POST", f"/{served.token}/calls", body, {"Content-Type": "text/plain"})[0] == 415


def test_paths_lead_nowhere(served: Served) -> None:
    number = served.call("median-filter", {"image": "@1"})["files"][0].split("/")[1]
    here = f"/{served.token}"
    tries = ["/../server.py", "/server.py", "/%2e%2e/server.py", "/..%2fserver.py", "/static/page.js", "/../../../../etc/passwd"]
    tries += [f"/results/{number}/{name}" for name in ("", "../open.html", "shown/../../open.html", "shown", "/etc/passwd")]
    tries += [f"/results/{number}/{name}" for name in ("%2e%2e/x", "shown/pictures/", "shown/pictures/../results/median-filter.png")]
    tries += ["/results/0/x", "/results/-1/x", f"/results/{number}0/shown/results/median-filter.png", "//etc/passwd"]
    for path in tries:
        assert served.ask("GET", here + path)[0] == 404, path


def hostile_values(files: Path) -> list[tuple[str, Any, str]]:
    """Operation, values, and the argument to blame; each would read or write a file if it were passed on."""
    (files / "numbers.csv").write_text("1,2,3\n")
    (files / "1").write_text("[7]")
    path = str(files / "numbers.csv")
    blur = {"image": "@1", "vertical": "1,2,1"}
    return [
        ("median-filter", {"image": path}, "image"),
        ("median-filter", {"image": f"@1,{path}"}, "image"),
        ("median-filter", {"image": "@../1"}, "image"),
        ("median-filter", {"image": "@@1"}, "image"),
        ("median-filter", {"image": "-"}, "image"),
        ("median-filter", {"image": "@1", "radius": f"1 --output={files}/out.png"}, "radius"),
        ("median-filter", {"image": "@1", "output": f"{files}/out.png"}, "output"),
        ("median-filter", {"image": "@1", "overlay": f"{files}/out.png"}, "overlay"),
        ("median-filter", {"image": "@1", "radius": ["1"]}, "radius"),
        ("median-filter", {"image": "@1", "radius": "1" * 100_001}, "radius"),
        ("median-filter", {"image": "@1", "radius": "1\0"}, "radius"),
        ("image-convolve", {**blur, "horizontal": path}, "horizontal"),
        ("image-convolve", {**blur, "horizontal": "-"}, "horizontal"),
        ("image-convolve", {**blur, "horizontal": "numbers.csv"}, "horizontal"),
        ("face-detection", {"image": "@1", "cascade": path}, "cascade"),
        ("fast", {"image": "@1", "mask": path}, "mask"),
        ("fast", {"image": "@1", "nonmax_suppression": "x"}, "nonmax_suppression"),
        ("load-images-from-path-into", {"destination": path, "paths": "@batch_paths", "lengths": "1"}, "destination"),
        ("load-images-from-path-into", {"destination": "1x8x8x3", "paths": path, "lengths": "1"}, "paths"),
        ("descriptor-matcher", {"query": "1,2", "train": "1,2", "query_picture": path}, "query_picture"),
    ]


def test_values_name_no_files(served: Served, tmp_path: Path) -> None:
    for operation, values, blamed in hostile_values(tmp_path):
        told = served.call(operation, values)
        assert [refusal["argument"] for refusal in told.get("refusals", [])] == [blamed], (operation, values, told)
    assert sorted(path.name for path in tmp_path.iterdir()) == ["1", "numbers.csv"]


@pytest.mark.parametrize(
    "body", [b"", b"{", b"[]", b"1", b'{"operation": "x", "values": {}}', b'{"operation": [], "values": {}}', b"\xff",
             b'{"operation": "median-filter"}', b'{"operation": "median-filter", "values": []}']
)  # fmt: skip
def test_what_is_no_call_is_refused(served: Served, body: bytes) -> None:
    assert served.ask("POST", f"/{served.token}/calls", body, JSON)[0] == 400


def test_bodies_are_bounded(served: Served) -> None:
    big = b'{"operation": "median-filter", "values": {"image": "' + b"1" * (1 << 20) + b'"}}'
    try:
        status = served.ask("POST", f"/{served.token}/calls", big, JSON)[0]
    except (BrokenPipeError, ConnectionResetError):  # closed before all of it was sent
        status = 400
    assert status in (400, 413)
    files = f"/{served.token}/files?name=a.png"
    for length in (str((256 << 20) + 1), str(10**18), "-1", "x"):
        assert served.ask("POST", files, b"abc", {"Content-Length": length})[0] in (400, 413), length
    assert served.ask("POST", files, b"3\r\nabc\r\n0\r\n\r\n", {"Transfer-Encoding": "chunked"})[0] == 413
    assert not any(path.name.endswith("a.png") for path in served.folder.rglob("dropped-*"))


def test_an_upload_that_ends_early_leaves_nothing(served: Served) -> None:
    with socket.create_connection(("127.0.0.1", served.port)) as connection:
        head = f"POST /{served.token}/files?name=half.png HTTP/1.1\r\nHost: 127.0.0.1:{served.port}\r\nContent-Length: 1000\r\n\r\n"
        connection.sendall(head.encode() + b"x" * 10)
        end = time.monotonic() + 10
        while not list(served.folder.rglob("dropped-*half.png")):
            assert time.monotonic() < end
            time.sleep(0.01)
    while list(served.folder.rglob("dropped-*half.png")):
        assert time.monotonic() < end
        time.sleep(0.01)


@pytest.mark.parametrize("method", ["PUT", "DELETE", "PATCH", "OPTIONS", "HEAD", "TRACE", "CONNECT", "X"])
def test_other_methods_are_refused(served: Served, method: str) -> None:
    for path in ("", "catalogue", "files", "calls"):
        assert served.ask(method, f"/{served.token}/{path}")[0] == 405
    assert served.ask("GET", f"/{served.token}/calls")[0] == 405
    assert served.ask("POST", f"/{served.token}/", b"")[0] == 405


def test_every_answer_bears_the_strict_headers(served: Served) -> None:
    for path in (f"/{served.token}/", f"/{served.token}/page.js", f"/{served.token}/none", "/wrong/"):
        _, headers, _ = served.ask("GET", path)
        assert headers["content-security-policy"].startswith(POLICY)
        assert "unsafe" not in headers["content-security-policy"]
        assert headers["x-content-type-options"] == "nosniff" and headers["referrer-policy"] == "no-referrer"
        assert "server" not in headers and "access-control-allow-origin" not in headers


def test_it_listens_on_this_machine_alone(served: Served) -> None:
    wanted = f":{served.port:04X}"
    lines = [line.split() for name in ("tcp", "tcp6") for line in Path(f"/proc/net/{name}").read_text().splitlines()[1:]]
    listening = [line[1] for line in lines if line[1].endswith(wanted) and line[3] == "0A"]
    assert listening == [f"0100007F{wanted}"]


# --- its life ----------------------------------------------------------------------------------------------


def begin(served: Served) -> socket.socket:
    """Asks for a call that takes long, and does not wait."""
    body = json.dumps({"operation": SLOW[0], "values": SLOW[1]}).encode()
    connection = socket.create_connection(("127.0.0.1", served.port))
    head = f"POST /{served.token}/calls HTTP/1.1\r\nHost: 127.0.0.1:{served.port}\r\nContent-Type: application/json\r\n"
    connection.sendall(f"{head}Content-Length: {len(body)}\r\n\r\n".encode() + body)
    return connection


def test_a_call_that_nobody_waits_for_is_ended(served: Served, photos: list[Path]) -> None:
    slow = begin(served)
    served.wait_for_children(1)
    folders = len(list(served.folder.rglob("result-*")))
    assert served.call("median-filter", {"image": "@1"})["outcome"]  # meanwhile the page is served
    assert len(served.children()) == 1
    slow.close()
    served.wait_for_children(0)
    end = time.monotonic() + 10
    while len(list(served.folder.rglob("result-*"))) > folders:
        assert time.monotonic() < end, "its folder stayed"
        time.sleep(0.01)


def test_an_interrupt_ends_calls_and_leaves_nothing(picture: Path, tmp_path: Path, photos: list[Path]) -> None:
    server = Served(str(picture), folder=tmp_path)
    slow = begin(server)
    server.wait_for_children(1)
    assert server.stop() == 0
    assert server.children() == [] and list(tmp_path.iterdir()) == []
    slow.close()


def test_the_browser_is_opened_without_telling_the_machine_the_address(picture: Path, tmp_path: Path) -> None:
    browser = tmp_path / "browser"
    told = tmp_path / "told"
    browser.write_text(f'#!/bin/sh\nfile=${{1#file://}}\nstat -c "%a" "$file" >{told}.new\ncat "$file" >>{told}.new\n'
                       f'echo " $*" >>{told}.new\nmv {told}.new {told}\n')  # fmt: skip
    browser.chmod(0o755)
    (tmp_path / "temporary").mkdir()
    server = Served(str(picture), folder=tmp_path / "temporary", browser=browser)
    end = time.monotonic() + 20
    while not told.exists():
        assert time.monotonic() < end, "no browser was started"
        time.sleep(0.02)
    mode, page = told.read_text().split("\n", 1)
    way, words = page.strip().split("> ")
    assert mode == "600" and f"url={server.address}" in way
    assert words.startswith("file://") and server.token not in words
    assert server.stop() == 0


def started(*words: str, code: str = "", **environment: str) -> subprocess.CompletedProcess[str]:
    program = ["-c", code] if code else ["-m", "miravex.explore", "--no-browser"]
    given = {**os.environ, "MIRAVEX_TOOL": TOOL, **environment}
    return subprocess.run([sys.executable, *program, *words], capture_output=True, text=True, env=given, timeout=60)


def test_what_is_missing_is_said_in_words(tmp_path: Path) -> None:
    done = started(str(tmp_path / "none.png"))
    assert done.returncode == 1 and "none.png is no file" in done.stderr
    for port in ("99999", "-5", "x"):
        done = started("--port", port)
        assert done.returncode == 2 and "port" in done.stderr
    code = "import sys; sys.modules['tornado'] = None; sys.argv = ['x']; import miravex.explore.__main__ as m; m.main()"
    done = started(code=code)
    assert done.returncode == 1 and "apt install python3-tornado" in done.stderr
    other = tmp_path / "miravex"
    other.write_text("#!/bin/sh\necho miravex 0.1 other\n")
    other.chmod(0o755)
    done = started(MIRAVEX_TOOL=str(other))
    assert done.returncode == 1 and f"is not of this package's version {miravex.__version__}" in done.stderr
    done = started(MIRAVEX_TOOL=str(tmp_path / "none"))
    assert done.returncode == 1 and "none" in done.stderr and "Traceback" not in done.stderr


def test_the_command_starts_the_page(picture: Path, tmp_path: Path) -> None:
    command = [TOOL, "explore", "--no-browser", str(picture)]
    with subprocess.Popen(command, stdout=subprocess.PIPE, text=True, cwd=tmp_path) as process:
        assert process.stdout and "http://127.0.0.1:" in process.stdout.readline()
        process.terminate()
        assert process.wait(30) == 0


@pytest.mark.skipif(
    any(Path("/usr/lib").glob("python3*/dist-packages/miravex/explore")), reason="the package is installed on this machine"
)
def test_the_command_says_what_to_install(tmp_path: Path) -> None:
    (tmp_path / "bin").mkdir()
    alone = shutil.copy(TOOL, tmp_path / "bin/miravex")
    done = subprocess.run([alone, "explore"], capture_output=True, text=True)
    assert done.returncode == 1 and "python3-miravex" in done.stderr and "python3-tornado" in done.stderr
