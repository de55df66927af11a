# SPDX-License-Identifier: BSD-3-Clause
"""Ridge regression beside scikit-learn's RidgeCV with 100 alphas."""

from __future__ import annotations

from collections.abc import Sequence
from dataclasses import dataclass

import numpy as np
from matplotlib.axes import Axes
from sklearn.linear_model import RidgeCV
from sklearn.pipeline import Pipeline, make_pipeline
from sklearn.preprocessing import StandardScaler

from datasets import Dataset
from report import few, milliseconds, panels, print_table, root_mean_square, save, timed_fit
from trevalon import RidgeRegression

# Criterion, and which columns share a penalty.
VARIANTS = (("gcv", "all"), ("loo", "all"), ("loo", "none"))
ALPHAS = np.logspace(-6, 6, 100)
# A penalty per column is searched for where there are at most so many columns.
MANY_COLUMNS = 100


@dataclass(frozen=True)
class RidgeFit:
    """What one variant found on one data set."""

    criterion: str
    groups: str
    penalties: np.ndarray  # for standardized columns
    error: float  # root mean square on the held-out fifth
    seconds: float
    prediction: np.ndarray  # of the held-out fifth


def fit_variant(dataset: Dataset, criterion: str, groups: str) -> RidgeFit:
    X, X_test, y, y_test = dataset.split()
    model = RidgeRegression(criterion, groups=groups)
    seconds = timed_fit(model, X, y)
    prediction = model.predict(X_test)
    variance = X.var(axis=0)
    penalties = model.alpha_[variance > 0.0] / variance[variance > 0.0]
    error = root_mean_square(prediction - y_test)
    shown = penalties[:1] if groups == "all" else penalties
    return RidgeFit(criterion, groups, shown, error, seconds, prediction)


def fit_peer(dataset: Dataset) -> tuple[Pipeline, float, float]:
    """RidgeCV on standardized columns, its held-out error and its time."""
    X, X_test, y, y_test = dataset.split()
    # Leave-one-out over the alphas, which RidgeCV does with one factorization.
    peer = make_pipeline(StandardScaler(), RidgeCV(ALPHAS, store_cv_results=True))
    seconds = timed_fit(peer, X, y)
    return peer, root_mean_square(peer.predict(X_test) - y_test), seconds


def draw_criterion(axes: Axes, dataset: Dataset, peer: Pipeline, fit: RidgeFit) -> None:
    """The leave-one-out error over the peer's grid, and the penalty found."""
    curve = np.sqrt(peer[-1].cv_results_.mean(axis=0))
    axes.semilogx(ALPHAS, curve, ".-", markersize=3, linewidth=0.8, label="RidgeCV's grid")
    axes.axvline(fit.penalties[0], color="C3", label="found")
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


def run(regression_sets: Sequence[Dataset]) -> None:
    rows = []
    criterion_page, criterion_axes = panels(len(regression_sets))
    prediction_page, prediction_axes = panels(len(regression_sets))
    for k, dataset in enumerate(regression_sets):
        peer, peer_error, peer_seconds = fit_peer(dataset)
        for criterion, groups in VARIANTS:
            if groups == "none" and dataset.X.shape[1] > MANY_COLUMNS:
                continue
            fit = fit_variant(dataset, criterion, groups)
            row = [dataset.name, *map(str, dataset.X.shape), criterion, groups]
            row += [few(fit.penalties), f"{fit.error:.4g}", milliseconds(fit.seconds)]
            rows.append([*row, f"{peer_error:.4g}", milliseconds(peer_seconds)])
            if (criterion, groups) == ("loo", "all"):
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
