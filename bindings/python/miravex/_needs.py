"""What a wheel says where libraries are missing: it brings none of OpenCV along."""

from __future__ import annotations

import ctypes
import json
from pathlib import Path


def missing(needed: dict[str, str]) -> list[str]:
    """Those libraries that the dynamic linker can't load."""

    def loads(library: str) -> bool:
        try:
            ctypes.CDLL(library)
        except OSError:
            return False
        return True

    return [library for library in needed if not loads(library)]


def explained(error: ImportError) -> ImportError:
    """The error of an import, with the libraries that are missing, all at once, and the packages they are in.

    Beside the modules of a wheel stands a list of what its binaries are linked to, made where they were built; other
    installations have none and need none.
    """
    listed = Path(__file__).with_name("needed.json")
    if not listed.exists():
        return error
    facts = json.loads(listed.read_text(encoding="utf-8"))
    lacking = missing(facts["libraries"])
    if not lacking:
        return error
    packages = sorted({facts["libraries"][library] for library in lacking} - {""})
    return ImportError(
        f"{error}\nThis wheel of miravex was built on {facts['system']} and needs its libraries. Missing here: "
        f"{', '.join(lacking)}. Where they are packaged: apt install {' '.join(packages)}. Elsewhere, build Miravex "
        "from its source with the OpenCV that is there."
    )
