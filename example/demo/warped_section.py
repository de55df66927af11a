# SPDX-License-Identifier: BSD-3-Clause
"""Warped linear regression on skewed targets, beside regressions with and without a map."""

from __future__ import annotations

from collections.abc import Callable, Sequence

import numpy as np
from matplotlib.axes import Axes
from scipy.stats import norm
from sklearn.compose import TransformedTargetRegressor
from sklearn.linear_model import LinearRegression
from sklearn.preprocessing import PowerTransformer

from datasets import Dataset
from report import (
    Model,
    milliseconds,
    panels,
    print_table,
    root_mean_square,
    save,
    timed_fit,
)
from trevalon import (
    PredictionIntervalDisplay,
    RidgeRegression,
    WarpDisplay,
    WarpedLinearRegression,
)


def ridge_density(model: RidgeRegression, X: np.ndarray, y: np.ndarray) -> float:
    """Mean negative log density of normal noise as wide as the leave-one-out residuals."""
    return float(
        -norm.logpdf(y, model.predict(X), root_mean_square(model.loo_residuals_)).mean()
    )


def power_density(
    model: TransformedTargetRegressor,
    train: tuple[np.ndarray, np.ndarray],
    test: tuple[np.ndarray, np.ndarray],
) -> float:
    """The same with normal noise on the transformed target; the density is the target's."""

    def transform(y: np.ndarray) -> np.ndarray:
        return np.ravel(model.transformer_.transform(y[:, np.newaxis]))

    X, y = train
    X_test, y_test = test
    residual = transform(y) - model.regressor_.predict(X)
    deviation = np.sqrt(np.square(residual).sum() / (len(y) - X.shape[1] - 1))
    step = 1e-5 * np.abs(y_test).max()
    slope = (transform(y_test + step) - transform(y_test - step)) / (2.0 * step)
    latent = norm.logpdf(transform(y_test), model.regressor_.predict(X_test), deviation)
    return float(-(latent + np.log(slope)).mean())


def draw_map(axes: Axes, dataset: Dataset, model: WarpedLinearRegression) -> None:
    y = dataset.split()[2]
    WarpDisplay.from_estimator(model, ax=axes)
    axes.plot(y, model.warper_.transform(y), "|", markersize=6, alpha=0.5)
    axes.set_title(f"{dataset.name}: learned map", fontsize=9)


def draw_band(axes: Axes, dataset: Dataset, model: WarpedLinearRegression) -> None:
    _, X_test, _, y_test = dataset.split()
    PredictionIntervalDisplay.from_estimator(model, X_test, y_test, coverage=0.9, ax=axes)
    axes.set_title(f"{dataset.name}: held-out fifth", fontsize=9)
    axes.legend(fontsize=7)


def compare(dataset: Dataset) -> tuple[WarpedLinearRegression, list[list[str]]]:
    """The fitted warped model, and a row of the table for it and for each peer."""
    X, X_test, y, y_test = dataset.split()
    warped, ridge = WarpedLinearRegression(), RidgeRegression("loo")
    power = TransformedTargetRegressor(LinearRegression(), transformer=PowerTransformer())
    densities: list[tuple[str, Model, Callable[[], float]]] = [
        (
            "warped",
            warped,
            lambda: float(-warped.log_predictive_density(X_test, y_test).mean()),
        ),
        ("ridge, no map", ridge, lambda: ridge_density(ridge, X_test, y_test)),
        ("PowerTransformer", power, lambda: power_density(power, (X, y), (X_test, y_test))),
    ]
    rows = []
    for name, model, density in densities:
        seconds = timed_fit(model, X, y)
        error = root_mean_square(model.predict(X_test) - y_test)
        row = [dataset.name, *map(str, dataset.X.shape), name]
        rows.append([*row, f"{error:.4g}", f"{density():.4f}", milliseconds(seconds)])
    return warped, rows


def run(skewed_sets: Sequence[Dataset]) -> None:
    rows = []
    page, axes = panels(2 * len(skewed_sets), columns=2)
    for k, dataset in enumerate(skewed_sets):
        model, compared = compare(dataset)
        rows += compared
        draw_map(axes[2 * k], dataset, model)
        draw_band(axes[2 * k + 1], dataset, model)
    print_table(
        "Warped linear regression: error (root mean square) and negative log predictive "
        "density on a held-out fifth",
        ["data set", "n", "p", "model", "error", "neg. log density", "time"],
        rows,
    )
    save(page, "warped-map-and-band")
