# SPDX-License-Identifier: BSD-3-Clause
"""The package is marked as typed, and the stub of the extension module lists the contents
of the module."""

import ast
from importlib.resources import files
from pathlib import Path

import pytest
import trevalon_impl

STUB = Path(__file__).parents[2] / "python" / "trevalon_impl-stubs" / "__init__.pyi"
FACTORIES = [
    "RidgeRegressionModel",
    "LogisticRegressionModel",
    "WarpedLinearRegressionModel",
]
TYPES = ["_TargetWarper", *(f"_{name}" for name in FACTORIES)]


def definitions():
    """The stub's top level, by name."""
    tree = ast.parse(STUB.read_text())
    kinds = ast.FunctionDef | ast.ClassDef
    return {node.name: node for node in tree.body if isinstance(node, kinds)}


def test_the_package_is_marked_as_typed():
    assert files("trevalon").joinpath("py.typed").is_file()


def test_the_stub_and_the_module_have_the_same_functions_and_types():
    described = {name for name in definitions() if name not in ("_Matrix", "_Vector")}
    assert described == {name for name in dir(trevalon_impl) if not name.startswith("__")}


@pytest.mark.parametrize("name", TYPES)
def test_the_stub_and_a_type_have_the_same_members(name):
    described = {node.name for node in definitions()[name].body}
    members = {m for m in dir(getattr(trevalon_impl, name)) if not m.startswith("_")}
    assert described == members


@pytest.mark.parametrize("name", FACTORIES)
def test_a_factory_takes_the_keywords_and_defaults_of_the_stub(name):
    arguments = definitions()[name].args
    defaults = [ast.literal_eval(node) for node in arguments.defaults]
    keywords = dict(zip([a.arg for a in arguments.args], defaults, strict=True))
    factory = getattr(trevalon_impl, name)
    assert type(factory(**keywords)).__name__ == f"_{name}"
    with pytest.raises(TypeError):
        factory(**keywords, another=1)
