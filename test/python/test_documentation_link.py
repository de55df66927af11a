# SPDX-License-Identifier: BSD-3-Clause
"""The HTML representation links to the page that pydoc writes for the class's module."""

import pydoc
import re
import sys

import pytest
from sklearn.pipeline import make_pipeline
from sklearn.preprocessing import StandardScaler
from sklearn.utils import estimator_html_repr

from trevalon import LogisticRegression, RidgeRegression, WarpedLinearRegression

ESTIMATORS = [LogisticRegression, RidgeRegression, WarpedLinearRegression]


@pytest.mark.parametrize("kind", ESTIMATORS)
def test_the_link_leads_to_the_page_that_pydoc_writes(kind, tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    pydoc.writedoc(sys.modules[kind.__module__])
    links = re.findall(r'sk-estimator-doc-link[^>]*href="([^"]*)"', kind()._repr_html_())
    assert links == [f"{kind.__module__}.html"]
    page = (tmp_path / links[0]).read_text()
    assert f'<a name="{kind.__name__}">' in page
    assert kind.__doc__.splitlines()[0].split("(")[0] in page.replace("&nbsp;", " ")


@pytest.mark.parametrize("kind", ESTIMATORS)
def test_a_pipeline_shows_the_link_too(kind):
    text = estimator_html_repr(make_pipeline(StandardScaler(), kind()))
    assert f'href="{kind.__module__}.html"' in text
