# SPDX-License-Identifier: BSD-3-Clause
"""Ridge fits of data of any magnitude: finite results, or a refusal with a message."""

import itertools
import warnings

import numpy as np
import pytest
from sklearn.exceptions import ConvergenceWarning

from trevalon import RidgeRegression

MAGNITUDES = [1e-320, 1e-310, 1e-300, 1e-200, 1e-160, 1e-150, 1e-100, 1.0, 1e100, 1e150,
              1e155, 1e200, 1e300, 1e307]  # fmt: skip


def make_problem():
    random = np.random.default_rng(8)
    X = random.uniform(-1.0, 1.0, size=(30, 3))
    return X, X[:, 0] + 0.3 * random.uniform(-1.0, 1.0, size=30)


def check(model, X, y):
    """The fit ends and reports finite numbers, or it raises an error with the reason."""
    try:
        with warnings.catch_warnings(), np.errstate(all="raise"):
            warnings.simplefilter("ignore", ConvergenceWarning)
            model.fit(X, y)
    except ValueError as error:
        if "cannot be fitted" not in str(error) and "too large for" not in str(error):
            raise
        return False
    for name in ("coef_", "intercept_", "alpha_", "criterion_value_", "effective_dof_"):
        assert np.isfinite(getattr(model, name)).all(), name
    assert np.isfinite(model.predict(X)).all()
    return True


@pytest.mark.parametrize("normalize", [False, True])
@pytest.mark.parametrize("fit_intercept", [False, True])
@pytest.mark.parametrize("groups", ["all", "none"])
@pytest.mark.parametrize("criterion", ["gcv", "loo", "range_risk"])
def test_data_of_any_magnitude_have_a_finite_fit_or_are_refused(
    criterion, groups, fit_intercept, normalize
):
    X, y = make_problem()
    columns = np.array([1.0, 0.0, 1.0])
    fitted = 0
    for of_X, of_y in itertools.product(MAGNITUDES, repeat=2):
        model = RidgeRegression(
            criterion, groups=groups, fit_intercept=fit_intercept, normalize=normalize
        )
        fitted += check(model, X * of_X, y * of_y)
        # One column of another magnitude than the rest.
        fitted += check(model, X * np.where(columns, 1.0, of_X), y * of_y)
    # The ordinary ones at the least.
    assert fitted >= 20


@pytest.mark.parametrize("alpha", [0.0, 1e-300, 1.0, 1e300])
def test_data_of_any_magnitude_have_a_finite_fit_at_given_strengths_or_are_refused(alpha):
    X, y = make_problem()
    for of_X, of_y in itertools.product(MAGNITUDES, repeat=2):
        check(RidgeRegression(alpha=alpha), X * of_X, y * of_y)


@pytest.mark.parametrize("scale", [1e-290, 1e-200, 1e-160])
def test_small_columns_are_fitted_as_their_multiples(scale):
    X, y = make_problem()
    model = RidgeRegression("loo", groups="none").fit(X, y)
    small = RidgeRegression("loo", groups="none").fit(X * [1.0, scale, 1.0], y)
    np.testing.assert_allclose(small.coef_ * [1.0, scale, 1.0], model.coef_, rtol=1e-4)
    np.testing.assert_allclose(small.leverage_, model.leverage_, rtol=1e-6)


@pytest.mark.parametrize("scale", [1e-290, 1e-200, 1e-160])
def test_a_small_target_is_fitted_as_its_multiple(scale):
    X, y = make_problem()
    model = RidgeRegression("loo", groups="none").fit(X, y)
    small = RidgeRegression("loo", groups="none").fit(X, scale * y)
    np.testing.assert_allclose(small.coef_, scale * model.coef_, rtol=1e-6)
    np.testing.assert_allclose(
        small.loo_residuals_, scale * model.loo_residuals_, rtol=1e-6
    )


def test_a_column_of_denormal_spread_counts_as_constant():
    X, y = make_problem()
    with_noise = RidgeRegression(groups="none").fit(X * [1.0, 1e-310, 1.0], y)
    without = RidgeRegression(groups="none").fit(X * [1.0, 0.0, 1.0], y)
    np.testing.assert_array_equal(with_noise.coef_, without.coef_)
    assert with_noise.coef_[1] == 0.0
