# SPDX-License-Identifier: BSD-3-Clause
"""The calls of the extension module that are tried with requests to the heap refused."""

from __future__ import annotations

import numpy as np
from trevalon_impl import LogisticRegressionModel as Logistic
from trevalon_impl import RidgeRegressionModel as Ridge
from trevalon_impl import WarpedLinearRegressionModel as Warped

from bridge_support import growth
from failing_heap import Heap, Refusal, Scenario


def regression(rows=40, columns=4, seed=5):
    random = np.random.default_rng(seed)
    X = random.normal(size=(rows, columns))
    return X, X @ np.linspace(-1.0, 2.0, columns) + random.normal(size=rows)


def classification(seed=5):
    X, y = regression(60, 3, seed)
    return X, (y > 0.0).astype(float)


def skewed(rows=30, seed=5):
    X, y = regression(rows, 2, seed)
    return X, np.exp(0.3 * y)


ATTRIBUTES = {
    "_RidgeRegressionModel": [
        "weights",
        "regularization",
        "regularization_groups",
        "score",
        "within_tolerance",
    ],
    "_LogisticRegressionModel": ["weights", "hyperparameters", "within_tolerance"],
    "_WarpedLinearRegressionModel": ["regressors", "noise_variance", "within_tolerance"],
}


def read(model):
    return [getattr(model, name) for name in ATTRIBUTES[type(model).__name__]]


def fit(state):
    model, (X, y) = state
    model.fit(X, y)
    return model


def read_attributes(model, _X):
    return read(model)


def factory_scenario(factory, data, **options):
    """A model that is made works."""

    def read_fitted(model):
        model.fit(*data())
        return read(model)

    return Scenario(dict, lambda _: factory(**options), read_fitted)


def fit_scenario(factory, data, **options):
    return Scenario(
        lambda: (factory(**options), data()),
        fit,
        read=read,
    )


def refit_scenario(factory, data, **options):
    """A fit after one to other data, which stays where the second one fails."""

    def prepare():
        model = factory(**options)
        model.fit(*data(seed=6))
        return model, data()

    return Scenario(
        prepare,
        fit,
        read=read,
        kept=lambda state: read(state[0]),
    )


def member_scenario(factory, data, use, **options):
    """What a fitted model gives."""

    def prepare():
        model = factory(**options)
        X, y = data()
        model.fit(X, y)
        return model, X

    return Scenario(prepare, lambda state: use(*state), kept=lambda state: read(state[0]))


def callables():
    return {
        "init0": lambda n: [0.5] * n,
        "grouper": lambda X, y: [j % 2 for j in range(X.shape[1])],
    }


def use_warper(model, _X):
    warper = model.warper
    targets = np.linspace(-1.0, 3.0, 7)
    latents = warper.compute_latent(targets)
    return (
        warper.parameters,
        latents,
        warper.compute_latent_with_derivative(targets),
        warper.invert(latents),
    )


RIDGE = {
    "ridge factory": factory_scenario(Ridge, regression),
    "ridge factory with callables": factory_scenario(Ridge, regression, **callables()),
    "ridge loocv": fit_scenario(Ridge, regression, score="loocv", grouping_mode="none"),
    "ridge gcv": fit_scenario(Ridge, regression, score="gcv", grouping_mode="none"),
    "ridge range_risk": fit_scenario(
        Ridge, regression, score="range_risk", grouping_mode="none"
    ),
    "ridge one penalty": fit_scenario(Ridge, regression, score="loocv"),
    "ridge wide": fit_scenario(Ridge, lambda: regression(12, 20)),
    "ridge callables": refit_scenario(Ridge, regression, score="loocv", **callables()),
    "ridge groups": refit_scenario(Ridge, regression, num_groups=2),
    "ridge dependent columns": fit_scenario(
        Ridge, lambda: (np.repeat(regression()[0], 2, axis=1), regression()[1])
    ),
    "ridge predict": member_scenario(Ridge, regression, lambda model, X: model.predict(X)),
    "ridge predict a column-major matrix": member_scenario(
        Ridge, regression, lambda model, X: model.predict(np.asfortranarray(X))
    ),
    "ridge predict a matrix of integers": member_scenario(
        Ridge, regression, lambda model, X: model.predict(np.rint(X).astype(int))
    ),
    "ridge attributes": member_scenario(Ridge, regression, read_attributes),
}

LOGISTIC = {
    "logistic factory": factory_scenario(Logistic, classification),
    "logistic factory with callables": factory_scenario(
        Logistic, classification, **callables()
    ),
    "logistic callables": refit_scenario(Logistic, classification, **callables()),
    **{
        f"logistic {penalty}": fit_scenario(Logistic, classification, penalty=penalty)
        for penalty in ["l2", "l1", "elasticnet", "bridge"]
    },
    "logistic predict": member_scenario(
        Logistic, classification, lambda model, X: model.predict(X)
    ),
    "logistic predict_proba": member_scenario(
        Logistic, classification, lambda model, X: model.predict_proba(X)
    ),
    "logistic attributes": member_scenario(Logistic, classification, read_attributes),
}

WARPED = {
    "warped factory": factory_scenario(Warped, skewed),
    "warped factory with callables": factory_scenario(
        Warped, skewed, init0=lambda n: [0.5] * n
    ),
    "warped": fit_scenario(Warped, skewed),
    "warped two steps": refit_scenario(Warped, skewed, num_steps=2),
    "warped predict": member_scenario(Warped, skewed, lambda model, X: model.predict(X)),
    "warped predict_latent_with_stddev": member_scenario(
        Warped, skewed, lambda model, X: model.predict_latent_with_stddev(X)
    ),
    "warped attributes": member_scenario(Warped, skewed, read_attributes),
    "warped warper": member_scenario(Warped, skewed, use_warper),
}

# Their scratch memory does not fit the arena.
LARGE = {
    "large ridge": fit_scenario(
        Ridge, lambda: regression(420, 400), score="loocv", tolerance=0.5, **callables()
    ),
    "large predictions": member_scenario(
        Warped,
        lambda: skewed(20000),
        lambda model, X: model.predict_latent_with_stddev(X),
    ),
}

SCENARIOS = RIDGE | LOGISTIC | WARPED | LARGE


def growth_by_failures(name, request):
    """By how many bytes ten thousand fits that fail at this request grow the process."""
    state = SCENARIOS[name].prepare()
    heap = Heap()

    def fail():
        _, error, _ = heap.call(Refusal(request, False, 1), fit, state)
        assert isinstance(error, (MemoryError, RuntimeError)), error

    return growth(fail)
