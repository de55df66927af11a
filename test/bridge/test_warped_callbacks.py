# SPDX-License-Identifier: BSD-3-Clause
"""Callables that the warped model calls during a fit, and arrays that call back into it."""

import numpy as np
import pytest
from trevalon_impl import WarpedLinearRegressionModel
from trevalon_internal import make_warped_linear_regression_model

from bridge_support import OwnError, assert_raises
from warped_support import fitted, regression, snapshot

FAILED = "failed to fit WarpedLinearRegressionModel"


@pytest.fixture
def warped():
    return regression()


@pytest.mark.parametrize(
    "factory", [WarpedLinearRegressionModel, make_warped_linear_regression_model]
)
def test_the_initializer_is_called_with_the_number_of_parameters(factory, warped):
    seen = []

    def init0(n):
        seen.append(n)
        return [0.5] * n

    name = "init0" if factory is WarpedLinearRegressionModel else "optimizer_initializer"
    factory(**{name: init0}).fit(*warped)
    assert seen == [3]


def test_init0_of_the_wrong_length_raises_incorrect_size_and_the_fit_stays(warped):
    answers = [[0.5] * 3, [0.5] * 4]
    model = fitted(*warped, init0=lambda n: answers.pop(0))
    before = snapshot(model, warped[0])
    assert_raises(RuntimeError, "initialization incorrect size", model.fit, *warped)
    assert snapshot(model, warped[0]) == before


@pytest.mark.parametrize("start", [np.nan, np.inf, -np.inf, 1e200])
def test_an_init0_where_the_likelihood_is_not_defined_fails_to_fit(warped, start):
    model = WarpedLinearRegressionModel(init0=lambda n: [start] * n)
    assert_raises(RuntimeError, FAILED, model.fit, *warped)


def test_what_init0_raises_reaches_the_caller_unchanged(warped):
    def fail(_n):
        raise OwnError("my own")

    model = WarpedLinearRegressionModel(init0=fail)
    assert_raises(OwnError, "my own", model.fit, *warped)


def test_none_counts_as_an_object_in_the_internal_factory_and_fails_when_called(warped):
    model = make_warped_linear_regression_model(optimizer_initializer=None)
    text = "'NoneType' object has no attribute '__call__'"
    assert_raises(AttributeError, text, model.fit, *warped)


def test_init0_may_fit_the_model_that_calls_it_to_other_data(warped):
    other = regression(n=200, p=7, seed=3)
    calls = []

    def init0(n):
        if not calls:
            calls.append(True)
            model.fit(*other)
            model.predict(other[0])
        return [0.5] * n

    model = WarpedLinearRegressionModel(init0=init0)
    model.fit(*warped)
    plain = fitted(*warped, init0=lambda n: [0.5] * n)
    assert snapshot(model, warped[0]) == snapshot(plain, warped[0])


class CallingBack:
    """A matrix whose iteration runs an action after its first row."""

    def __init__(self, X, action):
        self.shape = X.shape
        self._X = X
        self._action = action

    def __iter__(self):
        yield self._X[0]
        self._action()
        yield from self._X[1:]


@pytest.mark.parametrize("method", ["predict", "predict_latent_with_stddev"])
def test_an_array_may_fit_the_model_while_a_prediction_reads_it(warped, method):
    X, y = warped
    model = fitted(X, y)
    narrowing = CallingBack(X, lambda: model.fit(X[:, :2], y))
    assert_raises(RuntimeError, "X is incorrect shape", getattr(model, method), narrowing)
    swapping = CallingBack(X[:, :2], lambda: model.fit(X[:, :2], y**2))
    swapped = fitted(X[:, :2], y**2)
    np.testing.assert_array_equal(
        getattr(model, method)(swapping), getattr(swapped, method)(X[:, :2])
    )


def test_an_array_may_fit_the_model_while_fit_reads_it(warped):
    X, y = warped
    model = WarpedLinearRegressionModel()
    model.fit(CallingBack(X, lambda: model.fit(X[:9, :2], y[:9])), y)
    assert snapshot(model, X) == snapshot(fitted(X, y), X)
