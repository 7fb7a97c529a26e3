"""Sphinx: the reference of the Python package, beside the other pages of the site."""

project = "xemfit"
extensions = ["sphinx.ext.autodoc", "sphinx.ext.napoleon"]
napoleon_google_docstring = False
napoleon_use_ivar = True
autodoc_member_order = "bysource"
autodoc_typehints = "none"
html_theme = "alabaster"
html_theme_options = {"description": "Material-test curves into constitutive parameters", "nosidebar": True}
html_show_copyright = False
html_show_sourcelink = False
