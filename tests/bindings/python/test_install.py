"""The wheel and the installation by CMake work away from the build tree."""

from __future__ import annotations

import base64
import hashlib
import json
import os
import shutil
import subprocess
import sys
import zipfile
from pathlib import Path

import miravex
import pytest

BUILD = os.environ.get("MIRAVEX_BUILD", "")
ROOT = Path(__file__).resolve().parents[3]
needs_build = pytest.mark.skipif(not BUILD, reason="MIRAVEX_BUILD does not name the build tree")

USE = """
import numpy as np, miravex
from miravex import _miravex
picture = np.array([[9, 8, 7], [1, 200, 6], [2, 3, 4]], dtype=np.uint8)
assert miravex.median_filter(picture, radius=1)[1, 1] == 6
with open("speck.pgm", "wb") as file:
    file.write(b"P5 3 3 255\\n" + picture.tobytes())
assert not miravex.load_images(["speck.pgm"], size=(3, 3))[1]
print(miravex.__file__)
print(_miravex.library_path())
"""


def use(directory: Path) -> list[str]:
    """Imports the package from a directory, away from everything else, and gives what it found where."""
    environment = {"PATH": "/usr/bin:/bin", "PYTHONPATH": str(directory), "HOME": str(directory)}
    done = subprocess.run(
        [sys.executable, "-c", USE], capture_output=True, text=True, env=environment, cwd=directory
    )
    assert done.returncode == 0, done.stderr
    return done.stdout.split()


@needs_build
def test_version_is_the_project_s() -> None:
    cache = (Path(BUILD) / "CMakeCache.txt").read_text()
    assert f"CMAKE_PROJECT_VERSION:STATIC={miravex.__version__}\n" in cache


def pack(output: Path) -> Path:
    built = Path(BUILD)
    extension = next((built / "python/miravex").glob("_miravex.*.so"))
    command = [sys.executable, str(ROOT / "bindings/python/make_wheel.py"), "--package", str(ROOT / "bindings/python/miravex")]
    command += ["--extension", str(extension)]
    for library in ("libmiravex.so.1", "libmiravex_readers.so.1", "libmiravex_codecs.so"):
        command += ["--library", str(built / "lib" / library)]
    command += ["--tool", str(built / "bin/miravex")]
    command += ["--version", "1.0.0", "--output", str(output)]
    return Path(subprocess.run(command, check=True, capture_output=True, text=True).stdout.strip())


@pytest.fixture(scope="module")
def wheel(tmp_path_factory: pytest.TempPathFactory) -> Path:
    return pack(tmp_path_factory.mktemp("dist"))


@needs_build
def test_wheel_works_where_it_is_unpacked(wheel: Path, tmp_path: Path) -> None:
    with zipfile.ZipFile(wheel) as archive:
        archive.extractall(tmp_path)
    module, library = use(tmp_path)
    assert Path(module) == tmp_path / "miravex/__init__.py"
    assert Path(library) == tmp_path / "miravex/libmiravex.so.1"


@needs_build
def test_wheel_says_which_libraries_are_missing(wheel: Path, tmp_path: Path) -> None:
    with zipfile.ZipFile(wheel) as archive:
        archive.extractall(tmp_path)
    package = tmp_path / "miravex"
    needed = json.loads((package / "needed.json").read_text())["libraries"]
    opencv = [library for library in needed if library.startswith("libopencv_")]
    assert {"core", "imgproc", "photo", "superres"} <= {library.split("_")[1].split(".")[0] for library in opencv}
    assert all(needed[library].startswith("libopencv-") for library in opencv if shutil.which("dpkg-query"))

    # As it is on a system that has no such libraries.
    for library in ("libopencv_core", "libopencv_photo"):
        for file in [package / "needed.json", *package.glob("*.so*")]:
            nowhere = library[:-2] + "zz"
            file.write_bytes(file.read_bytes().replace(f"{library}.so".encode(), f"{nowhere}.so".encode()))
    command = [sys.executable, "-c", "import miravex"]
    environment = {"PATH": "/usr/bin:/bin", "PYTHONPATH": str(tmp_path)}
    done = subprocess.run(command, capture_output=True, text=True, env=environment)
    said = done.stderr.splitlines()[-1]
    assert done.returncode == 1
    missing = said.partition("Missing here: ")[2].partition(". ")[0].split(", ")
    assert [name.split(".")[0] for name in missing] == ["libopencv_cozz", "libopencv_phozz"], done.stderr
    if shutil.which("dpkg-query"):
        assert "apt install libopencv-core4" in said and "libopencv-photo4" in said


