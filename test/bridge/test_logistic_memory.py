# SPDX-License-Identifier: BSD-3-Clause
"""Thousands of logistic fits, good and failing, leave the size of the process alone."""

import pytest
from trevalon_impl import LogisticRegressionModel

from bridge_support import ALLOWED_GROWTH, REPETITIONS, expecting, growth
from logistic_support import PENALTIES, classification, fitted

FITS = 3_000  # a leak of 200 bytes per fit still shows
ALLOWED = ALLOWED_GROWTH * FITS // REPETITIONS


@pytest.fixture
def small():
    return classification(n=24, p=3, seed=1)


@pytest.mark.parametrize("penalty", PENALTIES)
def test_thousands_of_fits_do_not_grow_the_process(small, penalty):
    model = LogisticRegressionModel(penalty=penalty, init0=lambda n: [0.5] * n)
    assert growth(lambda: model.fit(*small), FITS) < ALLOWED


def test_thousands_of_fits_that_fail_do_not_grow_the_process(small, capfd):
    X, y = small
    model = LogisticRegressionModel()
    assert growth(expecting(RuntimeError, model.fit, X, y[:-1]), FITS) < ALLOWED
    assert growth(expecting(RuntimeError, model.fit, X, y * 0.0), FITS) < ALLOWED
    holed = LogisticRegressionModel(grouper=lambda X, y: [0, 2, 0])
    assert growth(expecting(RuntimeError, holed.fit, X, y), FITS) < ALLOWED
    assert len(capfd.readouterr().err.splitlines()) > 2 * FITS


def test_thousands_of_models_and_predictions_do_not_grow_the_process(small):
    X, y = small
    model = fitted(X, y)

    def use():
        LogisticRegressionModel(init0=len, grouper=len)
        model.predict(X)
        model.predict_proba(X)
        return model.weights, model.hyperparameters, model.within_tolerance

    assert growth(use, FITS) < ALLOWED
    assert growth(expecting(RuntimeError, model.predict, X[:, :2]), FITS) < ALLOWED
