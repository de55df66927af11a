# SPDX-License-Identifier: BSD-3-Clause
"""Fitted estimators hold arrays only, and predict bitwise the same after pickling, in this
process and in a new one."""

import copy
import pickle

import joblib
import numpy as np
import pytest
from package_support import run_child

from trevalon import LogisticRegression, RidgeRegression, WarpedLinearRegression

# Loads an estimator and rows, and writes the results of every prediction method.
PREDICT = """
import pickle, sys
import joblib
from trevalon import WarpedLinearRegression

source, destination = sys.argv[1:]
if source.endswith(".joblib"):
    model, X, y = joblib.load(source)
else:
    with open(source, "rb") as stream:
        model, X, y = pickle.load(stream)
results = [getattr(model, name)(X) for name in ("predict", "predict_proba",
           "decision_function", "predict_interval") if hasattr(model, name)]
if isinstance(model, WarpedLinearRegression):
    results += [*model.predict(X, return_std=True), model.log_predictive_density(X, y)]
if hasattr(model, "leverage_"):
    results += [model.leverage_, model.loo_residuals_]
with open(destination, "wb") as stream:
    pickle.dump(results, stream)
"""


def results(model, X, y):
    names = ("predict", "predict_proba", "decision_function", "predict_interval")
    found = [getattr(model, name)(X) for name in names if hasattr(model, name)]
    if isinstance(model, WarpedLinearRegression):
        found += [*model.predict(X, return_std=True), model.log_predictive_density(X, y)]
    if hasattr(model, "leverage_"):
        found += [model.leverage_, model.loo_residuals_]
    return found


def fitted(kind, regression, classification, skewed):
    if kind == "ridge":
        return RidgeRegression(groups="none").fit(*regression), *regression
    if kind == "logistic":
        return LogisticRegression().fit(*classification), *classification
    return WarpedLinearRegression(n_steps=2).fit(*skewed), *skewed


@pytest.fixture(params=["ridge", "logistic", "warped"])
def case(request, regression, classification, skewed):
    """A fitted estimator with its training data."""
    return fitted(request.param, regression, classification, skewed)


def assert_same_bits(found, expected):
    assert len(found) == len(expected) > 0
    for one, other in zip(found, expected, strict=True):
        np.testing.assert_array_equal(one, other)


@pytest.mark.parametrize("way", ["pickle", "joblib"])
def test_a_new_process_predicts_the_same_bits(case, way, tmp_path):
    source, destination = tmp_path / f"model.{way}", tmp_path / "results"
    if way == "joblib":
        joblib.dump(case, source)
    else:
        source.write_bytes(pickle.dumps(case))
    child = run_child(["-c", PREDICT, source, destination])
    assert child.returncode == 0, child.stderr
    assert_same_bits(pickle.loads(destination.read_bytes()), results(*case))


def test_copies_predict_the_same_bits(case):
    model, X, y = case
    expected = results(model, X, y)
    assert_same_bits(results(copy.deepcopy(model), X, y), expected)
    for protocol in range(2, pickle.HIGHEST_PROTOCOL + 1):
        copied = pickle.loads(pickle.dumps(model, protocol))
        assert_same_bits(results(copied, X, y), expected)


def leaves(value):
    """Everything inside attributes, dictionaries, lists and tuples."""
    if isinstance(value, dict):
        return [leaf for item in value.values() for leaf in leaves(item)]
    if isinstance(value, list | tuple):
        return [leaf for item in value for leaf in leaves(item)]
    if hasattr(value, "__dict__"):
        return leaves(vars(value))
    return [value]


def test_a_fitted_estimator_holds_arrays_and_plain_values_only(case):
    model, _, _ = case
    found = leaves(vars(model))
    assert any(isinstance(leaf, np.ndarray) for leaf in found)
    for leaf in found:
        assert isinstance(leaf, np.ndarray | np.generic | bool | int | float | str | None)


def test_a_pickled_ridge_does_not_contain_the_training_data(regression):
    X, y = np.tile(regression[0], (50, 1)), np.tile(regression[1], 50)
    model = RidgeRegression().fit(X, y)
    assert len(pickle.dumps(model)) < X.nbytes
    assert pickle.loads(pickle.dumps(model)).leverage_.shape == (3000,)


def test_an_unfitted_estimator_can_be_pickled(regression):
    model = pickle.loads(pickle.dumps(RidgeRegression(groups=2)))
    assert model.get_params() == RidgeRegression(groups=2).get_params()
