# SPDX-License-Identifier: BSD-3-Clause
"""The two roads to the linear model behind a map, against the extension module's own."""

import numpy as np
import pytest
from trevalon_impl import WarpedLinearRegressionModel

from trevalon import _latent_model
from trevalon._latent_model import find_latent_model
from trevalon._training import RegressionData

# Means of the columns in units of their spread, and how far the second one is from the
# first; and whether the module's predictions tell the model.
CASES = {
    "at zero": (0.0, 1.0, True),
    "of ordinary mean": (30.0, 1.0, True),
    "close to dependent": (0.0, 1e-2, True),
    "too close to dependent": (0.0, 1e-6, False),
    "far from zero": (1e5, 1.0, False),
}


@pytest.mark.parametrize("normalize", [True, False])
@pytest.mark.parametrize("case", CASES.values(), ids=CASES.keys())
def test_latent_means_and_variances_are_those_of_the_extension_module(
    case, normalize, monkeypatch
):
    offset, apart, by_predictions = case
    random = np.random.default_rng(0)
    Z = random.normal(size=(300, 4))
    Z[:, 1] = Z[:, 0] + apart * Z[:, 1]
    X = (Z + offset) * [1.0, 1.0, 1e3, 1e-3]
    y = np.exp(0.3 * Z.sum(axis=1) + 0.2 * random.normal(size=300))
    model = WarpedLinearRegressionModel(normalize=int(normalize))
    model.fit(X, y)

    from_rows = _latent_model._from_rows
    seen = []
    monkeypatch.setattr(
        _latent_model, "_from_rows", lambda *a: (seen.append(1), from_rows(*a))[1]
    )
    found = find_latent_model(model, RegressionData(X, y), True, normalize)
    assert bool(seen) == (not by_predictions)
    latent, deviation = model.predict_latent_with_stddev(X)
    centered = X - found.means
    loss = max(1.0, offset) / apart
    np.testing.assert_allclose(centered @ found.coef, latent, rtol=0.0, atol=1e-13 * loss)
    spread = 1.0 + np.square(centered @ found.variance_root).sum(axis=1)
    np.testing.assert_allclose(
        np.sqrt(spread * model.noise_variance), deviation, rtol=1e-14 * loss
    )


def test_more_pairs_of_columns_than_rows_are_left_to_a_factorization(monkeypatch):
    random = np.random.default_rng(0)
    X = random.normal(size=(40, 12))
    y = np.exp(X[:, 0] + 0.1 * random.normal(size=40))
    model = WarpedLinearRegressionModel()
    model.fit(X, y)
    monkeypatch.setattr(_latent_model, "_from_rows", lambda *_: "from the rows")
    assert find_latent_model(model, RegressionData(X, y), True, True) == "from the rows"


def test_without_an_intercept_the_means_are_zero():
    random = np.random.default_rng(0)
    X = random.normal(size=(100, 3)) + 5.0
    y = np.exp(0.1 * X[:, 0] + 0.1 * random.normal(size=100))
    model = WarpedLinearRegressionModel(fit_intercept=0)
    model.fit(X, y)
    found = find_latent_model(model, RegressionData(X, y), False, True)
    assert found.means.tolist() == [0.0, 0.0, 0.0]
    latent, _ = model.predict_latent_with_stddev(X)
    np.testing.assert_allclose(X @ found.coef, latent, rtol=1e-13)


def test_a_model_without_noise_is_found_without_a_warning():
    X, y = np.array([[0.0], [1.0]]), np.array([1.0, 2.0])
    model = WarpedLinearRegressionModel()
    model.fit(X, y)
    assert model.noise_variance < 1e-30  # 0, or what rounding makes of it
    found = find_latent_model(model, RegressionData(X, y), True, True)
    assert found.means.tolist() == [0.5]
    latent, _ = model.predict_latent_with_stddev(X)
    np.testing.assert_allclose((X - found.means) @ found.coef, latent, rtol=1e-14)
