"""Image processing on NumPy arrays.

Every operation of the Miravex library is a function here: ``miravex.median_filter(image, radius=3)``.
``help(miravex.median_filter)`` shows what it takes and gives.

Pictures are arrays with axes (rows, columns) or (rows, columns, channels), sequences have their frames
first; samples are bool, uint8, uint16 (full range) or float32, float64 (0 to 1). C-contiguous arrays are
handed to the library as they are, and pictures come back as arrays over the library's own result, so that
nothing is copied on either way.

``ValueError`` says before a call what is wrong with an argument; ``MiravexError`` says why a call failed.
"""

from __future__ import annotations

from importlib import import_module
from typing import TYPE_CHECKING, Any

from ._needs import explained

try:
    from ._miravex import MiravexError, get_threads, set_threads
except ImportError as error:
    raise explained(error) from None

from ._miravex import catalog as _records
from ._miravex import version as __version__

_functions = {"catalog", *(record.function for record in _records())}

__all__ = [
    "MiravexError",
    "draw",
    "get_threads",
    "load_images",
    "results",
    "set_threads",
    *sorted(_functions),
]

if TYPE_CHECKING:
    from . import draw, results
    from ._operations import *
    from .loading import load_images
else:

    def __getattr__(name: str) -> Any:
        """A part of the package, or a function of it, when it is first asked for: they take as long to make as all
        that every program needs."""
        if name in ("draw", "results"):
            return import_module(f"{__name__}.{name}")
        if name != "load_images" and name not in _functions:
            raise AttributeError(f"module {__name__!r} has no attribute {name!r}")
        part = "loading" if name == "load_images" else "_operations"
        made = globals()[name] = getattr(import_module(f"{__name__}.{part}"), name)
        return made

    def __dir__() -> list[str]:
        return sorted({*globals(), *__all__})

MiravexError.__module__ = __name__
MiravexError.__doc__ = "An operation failed although its arguments were acceptable."
