"""Serves the page and opens it in the browser, until it is interrupted."""

from __future__ import annotations

import argparse
import sys
from pathlib import Path

NO_TORNADO = "miravex: the page needs the Python package tornado: apt install python3-tornado (or pip install tornado)"


def parsed() -> argparse.Namespace:
    parser = argparse.ArgumentParser(prog="miravex explore", description="A local web page on which to try every operation.")
    parser.add_argument("pictures", nargs="*", type=Path, help="files that the page may read, besides those dropped on it")
    parser.add_argument("--port", type=int, default=0, help="a port of 127.0.0.1; a free one when none is named")
    parser.add_argument("--no-browser", action="store_true", help="print the address and open nothing")
    options = parser.parse_args()
    if not 0 <= options.port <= 65535:
        parser.error("a port is a number from 0 to 65535")
    return options


def main() -> None:
    options = parsed()
    try:
        from .server import serve
    except ModuleNotFoundError as error:
        if (error.name or "").partition(".")[0] != "tornado":
            raise
        sys.exit(NO_TORNADO)
    serve(options.pictures, options.port, not options.no_browser)


if __name__ == "__main__":
    main()
