# SPDX-License-Identifier: BSD-3-Clause
"""The examples of the documentation run and print what they state, and every public class
and method is documented."""

import doctest
import importlib
import inspect
import pkgutil

import matplotlib.pyplot as plt
import pytest

import trevalon

PARTS = [module.name for module in pkgutil.iter_modules(trevalon.__path__)]
MODULES = ["trevalon", *(f"trevalon.{part}" for part in PARTS)]
PUBLIC = [getattr(trevalon, name) for name in trevalon.__all__ if name != "__version__"]
ESTIMATORS = [kind for kind in PUBLIC if hasattr(kind, "fit")]
SECTIONS = ["Parameters", "Attributes", "Raises", "Warns", "References", "Examples"]


@pytest.mark.parametrize("name", MODULES)
def test_the_examples_of_a_module_print_what_they_state(name):
    result = doctest.testmod(importlib.import_module(name), verbose=False)
    plt.close("all")
    assert result.failed == 0


@pytest.mark.parametrize("kind", PUBLIC)
def test_public_classes_and_methods_are_documented(kind):
    assert inspect.getdoc(kind)
    for name, member in vars(kind).items():
        if not name.startswith("_") and (inspect.isfunction(member)):
            assert inspect.getdoc(member), name


@pytest.mark.parametrize("kind", ESTIMATORS)
def test_the_documentation_of_an_estimator_has_all_sections_and_a_running_example(kind):
    text = inspect.getdoc(kind)
    for section in SECTIONS:
        assert f"{section}\n{'-' * len(section)}\n" in text
    for name in inspect.signature(kind).parameters:
        assert f"\n{name} : " in text
    assert doctest.DocTestFinder(recurse=False).find(kind)[0].examples


@pytest.mark.parametrize("kind", ESTIMATORS)
def test_the_documentation_names_every_fitted_attribute(kind, regression, classification):
    X, y = classification if kind is trevalon.LogisticRegression else regression
    text = inspect.getdoc(kind)
    fitted = [name for name in vars(kind().fit(X, y)) if name.endswith("_")]
    assert "coef_" in fitted
    for name in fitted:
        assert name in text
