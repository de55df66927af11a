# SPDX-License-Identifier: BSD-3-Clause
"""The calls of the package that are tried with requests to the heap refused."""

import numpy as np

from failing_heap import Scenario
from trevalon import LogisticRegression, RidgeRegression, WarpedLinearRegression


def regression(seed=5):
    random = np.random.default_rng(seed)
    X = random.normal(size=(50, 3))
    return X, X @ [1.0, -1.0, 0.5] + random.normal(size=50)


def classification(seed=5):
    X, y = regression(seed)
    return X, (y > 0.0).astype(int)


def skewed(seed=5):
    X, y = regression(seed)
    return X, np.exp(0.3 * y)


ATTRIBUTES = {
    RidgeRegression: [
        "coef_", "intercept_", "alpha_", "criterion_value_", "converged_", "leverage_",
        "loo_residuals_", "effective_dof_",
    ],
    LogisticRegression: ["classes_", "coef_", "intercept_", "converged_"],
    WarpedLinearRegression: ["coef_", "intercept_", "noise_variance_", "converged_"],
}  # fmt: skip


def read(model):
    return [getattr(model, name) for name in ATTRIBUTES[type(model)]]


def fit(state):
    model, (X, y) = state
    return model.fit(X, y)


def fit_scenario(make, data):
    """A fit after a fit to other data, which remains if the second one fails."""
    return Scenario(
        lambda: (make().fit(*data(seed=6)), data()),
        fit,
        read=read,
        kept=lambda state: read(state[0]),
    )


def member_scenario(make, data, use):
    """The results of a fitted model for rows."""
    return Scenario(
        lambda: (make().fit(*data()), data()[0]),
        lambda state: use(*state),
        kept=lambda state: read(state[0]),
    )


SCENARIOS = {
    "ridge first fit": Scenario(lambda: (RidgeRegression(), regression()), fit, read=read),
    "ridge": fit_scenario(RidgeRegression, regression),
    "ridge groups": fit_scenario(
        lambda: RidgeRegression("loo", groups=["a", "b", "a"]), regression
    ),
    "ridge predict": member_scenario(
        RidgeRegression, regression, lambda model, X: model.predict(X)
    ),
    "logistic": fit_scenario(LogisticRegression, classification),
    "logistic l1": fit_scenario(lambda: LogisticRegression("l1"), classification),
    "logistic predict": member_scenario(
        LogisticRegression,
        classification,
        lambda model, X: (model.predict(X), model.predict_proba(X)),
    ),
    "warped": fit_scenario(WarpedLinearRegression, skewed),
    "warped predict": member_scenario(
        WarpedLinearRegression, skewed, lambda model, X: model.predict(X, return_std=True)
    ),
    "warped interval": member_scenario(
        WarpedLinearRegression, skewed, lambda model, X: model.predict_interval(X)
    ),
    "warped density": member_scenario(
        WarpedLinearRegression,
        skewed,
        lambda model, X: model.log_predictive_density(X, skewed()[1]),
    ),
    "warped warper": member_scenario(
        WarpedLinearRegression,
        skewed,
        lambda model, X: model.warper_.inverse_transform(np.linspace(-1.0, 1.0, 9)),
    ),
}
