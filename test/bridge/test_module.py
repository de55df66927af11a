# SPDX-License-Identifier: BSD-3-Clause
"""The door of the module: what it offers, what its types are, what it exports."""

import copy
import pickle
import subprocess
from pathlib import Path

import numpy as np
import pytest
import trevalon_conversion_probe as probe
import trevalon_impl
import trevalon_internal

from bridge_support import run_child

RIDGE_TYPE = trevalon_impl._RidgeRegressionModel
OBJECTIVE_TYPE = trevalon_internal._Objective


def own_names(module):
    return {name for name in vars(module) if not name.startswith("__")}


def own_members(kind):
    return {name for name in vars(kind) if not name.startswith("__")}


def test_importing_the_module_yields_its_factories_and_types():
    assert own_names(trevalon_impl) == {
        "RidgeRegressionModel",
        "LogisticRegressionModel",
        "WarpedLinearRegressionModel",
        "_TargetWarper",
        "_RidgeRegressionModel",
        "_LogisticRegressionModel",
        "_WarpedLinearRegressionModel",
    }


def test_the_types_are_registered_in_order_with_the_one_that_others_return_first():
    # A module's attributes keep the order in which they were added.
    names = [name for name in vars(trevalon_impl) if name.startswith("_")]
    assert [name for name in names if not name.startswith("__")] == [
        "_TargetWarper",
        "_RidgeRegressionModel",
        "_LogisticRegressionModel",
        "_WarpedLinearRegressionModel",
    ]


def test_the_internal_module_yields_the_full_factories_and_the_objective_type_as_well():
    assert own_names(trevalon_internal) == own_names(trevalon_impl) | {
        "make_ridge_regression_model",
        "make_warped_linear_regression_model",
        "_Objective",
    }


def test_the_module_and_its_factory_have_their_doc_strings():
    assert trevalon_impl.__name__ == "trevalon_impl"
    assert trevalon_impl.__doc__ == "Machine Learning Toolkit"
    factory = trevalon_impl.RidgeRegressionModel
    assert factory.__doc__ == "Constructs a ridge regression model"


def test_the_class_name_of_a_model_is_full_and_its_doc_string_is_the_factorys_name():
    model = trevalon_impl.RidgeRegressionModel()
    assert str(type(model)) == "<class 'trevalon_impl._RidgeRegressionModel'>"
    assert repr(model).startswith("<trevalon_impl._RidgeRegressionModel object at 0x")
    assert type(model) is RIDGE_TYPE
    assert type(model).__doc__ == "RidgeRegressionModel"


def test_the_objective_type_has_a_name_of_its_own():
    assert str(OBJECTIVE_TYPE) == "<class 'corvane._Objective'>"
    assert OBJECTIVE_TYPE.__doc__ == "_Objective"


METHOD_DOCS = {"fit": "fit the model", "predict": "make predictions"}
ATTRIBUTE_DOCS = {
    "weights": "Return the weight vector",
    "regularization": "Return the regularization vector",
    "regularization_groups": "Return the regularization groups",
    "score": "Return the score that used to fit the model",
    "within_tolerance": "Whether the tolerance was met",
}
OBJECTIVE_DOCS = {
    "compute_value": "compute the value of an objective at a given point",
    "compute_gradient": "compute the gradient of an objective at a given point",
    "compute_hessian": "compute the hessian of an objective at a given point",
}


@pytest.mark.parametrize(
    ("kind", "docs"),
    [
        (RIDGE_TYPE, METHOD_DOCS | ATTRIBUTE_DOCS),
        (
            trevalon_internal._RidgeRegressionModel,
            METHOD_DOCS
            | ATTRIBUTE_DOCS
            | {"make_objective": "return the optimization objective"},
        ),
        (OBJECTIVE_TYPE, OBJECTIVE_DOCS),
    ],
)
def test_every_member_of_a_type_has_its_doc_string(kind, docs):
    assert {name: getattr(kind, name).__doc__ for name in own_members(kind)} == docs


def test_make_objective_is_not_an_attribute_of_a_model_made_through_the_modules_factories():
    assert not hasattr(trevalon_impl.RidgeRegressionModel(), "make_objective")