def serve_once(packages: Path, tool: Path | None = None) -> str:
    """Starts the page of operations as a package elsewhere has it; what it fetches there."""
    code = (
        "import re, subprocess, sys, urllib.request\n"
        "with subprocess.Popen(sys.argv[1:], stdout=subprocess.PIPE, text=True) as server:\n"
        "    line = server.stdout.readline()\n"
        "    page = urllib.request.urlopen(re.search('http://[^ ]*/', line)[0]).read().decode() if line else ''\n"
        "    server.terminate()\n"
        "print(page, server.returncode)\n"
    )
    environment = {"PATH": "/usr/bin:/bin", "HOME": str(packages), **({} if tool else {"PYTHONPATH": str(packages)})}
    command = [str(tool), "explore"] if tool else [sys.executable, "-m", "miravex.explore"]
    return subprocess.run(
        [sys.executable, "-c", code, *command, "--no-browser"],
        check=True, capture_output=True, text=True, env=environment, cwd=packages,
    ).stdout  # fmt: skip


@needs_build
def test_wheel_serves_the_page_of_operations(wheel: Path, tmp_path: Path) -> None:
    with zipfile.ZipFile(wheel) as archive:
        for item in archive.infolist():
            archive.extract(item, tmp_path)
            (tmp_path / item.filename).chmod(item.external_attr >> 16)
    for tool in (None, tmp_path / "miravex/miravex"):
        told = serve_once(tmp_path, tool)
        assert "<title>Miravex</title>" in told and told.endswith(" 0\n")


@needs_build
def test_without_the_library_the_import_says_so(wheel: Path, tmp_path: Path) -> None:
    with zipfile.ZipFile(wheel) as archive:
        archive.extractall(tmp_path)
    (tmp_path / "miravex/libmiravex.so.1").unlink()
    environment = {"PATH": "/usr/bin:/bin", "PYTHONPATH": str(tmp_path)}
    for named in ({}, {"MIRAVEX_LIBRARY": str(tmp_path / "other.so")}):
        done = subprocess.run(
            [sys.executable, "-c", "import miravex"], capture_output=True, text=True, env={**environment, **named}
        )
        wanted = named.get("MIRAVEX_LIBRARY", "libmiravex.so")
        assert done.returncode == 1
        assert f"ImportError: cannot use the library {wanted}" in done.stderr


@needs_build
def test_wheel_lists_its_files(wheel: Path) -> None:
    with zipfile.ZipFile(wheel) as archive:
        names = archive.namelist()
        record = archive.read("miravex-1.0.0.dist-info/RECORD").decode().splitlines()
        listed = dict(line.split(",", 1) for line in record)
        assert sorted(listed) == sorted(names)
        for name, facts in listed.items():
            if facts == ",":
                continue
            content = archive.read(name)
            digest = base64.urlsafe_b64encode(hashlib.sha256(content).digest()).rstrip(b"=").decode()
            assert facts == f"sha256={digest},{len(content)}"
    assert {"miravex/__init__.py", "miravex/_operations.pyi", "miravex/py.typed"} <= set(names)


@needs_build
def test_wheel_is_the_same_each_time(wheel: Path, tmp_path: Path) -> None:
    again = pack(tmp_path)
    assert again.name == wheel.name and again.read_bytes() == wheel.read_bytes()


@needs_build
def test_cmake_installs_the_package(tmp_path: Path) -> None:
    for component in ("python", "library"):
        subprocess.run(
            ["cmake", "--install", BUILD, "--prefix", str(tmp_path), "--component", component],
            check=True,
            capture_output=True,
        )
    package = next(tmp_path.rglob("miravex/__init__.py")).parent
    moved = tmp_path.rename(tmp_path.with_name("moved"))  # it finds the library wherever it stands
    package = moved / package.relative_to(tmp_path)
    module, used = use(package.parent)
    assert Path(module) == package / "__init__.py"
    assert Path(used) == next(moved.rglob("libmiravex.so.1"))
