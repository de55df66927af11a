# SPDX-License-Identifier: BSD-3-Clause
"""Ridge regression beside scikit-learn's RidgeCV with 100 alphas."""

from __future__ import annotations

from collections.abc import Sequence
from dataclasses import dataclass

import numpy as np
from datasets import Dataset
from matplotlib.axes import Axes
from matplotlib.figure import Figure
from report import few, median_time, milliseconds, print_table, root_mean_square, save
from sklearn.linear_model import RidgeCV
from sklearn.pipeline import Pipeline, make_pipeline
from sklearn.preprocessing import StandardScaler
from trevalon_impl import RidgeRegressionModel

# Score mode and what shares a penalty, as the model takes them.
VARIANTS = (("gcv", "all"), ("loocv", "all"), ("loocv", "none"))
ALPHAS = np.logspace(-6, 6, 100)
# A penalty per column is searched for where there are at most so many columns.
MANY_COLUMNS = 100


@dataclass(frozen=True)
class RidgeFit:
    """What one variant found on one data set."""

    score: str
    grouping: str
    penalties: np.ndarray  # t^2, for columns and target of unit length
    error: float  # root mean square on the held-out fifth
    seconds: float
    prediction: np.ndarray  # of the held-out fifth


def fit_variant(dataset: Dataset, score: str, grouping: str) -> RidgeFit:
    X, X_test, y, y_test = dataset.split()
    model = RidgeRegressionModel(score=score, grouping_mode=grouping)
    seconds = median_time(lambda: model.fit(X, y))
    prediction = model.predict(X_test)
    return RidgeFit(
        score,
        grouping,
        np.square(model.regularization),
        root_mean_square(prediction - y_test),
        seconds,
        prediction,
    )


def fit_peer(dataset: Dataset) -> tuple[Pipeline, float, float]:
    """RidgeCV on standardized columns, its held-out error and its time."""
    X, X_test, y, y_test = dataset.split()
    # Leave-one-out over the alphas, which RidgeCV does with one factorization.
    peer = make_pipeline(StandardScaler(), RidgeCV(ALPHAS, store_cv_results=True))
    seconds = median_time(lambda: peer.fit(X, y))
    return peer, root_mean_square(peer.predict(X_test) - y_test), seconds


def draw_criterion(axes: Axes, dataset: Dataset, peer: Pipeline, fit: RidgeFit) -> None:
    """The leave-one-out error over the peer's grid, and the penalty found."""
    n = len(dataset.split()[0])
    curve = np.sqrt(peer[-1].cv_results_.mean(axis=0))
    axes.semilogx(ALPHAS, curve, ".-", markersize=3, linewidth=0.8, label="RidgeCV's grid")
    # A standardized column has length sqrt(n), so that a penalty counts n times there.
    axes.axvline(n * fit.penalties[0], color="C3", label="found")
    axes.set_title(dataset.name, fontsize=9)
    axes.set_xlabel("penalty, standardized columns", fontsize=8)
    axes.set_ylabel("leave-one-out error", fontsize=8)
    axes.tick_params(labelsize=7)
    axes.legend(fontsize=7)


def draw_prediction(axes: Axes, dataset: Dataset, fit: RidgeFit) -> None:
    actual = dataset.split()[3]
    axes.plot(actual, fit.prediction, ".", markersize=3, alpha=0.5)
    ends = [actual.min(), actual.max()]
    axes.plot(ends, ends, "k-", linewidth=0.7)
    axes.set_title(f"{dataset.name}: error {fit.error:.3g}", fontsize=9)
    axes.set_xlabel("held-out target", fontsize=8)
    axes.set_ylabel("prediction", fontsize=8)
    axes.tick_params(labelsize=7)


def panels(count: int) -> tuple[Figure, list[Axes]]:
    """A page of small pictures, at most three in a row."""
    columns = min(3, count)
    rows = -(-count // columns)
    figure = Figure(figsize=(3.6 * columns, 2.9 * rows), layout="constrained")
    grid = figure.subplots(rows, columns, squeeze=False).ravel()
    for unused in grid[count:]:
        unused.set_visible(False)
    return figure, list(grid[:count])


def run(regression_sets: Sequence[Dataset]) -> None:
    rows = []
    criterion_page, criterion_axes = panels(len(regression_sets))
    prediction_page, prediction_axes = panels(len(regression_sets))
    for k, dataset in enumerate(regression_sets):
        n, p = dataset.X.shape
        peer, peer_error, peer_seconds = fit_peer(dataset)
        for score, grouping in VARIANTS:
            if grouping == "none" and p > MANY_COLUMNS:
                continue
            fit = fit_variant(dataset, score, grouping)
            rows.append(
                [
                    dataset.name,
                    str(n),
                    str(p),
                    score,
                    grouping,
                    few(fit.penalties),
                    f"{fit.error:.4g}",
                    milliseconds(fit.seconds),
                    f"{peer_error:.4g}",
                    milliseconds(peer_seconds),
                ]
            )
            if (score, grouping) == ("loocv", "all"):
                draw_criterion(criterion_axes[k], dataset, peer, fit)
                draw_prediction(prediction_axes[k], dataset, fit)
    print_table(
        "Ridge regression: error is the root mean square on a held-out fifth",
        [
            "data set",
            "n",
            "p",
            "score",
            "grouping",
            "penalties",
            "error",
            "time",
            "RidgeCV error",
            "time",
        ],
        rows,
    )
    save(criterion_page, "ridge-criterion")
    save(prediction_page, "ridge-prediction")
