"""How Sphinx builds the documentation; scripts/docs runs it."""

from miravex import __version__

project = "Miravex"
author = "the Miravex developers"
copyright = author
release = __version__

extensions = ["sphinx.ext.autodoc", "sphinx.ext.viewcode"]
autodoc_member_order = "bysource"
autodoc_typehints = "none"  # the texts say it in words
add_module_names = False

# The pages in Markdown are read in the tree, beside the code.
exclude_patterns = ["*.md"]

html_theme = "alabaster"
html_static_path = ["static"]
html_css_files = ["style.css"]
html_theme_options = {
    "description": "Image processing for computer-algebra kernels",
    "fixed_sidebar": True,
    "page_width": "70em",
    "sidebar_width": "16em",
}
html_sidebars = {"**": ["about.html", "navigation.html", "searchbox.html"]}
html_show_sphinx = False
html_copy_source = False


def without_aliases(app, what, name, member, skip, options):
    """The fields of named tuples say of themselves no more than their number."""
    return True if (getattr(member, "__doc__", "") or "").startswith("Alias for field") else None


def setup(app):
    app.connect("autodoc-skip-member", without_aliases)
