# SPDX-License-Identifier: BSD-3-Clause
"""Thousands of warped fits, good and failing, leave the size of the process alone."""

import pytest
from trevalon_impl import WarpedLinearRegressionModel
from trevalon_internal import make_warped_linear_regression_model

from bridge_support import ALLOWED_GROWTH, REPETITIONS, expecting, growth
from warped_support import fitted, regression

FITS = 3_000  # a leak of 200 bytes per fit still shows
ALLOWED = ALLOWED_GROWTH * FITS // REPETITIONS
THETA = [0.5, 1.0, 0.1]


@pytest.fixture
def small():
    return regression(n=20, p=2)


def test_thousands_of_fits_do_not_grow_the_process(small):
    model = WarpedLinearRegressionModel(init0=lambda n: [0.5] * n)
    assert growth(lambda: model.fit(*small), FITS) < ALLOWED


def test_thousands_of_fits_that_fail_do_not_grow_the_process(small):
    X, y = small
    model = WarpedLinearRegressionModel()
    assert growth(expecting(RuntimeError, model.fit, X, y[:-1]), FITS) < ALLOWED
    assert growth(expecting(RuntimeError, model.fit, X, y * 0.0), FITS) < ALLOWED
    wrong = WarpedLinearRegressionModel(init0=lambda n: [0.5])
    assert growth(expecting(RuntimeError, wrong.fit, X, y), FITS) < ALLOWED


def test_thousands_of_handles_and_predictions_do_not_grow_the_process(small):
    X, y = small
    model = fitted(X, y)

    def use():
        handle = model.make_warper(THETA, y)
        latent, _ = handle.compute_latent_with_derivative(y)
        handle.invert(latent)
        expecting(RuntimeError, handle.invert, latent, 0.0)()
        expecting(RuntimeError, model.make_warper, [1.0], y)()
        model.predict(X)
        model.predict_latent_with_stddev(X)
        return model.warper.parameters, model.regressors, model.noise_variance

    assert growth(use, FITS) < ALLOWED


def test_thousands_of_objectives_do_not_grow_the_process(small):
    model = make_warped_linear_regression_model()

    def study():
        objective = model.make_objective(*small)
        return objective.compute_value(THETA), objective.compute_hessian(THETA)

    assert growth(study, FITS) < ALLOWED
