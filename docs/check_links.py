"""Follows every link within built pages, to files and to places in them; says which lead nowhere.

Usage: check_links.py FOLDER
"""

from __future__ import annotations

import sys
from html.parser import HTMLParser
from pathlib import Path
from urllib.parse import unquote, urlsplit


class Page(HTMLParser):
    """The links of a page, and the places in it that links may name."""

    def __init__(self, path: Path) -> None:
        super().__init__()
        self.links: set[str] = set()
        self.places: set[str] = set()
        self.feed(path.read_text(encoding="utf-8"))

    def handle_starttag(self, tag: str, attributes: list[tuple[str, str | None]]) -> None:
        for name, value in attributes:
            if name in ("href", "src") and value:
                self.links.add(value)
            elif name == "id" and value:
                self.places.add(value)


def broken(folder: Path) -> list[str]:
    """Each link that leads nowhere, or out to where pages must not load from."""
    folder = folder.resolve()
    pages = {path: Page(path) for path in sorted(folder.rglob("*.html"))}
    found = []
    for path, page in pages.items():
        for link in sorted(page.links):
            parts = urlsplit(link)
            if parts.scheme or parts.netloc:
                continue
            target = (path.parent / unquote(parts.path)).resolve() if parts.path else path
            if target.is_dir():
                target /= "index.html"
            place = unquote(parts.fragment)
            missing = not target.is_file() or folder not in target.parents
            if missing or (place and target in pages and place not in pages[target].places):
                found.append(f"{path.relative_to(folder)}: {link}")
    return found


def main() -> None:
    folder = Path(sys.argv[1])
    found = broken(folder)
    if found:
        sys.exit("links that lead nowhere:\n" + "\n".join(found))


if __name__ == "__main__":
    main()
