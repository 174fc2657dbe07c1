"""How Sphinx builds the documentation; scripts/docs runs it."""

import re
from pathlib import Path

from miravex import __version__

project = "Miravex"
author = "the Miravex developers"
copyright = author
release = __version__

extensions = ["sphinx.ext.autodoc", "sphinx.ext.viewcode", "sphinx_inline_tabs"]
autodoc_member_order = "bysource"
autodoc_typehints = "none"  # the texts say it in words
add_module_names = False

# The pages in Markdown are read in the tree, beside the code.
exclude_patterns = ["*.md"]

html_theme = "furo"
html_title = "Miravex"
html_static_path = ["static"]
html_css_files = ["style.css"]
html_theme_options = {
    "light_css_variables": {"color-brand-primary": "#0b6e6e", "color-brand-content": "#0b6e6e"},
    "dark_css_variables": {"color-brand-primary": "#5cc6c0", "color-brand-content": "#5cc6c0"},
}
html_show_sphinx = False
html_copy_source = False


def without_aliases(app, what, name, member, skip, options):
    """The fields of named tuples say of themselves no more than their number."""
    return True if (getattr(member, "__doc__", "") or "").startswith("Alias for field") else None


def without_unreadable(app):
    """Modules without source, such as the extension, have no page that a list of sources could lead to."""
    modules = app.env._viewcode_modules
    for name in [name for name, found in modules.items() if not found]:
        del modules[name]
    return []


def complete_theme(app, exception):
    """Debian's furo is not put together whole: a style sheet is looked for on the server, a script imports another
    that is no module, and the colours of readers who like it dark without having said so here are lost."""
    static = Path(app.outdir) / "_static"
    if exception or app.builder.format != "html":
        return
    script = static / "scripts/furo.js"
    text = script.read_text(encoding="utf-8")
    if text.startswith("import Gumshoe"):
        gumshoe = (script.parent / "gumshoe-patched.js").read_text(encoding="utf-8")
        script.write_text(gumshoe + text.partition("\n")[2], encoding="utf-8")
    sheet = static / "styles/furo.css"
    text = sheet.read_text(encoding="utf-8")
    found = re.match(r"@import url\((/javascript/[\w./]+)\);", text)
    if found:
        text = Path("/usr/share" + found[1]).read_text(encoding="utf-8") + text[found.end() :]
    if "prefers-color-scheme" not in text:
        dark = re.search(r"@media not print \{\n(.*?\}) \}\n", text, re.DOTALL)[1]
        automatic = dark.replace('[data-theme="dark"]', ':not([data-theme="light"])')
        text += f"\n@media not print {{ @media (prefers-color-scheme: dark) {{\n{automatic} }} }}\n"
    sheet.write_text(text, encoding="utf-8")


def setup(app):
    app.connect("build-finished", complete_theme)
    app.connect("html-collect-pages", without_unreadable, priority=400)  # before the list is written
    app.connect("autodoc-skip-member", without_aliases)
