# SPDX-License-Identifier: BSD-3-Clause
"""The link to the documentation of a class in its HTML representation.

`python -m pydoc -w trevalon.ridge` writes the documentation of a module to the file
trevalon.ridge.html, and `python -m pydoc -b` serves all of them. The link is relative to
the folder of these files. It has no anchor: scikit-learn appends one for each parameter.
"""

from __future__ import annotations


class DocumentationLinkMixin:
    """To be inherited from before scikit-learn's BaseEstimator, whose names these are."""

    _doc_link_module = "trevalon"
    _doc_link_template = "{estimator_module}.html"
