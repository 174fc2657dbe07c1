"""Packs the built package into a wheel: the extension module, the parts of the library, the command and the Python
files.

A wheel is a zip archive with a list of its files, so that little but Python itself is needed. OpenCV is not in
it: the wheel is for Debian and systems like it, whose packages have the same libraries. It says which these are,
so that an import elsewhere can tell what is missing.
"""

from __future__ import annotations

import argparse
import base64
import hashlib
import json
import platform
import re
import subprocess
import sys
import sysconfig
import zipfile
from pathlib import Path

METADATA = """\
Metadata-Version: 2.1
Name: miravex
Version: {version}
Summary: Image processing on NumPy arrays
License: MIT
Requires-Python: =={python}.*
Requires-Dist: numpy
Provides-Extra: dask
Requires-Dist: dask[array]; extra == "dask"
Requires-Dist: distributed; extra == "dask"
Provides-Extra: explore
Requires-Dist: tornado; extra == "explore"

{description}
"""

WHEEL = """\
Wheel-Version: 1.0
Generator: make_wheel
Root-Is-Purelib: false
Tag: {tag}
"""


def platform_tag() -> str:
    python = f"cp{sys.version_info.major}{sys.version_info.minor}"
    system = sysconfig.get_platform().replace("-", "_").replace(".", "_")
    return f"{python}-{python}-{system}"


def needed_libraries(binaries: list[Path]) -> dict[str, str]:
    """What the binaries are linked to, and the Debian package of each, or nothing where dpkg knows none."""
    command = ["readelf", "--dynamic", "--wide", *map(str, binaries)]
    dynamic = subprocess.run(command, check=True, capture_output=True, text=True).stdout
    libraries = sorted(set(re.findall(r"\(NEEDED\).*\[(.+)\]", dynamic)))
    try:
        command = ["dpkg-query", "--search", *(f"*/{library}" for library in libraries)]
        known = subprocess.run(command, capture_output=True, text=True).stdout
    except FileNotFoundError:
        known = ""
    packages = {path.rpartition("/")[2]: package for package, path in re.findall(r"^([^:,]+):.* (/.*)$", known, re.M)}
    return {library: packages.get(library, "") for library in libraries}


def entry(name: str, content: bytes) -> str:
    digest = base64.urlsafe_b64encode(hashlib.sha256(content).digest()).rstrip(b"=").decode()
    return f"{name},sha256={digest},{len(content)}"


def is_source(path: Path) -> bool:
    return path.suffix in (".py", ".pyi", ".typed") or (path.parent.name == "static" and path.is_file())


def write_wheel(package: Path, binaries: list[Path], version: str, output: Path) -> Path:
    tag = platform_tag()
    information = f"miravex-{version}.dist-info"
    sources = sorted(path for path in package.rglob("*") if is_source(path))
    files = {f"miravex/{path.relative_to(package)}": path.read_bytes() for path in sources}
    files.update({f"miravex/{path.name}": path.read_bytes() for path in binaries})
    programs = {f"miravex/{path.name}" for path in binaries}
    system = platform.freedesktop_os_release().get("PRETTY_NAME", platform.platform())
    facts = {"system": system, "libraries": needed_libraries(binaries)}
    files["miravex/needed.json"] = (json.dumps(facts, indent=1) + "\n").encode()
    description = (package / "__init__.py").read_text(encoding="utf-8").split('"""')[1]
    python = f"{sys.version_info.major}.{sys.version_info.minor}"
    metadata = METADATA.format(version=version, python=python, description=description)
    files[f"{information}/METADATA"] = metadata.encode()
    files[f"{information}/WHEEL"] = WHEEL.format(tag=tag).encode()
    record = f"{information}/RECORD"
    lines = [entry(name, content) for name, content in files.items()] + [f"{record},,"]
    files[record] = ("\n".join(lines) + "\n").encode()

    output.mkdir(parents=True, exist_ok=True)
    wheel = output / f"miravex-{version}-{tag}.whl"
    with zipfile.ZipFile(wheel, "w", zipfile.ZIP_DEFLATED) as archive:
        for name, content in files.items():
            item = zipfile.ZipInfo(name, date_time=(1980, 1, 1, 0, 0, 0))
            item.compress_type = zipfile.ZIP_DEFLATED
            item.external_attr = (0o755 if name in programs else 0o644) << 16
            archive.writestr(item, content)
    return wheel


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--package", type=Path, required=True)
    parser.add_argument("--extension", type=Path, required=True)
    parser.add_argument("--library", type=Path, required=True, action="append")
    parser.add_argument("--tool", type=Path, required=True, help="the command, which serves miravex.explore")
    parser.add_argument("--version", required=True)
    parser.add_argument("--output", type=Path, required=True)
    options = parser.parse_args()
    binaries = [options.extension, *options.library, options.tool]
    print(write_wheel(options.package, binaries, options.version, options.output))


if __name__ == "__main__":
    main()