@pytest.mark.parametrize("attribute", list(ATTRIBUTE_DOCS))
def test_attributes_are_read_only(attribute):
    model = trevalon_impl.RidgeRegressionModel()
    with pytest.raises(AttributeError, match="is not writable"):
        setattr(model, attribute, 1.0)


def test_types_have_no_constructor_and_no_other_way_to_an_instance_without_a_model():
    for kind in (RIDGE_TYPE, OBJECTIVE_TYPE):
        with pytest.raises(TypeError, match=r"^cannot create '.*' instances$"):
            kind()
        with pytest.raises(TypeError, match=r"is not safe|cannot create"):
            object.__new__(kind)


def test_types_cannot_be_subclassed():
    for kind in (RIDGE_TYPE, OBJECTIVE_TYPE):
        with pytest.raises(TypeError, match="is not an acceptable base type"):
            type("Derived", (kind,), {})


def test_an_instance_cannot_become_one_of_another_type(problem):
    objective = trevalon_internal.make_ridge_regression_model().make_objective(*problem)
    with pytest.raises(TypeError, match="object layout differs"):
        objective.__class__ = RIDGE_TYPE
    with pytest.raises(TypeError, match="object layout differs"):
        objective.__class__ = trevalon_internal._RidgeRegressionModel


@pytest.mark.parametrize("duplicate", [copy.copy, copy.deepcopy, pickle.dumps])
def test_models_are_not_copied_behind_their_owners_back(duplicate):
    with pytest.raises(TypeError, match="cannot pickle"):
        duplicate(trevalon_impl.RidgeRegressionModel())


def test_methods_refuse_a_self_of_another_type():
    for stranger in (3, None, trevalon_internal.RidgeRegressionModel()):
        with pytest.raises(TypeError):
            RIDGE_TYPE.fit(stranger, [], [])
        with pytest.raises(TypeError):
            RIDGE_TYPE.weights.__get__(stranger)


def test_factories_work_on_when_the_type_is_deleted_from_the_module():
    child = run_child(
        "import gc, trevalon_impl as t\n"
        "del t._RidgeRegressionModel\n"
        "gc.collect()\n"
        "print(type(t.RidgeRegressionModel()).__name__)"
    )
    assert (child.returncode, child.stdout) == (0, "_RidgeRegressionModel\n"), child.stderr


def test_a_second_import_gives_the_same_types():
    child = run_child(
        "import sys, trevalon_impl as first\n"
        "del sys.modules['trevalon_impl']\n"
        "import trevalon_impl as second\n"
        "print(type(second.RidgeRegressionModel()) is first._RidgeRegressionModel)"
    )
    assert (child.returncode, child.stdout) == (0, "True\n"), child.stderr


def test_importing_the_module_does_not_import_numpy():
    child = run_child("import sys, trevalon_impl; print('numpy' in sys.modules)")
    assert (child.returncode, child.stdout) == (0, "False\n"), child.stderr


@pytest.mark.parametrize("module", [trevalon_impl, trevalon_internal])
def test_the_init_function_is_the_one_exported_symbol(module):
    listing = subprocess.run(
        ["nm", "-D", "--defined-only", module.__file__],
        capture_output=True,
        text=True,
        check=True,
    ).stdout
    symbols = [line.split()[-1] for line in listing.splitlines()]
    assert symbols == [f"PyInit_{module.__name__}"]


def test_the_file_name_says_that_the_module_serves_every_later_python():
    assert Path(trevalon_impl.__file__).name == "trevalon_impl.abi3.so"


def test_an_owner_holds_one_reference_a_copy_another_and_a_move_hands_it_on():
    shared, copied, moved, assigned, move_assigned, replaced, released, dropped, ended = (
        probe.ownership(object())
    )
    assert (shared, copied, moved) == (1, 2, 2)
    assert (assigned, move_assigned, replaced) == (3, 2, 1)
    assert (released, dropped, ended) == (2, 1, 0)


def test_a_failed_call_throws_the_exception_that_says_the_error_is_set():
    assert probe.failed_call(object()) == "python_error"


def test_instances_hold_an_object_header_and_one_pointer():
    assert RIDGE_TYPE.__basicsize__ == object.__basicsize__ + np.dtype(np.intp).itemsize
    assert RIDGE_TYPE.__itemsize__ == 0
