"""Packs the built package into a wheel: the extension module, the parts of the library and the Python files.

A wheel is a zip archive with a list of its files, so that nothing but Python itself is needed. OpenCV is not
in it: the wheel is for machines with the same Debian packages.
"""

from __future__ import annotations

import argparse
import base64
import hashlib
import sysconfig
import sys
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
    platform = sysconfig.get_platform().replace("-", "_").replace(".", "_")
    return f"{python}-{python}-{platform}"


def entry(name: str, content: bytes) -> str:
    digest = base64.urlsafe_b64encode(hashlib.sha256(content).digest()).rstrip(b"=").decode()
    return f"{name},sha256={digest},{len(content)}"


def write_wheel(package: Path, binaries: list[Path], version: str, output: Path) -> Path:
    tag = platform_tag()
    information = f"miravex-{version}.dist-info"
    sources = sorted(path for path in package.iterdir() if path.suffix in (".py", ".pyi", ".typed"))
    files = {f"miravex/{path.name}": path.read_bytes() for path in [*sources, *binaries]}
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
            item.external_attr = (0o755 if name.endswith(".so") else 0o644) << 16
            archive.writestr(item, content)
    return wheel


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--package", type=Path, required=True)
    parser.add_argument("--extension", type=Path, required=True)
    parser.add_argument("--library", type=Path, required=True, action="append")
    parser.add_argument("--version", required=True)
    parser.add_argument("--output", type=Path, required=True)
    options = parser.parse_args()
    print(write_wheel(options.package, [options.extension, *options.library], options.version, options.output))


if __name__ == "__main__":
    main()
