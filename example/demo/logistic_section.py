# SPDX-License-Identifier: BSD-3-Clause
"""Logistic regression beside scikit-learn's LogisticRegressionCV."""

from __future__ import annotations

from collections.abc import Sequence

import numpy as np
from sklearn.calibration import calibration_curve
from sklearn.linear_model import LogisticRegressionCV
from sklearn.metrics import accuracy_score, log_loss
from sklearn.pipeline import Pipeline, make_pipeline
from sklearn.preprocessing import StandardScaler

from datasets import Dataset
from report import few, milliseconds, panels, print_table, save, timed_fit
from trevalon import LogisticRegression

PENALTIES = ("l2", "l1", "elasticnet", "bridge")


def peer_for(penalty: str) -> Pipeline | None:
    """Cross validation over ten strengths, if scikit-learn has it for the penalty."""
    if penalty == "l2":
        search = LogisticRegressionCV(
            l1_ratios=(0.0,), scoring="neg_log_loss", use_legacy_attributes=False
        )
    elif penalty == "l1":
        search = LogisticRegressionCV(
            l1_ratios=(1.0,),
            solver="liblinear",
            scoring="neg_log_loss",
            use_legacy_attributes=False,
        )
    else:
        return None
    return make_pipeline(StandardScaler(), search)


def chosen(model: LogisticRegression, X: np.ndarray) -> str:
    """The distinct strengths for columns of unit length, and the exponents of a bridge."""
    length = np.sqrt(np.square(X - X.mean(axis=0)).sum(axis=0))
    length[length == 0.0] = 1.0
    parts = []
    if model.penalty in ("l2", "elasticnet"):
        parts.append(f"l2 {few(np.unique_values(model.l2_strength_ / length**2)[:1])}")
    if model.penalty in ("l1", "elasticnet"):
        parts.append(f"l1 {few(np.unique_values(model.l1_strength_ / length)[:1])}")
    if model.penalty == "bridge":
        parts.append(f"exponent {few(np.unique_values(model.bridge_exponent_)[:1])}")
    return ", ".join(parts)


def scores(probability: np.ndarray, y: np.ndarray) -> list[str]:
    """Log loss and accuracy of the probabilities of class 1."""
    accuracy = accuracy_score(y, probability >= 0.5)
    return [f"{log_loss(y, probability):.4f}", f"{accuracy:.3f}"]


def run(binary_sets: Sequence[Dataset]) -> None:
    rows = []
    page, axes = panels(len(binary_sets))
    for k, dataset in enumerate(binary_sets):
        X, X_test, y, y_test = dataset.split()
        for penalty in PENALTIES:
            model = LogisticRegression(penalty)
            seconds = timed_fit(model, X, y)
            probability = model.predict_proba(X_test)[:, 1]
            row = [dataset.name, *map(str, dataset.X.shape), penalty, chosen(model, X)]
            row += [*scores(probability, y_test), milliseconds(seconds)]
            peer = peer_for(penalty)
            if peer is None:
                row += ["", "", ""]
            else:
                peer_seconds = timed_fit(peer, X, y, repeats=1)
                peer_probability = peer.predict_proba(X_test)[:, 1]
                row += [*scores(peer_probability, y_test), milliseconds(peer_seconds)]
            rows.append(row)
            share, mean = calibration_curve(
                y_test, probability, n_bins=8, strategy="quantile"
            )
            axes[k].plot(mean, share, "o-", markersize=3, linewidth=0.8, label=penalty)
        axes[k].plot([0, 1], [0, 1], "k-", linewidth=0.5)
        axes[k].set_title(dataset.name, fontsize=9)
        axes[k].set_xlabel("predicted probability", fontsize=8)
        axes[k].set_ylabel("observed share, held-out", fontsize=8)
        axes[k].legend(fontsize=7)
    print_table(
        "Logistic regression: loss and accuracy on a held-out fifth",
        [
            "data set",
            "n",
            "p",
            "penalty",
            "chosen",
            "log loss",
            "accuracy",
            "time",
            "CV log loss",
            "accuracy",
            "time",
        ],
        rows,
    )
    save(page, "logistic-calibration")
