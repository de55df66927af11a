# SPDX-License-Identifier: BSD-3-Clause
"""Predictions read X where it lies if BLAS can, and a copy of it otherwise: they are the
same in every layout."""

import sys

import numpy as np
import pytest
from trevalon_impl import (
    LogisticRegressionModel,
    RidgeRegressionModel,
    WarpedLinearRegressionModel,
)

from array_layouts import MATRICES
from bridge_support import SizedView, expecting

REAL = {
    name: X
    for name, X in MATRICES.items()
    if X.ndim == 2 and X.dtype.kind in "fi" and X.shape[1] > 0
}


def fitted(features):
    """A model of so many features, with a bias."""
    random = np.random.default_rng(features)
    X = random.normal(size=(60, features))
    model = RidgeRegressionModel()
    model.fit(X, X.sum(axis=1) + 3.0 + random.normal(size=60))
    return model


@pytest.mark.parametrize("layout", REAL)
def test_a_prediction_is_the_product_with_the_weights_in_every_layout(layout):
    X = REAL[layout]
    model = fitted(X.shape[1])
    plain = np.where(np.isfinite(X), X, 0.0)
    (intercept,) = model.predict(np.zeros((1, X.shape[1])))
    expected = intercept + plain @ model.weights[:-1]
    bound = 1e-13 * (abs(intercept) + np.abs(plain) @ np.abs(model.weights[:-1]))
    predictions = model.predict(X)
    finite = np.isfinite(X).all(axis=1)
    assert np.all(np.abs(predictions - expected)[finite] <= bound[finite])
    # By elements, one that is not finite spoils its own row alone, and in the same way.
    by_elements = model.predict(SizedView(X))
    np.testing.assert_array_equal(np.isfinite(predictions), np.isfinite(by_elements))
    np.testing.assert_array_equal(np.isfinite(predictions), finite)


@pytest.mark.parametrize("order", ["C", "F"])
def test_a_matrix_inside_a_larger_one_is_read_with_its_own_elements_alone(order):
    around = np.full((12, 9), np.nan, order=order)
    around[2:7, 3:6] = np.arange(15.0).reshape(5, 3)
    model = fitted(3)
    np.testing.assert_allclose(
        model.predict(around[2:7, 3:6]), model.predict(around[2:7, 3:6].copy()), rtol=1e-13
    )


@pytest.mark.parametrize("layout", ["row-major", "column-major", "rows reversed"])
def test_neither_a_prediction_nor_a_refusal_holds_the_array(layout):
    memory = bytearray(MATRICES[layout].nbytes)
    order = "F" if layout == "column-major" else "C"
    X = np.ndarray(MATRICES[layout].shape, buffer=memory, order=order)
    if layout == "rows reversed":
        X = X[::-1]
    model, other = fitted(X.shape[1]), fitted(2)
    before = sys.getrefcount(X)
    for _ in range(50):
        model.predict(X)
        expecting(RuntimeError, other.predict, X)()
    assert sys.getrefcount(X) == before
    del X
    memory.append(1)  # refused while anybody has a view of it


@pytest.mark.parametrize("layout", ["row-major", "column-major"])
def test_a_prediction_leaves_x_as_it_was_also_where_it_is_read_only(layout):
    X = MATRICES[layout].copy(order="K")
    X.flags.writeable = False
    kept = X.copy()
    fitted(X.shape[1]).predict(X)
    np.testing.assert_array_equal(X, kept)


def fitted_models(features):
    random = np.random.default_rng(features)
    X = random.normal(size=(60, features))
    y = X.sum(axis=1) + 3.0 + random.normal(size=60)
    ridge, logistic = RidgeRegressionModel(), LogisticRegressionModel()
    warped = WarpedLinearRegressionModel(num_steps=1)
    ridge.fit(X, y)
    logistic.fit(X, np.where(y > 3.0, 1.0, 0.0))
    warped.fit(X, y)
    return [
        ridge.predict,
        logistic.predict,
        logistic.predict_proba,
        warped.predict,
        lambda rows: np.column_stack(warped.predict_latent_with_stddev(rows)),
    ]


@pytest.mark.parametrize("layout", REAL)
def test_every_prediction_is_that_of_the_elements_in_every_layout(layout):
    X = REAL[layout]
    finite = np.isfinite(X).all(axis=1)
    if not finite.all():
        X = X[finite]
    for predict in fitted_models(X.shape[1]):
        np.testing.assert_allclose(
            predict(X), predict(SizedView(X)), rtol=1e-11, atol=1e-12
        )


@pytest.mark.parametrize("order", ["C", "F"])
def test_many_rows_are_predicted_as_each_of_them_is(order):
    X = np.asarray(np.random.default_rng(4).normal(size=(70_000, 3)), order=order)
    some = [0, 1, 65_535, 65_536, 69_999]
    model = fitted(3)
    np.testing.assert_allclose(model.predict(X)[some], model.predict(X[some]), rtol=1e-13)


def test_what_stands_in_the_place_of_numpys_zeros_comes_too_late_to_change_x(monkeypatch):
    X = np.random.default_rng(5).normal(size=(7, 3))
    predictions = [predict(X) for predict in fitted_models(3)]
    plain_zeros = np.zeros
    made = []

    def zeros(shape):
        X[:] = 0.0
        made.append(plain_zeros(shape))
        return made[-1]

    for predict, expected in zip(fitted_models(3), predictions, strict=True):
        X[:] = np.random.default_rng(5).normal(size=(7, 3))
        with monkeypatch.context() as patch:
            patch.setattr(np, "zeros", zeros)
            found = predict(X)
        assert not X.any()
        np.testing.assert_allclose(found, expected, rtol=1e-12)
        assert any(found is array for array in made) or found.shape == (7, 2)
