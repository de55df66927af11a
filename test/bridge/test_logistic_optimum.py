# SPDX-License-Identifier: BSD-3-Clause
"""No point of a fine grid of hyperparameters has a lower score than the ones that a fit
found, by more than its tolerance. The score at a point of the grid is worked out with numpy
from a fit of its own, started where the point before it ended."""

import numpy as np
import pytest
from sklearn.datasets import load_breast_cancer

from logistic_support import PenalizedFit, classification, coded, fitted, normalized, refit

TOLERANCE = 1e-6
# A missed tolerance of the run counts in units of the score.
ALLOWED = 1e-5


def found_score(X, y, penalty):
    model = fitted(X, y, penalty=penalty, tolerance=TOLERANCE)
    return refit(model, X, y, penalty).score()


class Scores:
    """Scores along a line of hyperparameters, from the strong end to the weak one."""

    def __init__(self, X, y, penalty):
        self.problem = normalized(X), coded(y)
        self.penalty, self.num_features = penalty, X.shape[1]

    def along(self, points):
        start, scores = None, []
        for theta in points:
            fit = PenalizedFit(
                *self.problem, self.penalty, np.repeat(theta, self.num_features),
                self.num_features, start,
            )  # fmt: skip
            start = fit.w
            # A fit that got stuck between two minima of the smoothed penalty says nothing.
            scores.append(fit.score() if fit.gradient_max < 1e-6 else np.inf)
        scores = np.array(scores)
        assert np.mean(np.isfinite(scores)) > 0.9
        return scores


@pytest.mark.parametrize(
    ("penalty", "seed", "count"),
    [*(("l2", seed, 181) for seed in range(5)), *(("l1", seed, 61) for seed in range(5))],
)
def test_no_strength_of_a_fine_grid_over_six_decades_has_a_lower_score(
    penalty, seed, count
):
    """The strength is the square of the hyperparameter."""
    X, y = classification(n=100, p=4, seed=seed)
    found = found_score(X, y, penalty)
    scores = Scores(X, y, penalty).along([[t] for t in np.geomspace(10.0, 0.01, count)])
    assert scores.min() > found * (1.0 - ALLOWED)
    # And the grid is fine enough to come near the lowest score there is.
    assert scores.min() < found * 1.01


# 569 patients with 30 features, many of them strongly correlated.
PATIENTS = load_breast_cancer(return_X_y=True)


def test_no_strength_of_a_fine_grid_has_a_lower_score_on_the_breast_cancer_data():
    X, y = PATIENTS
    found = found_score(X, y, "l2")
    scores = Scores(X, y, "l2").along([[t] for t in np.geomspace(1.0, 0.01, 181)])
    assert scores.min() > found * (1.0 - ALLOWED)
    assert scores.min() < found * 1.01
