# SPDX-License-Identifier: BSD-3-Clause
"""scikit-learn's own checks of estimators, none of them expected to fail."""

import pytest
from sklearn.utils.estimator_checks import parametrize_with_checks

from trevalon import LogisticRegression, RidgeRegression, WarpedLinearRegression

ESTIMATORS = [
    RidgeRegression(),
    RidgeRegression("loo", groups="none"),
    RidgeRegression("loo", groups=2, normalize=False),
    LogisticRegression(),
    LogisticRegression("l1"),
    LogisticRegression("elasticnet", fit_intercept=False),
    LogisticRegression("bridge"),
    WarpedLinearRegression(),
    WarpedLinearRegression(n_steps=2, normalize=False),
]


# The checks fit tiny and odd data, where an optimizer may well stop before its tolerance.
@pytest.mark.filterwarnings("ignore::sklearn.exceptions.ConvergenceWarning")
@parametrize_with_checks(ESTIMATORS)
def test_an_estimator_passes_a_check_of_scikit_learn(estimator, check):
    check(estimator)
