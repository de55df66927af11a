# SPDX-License-Identifier: BSD-3-Clause
"""Ridge predictions read X where it lies if BLAS can, and a copy of it otherwise: they are
intercept + X weights in every layout."""

import sys

import numpy as np
import pytest
from trevalon_impl import RidgeRegressionModel

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
