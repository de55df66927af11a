# SPDX-License-Identifier: BSD-3-Clause
"""Predictive distributions of the warped estimator: their density, mean, spread and
quantiles against numerical integrals, and the means against the extension module's."""

import itertools
import warnings

import numpy as np
import pytest
from scipy.integrate import quad
from scipy.stats import norm
from sklearn.exceptions import ConvergenceWarning
from sklearn.linear_model import LinearRegression
from trevalon_impl import WarpedLinearRegressionModel

from trevalon import WarpedLinearRegression


@pytest.fixture
def model(skewed):
    return WarpedLinearRegression(n_steps=2).fit(*skewed)


def density(model, row):
    """The predictive density of one row as a function of the target."""
    return lambda y: float(np.exp(model.log_predictive_density(row, [y])[0]))


def integral(model, row, function):
    """Of function times density, over all but 1e-14 of the distribution."""
    knots = model.predict_quantile(row, [5e-15, 0.01, 0.2, 0.5, 0.8, 0.99, 1 - 5e-15])[0]
    p = density(model, row)
    return sum(
        quad(lambda y: function(y) * p(y), a, b, limit=200)[0]
        for a, b in itertools.pairwise(knots)
    )


@pytest.mark.parametrize("i", [0, 7, 31])
def test_mean_and_standard_deviation_are_integrals_of_the_predictive_density(
    skewed, model, i
):
    row = skewed[0][[i]]
    mean, std = model.predict(row, return_std=True)
    assert integral(model, row, lambda y: 1.0) == pytest.approx(1.0, abs=1e-8)
    # 21 points do not resolve the curvature of the map exactly.
    expected = integral(model, row, lambda y: y)
    assert mean[0] == pytest.approx(expected, rel=1e-2)
    variance = integral(model, row, lambda y: (y - expected) ** 2)
    assert std[0] == pytest.approx(np.sqrt(variance), rel=5e-2)


def latent_distribution(skewed, n_steps=2):
    """Means and deviations of the latent values, as the extension module says."""
    native = WarpedLinearRegressionModel(num_steps=n_steps)
    native.fit(*skewed)
    return native.predict_latent_with_stddev(skewed[0])


def test_a_quantile_is_the_inverse_of_the_map_at_the_latent_quantile(skewed, model):
    latent, deviation = latent_distribution(skewed)
    for q in (1e-6, 0.05, 0.5, 0.9):
        expected = model.warper_.inverse_transform(latent + deviation * norm.ppf(q))
        np.testing.assert_allclose(
            model.predict_quantile(skewed[0], q), expected, rtol=1e-9
        )


def test_means_and_deviations_are_sums_over_21_points_of_the_inverse_of_the_map(
    skewed, model
):
    latent, deviation = latent_distribution(skewed)
    nodes, weights = np.polynomial.hermite.hermgauss(21)
    points = latent[:, np.newaxis] + np.sqrt(2.0) * np.multiply.outer(deviation, nodes)
    targets = model.warper_.inverse_transform(points)
    expected = targets @ weights / np.sqrt(np.pi)
    mean, std = model.predict(skewed[0], return_std=True)
    np.testing.assert_allclose(mean, expected, rtol=1e-9)
    np.testing.assert_array_equal(model.predict(skewed[0]), mean)
    squares = (targets - expected[:, np.newaxis]) ** 2 @ weights / np.sqrt(np.pi)
    np.testing.assert_allclose(std, np.sqrt(squares), rtol=1e-8)


@pytest.mark.parametrize("q", [0.05, 0.5, 0.9])
def test_a_quantile_has_its_share_of_the_density_below_it(skewed, model, q):
    row = skewed[0][[3]]
    bottom, quantile = model.predict_quantile(row, [5e-15, q])[0]
    share = quad(density(model, row), bottom, quantile, limit=200)[0]
    assert share == pytest.approx(q, abs=1e-7)


@pytest.mark.parametrize("n_steps", [1, 3])
@pytest.mark.parametrize("fit_intercept", [False, True])
@pytest.mark.parametrize("normalize", [False, True])
@pytest.mark.filterwarnings("ignore::sklearn.exceptions.ConvergenceWarning")
def test_predictions_are_those_of_the_extension_module(
    skewed, n_steps, fit_intercept, normalize
):
    X, y = skewed
    native = WarpedLinearRegressionModel(
        num_steps=n_steps, fit_intercept=int(fit_intercept), normalize=int(normalize)
    )
    native.fit(X, y)
    model = WarpedLinearRegression(
        n_steps, fit_intercept=fit_intercept, normalize=normalize
    ).fit(X, y)
    # The extension module inverts the map to 1e-5.
    np.testing.assert_allclose(
        model.predict(X), native.predict(X), rtol=1e-3, atol=1e-4 * np.ptp(y)
    )
    latent, deviation = native.predict_latent_with_stddev(X)
    np.testing.assert_allclose(model._latent(X)[0], latent, rtol=1e-9, atol=1e-12)
    np.testing.assert_allclose(model._latent(X)[1], deviation, rtol=1e-9)
    values, slopes = native.warper.compute_latent_with_derivative(y)
    # A latent value is a difference of terms as large as the heights.
    rounding = 1e-13 * (1.0 + model.warper_.heights.sum())
    np.testing.assert_allclose(model.warper_.transform(y), values, rtol=1e-9, atol=rounding)
    np.testing.assert_allclose(model.warper_.derivative(y), slopes, rtol=1e-7)


def test_latent_deviations_are_accurate_for_nearly_dependent_columns():
    random = np.random.default_rng(1)
    first = random.normal(size=80)
    X = np.column_stack([first, first + 1e-6 * random.normal(size=80)])
    y = first + 0.1 * random.normal(size=80)
    native = WarpedLinearRegressionModel()
    native.fit(X, y)
    model = WarpedLinearRegression().fit(X, y)
    expected = native.predict_latent_with_stddev(X)[1]
    np.testing.assert_allclose(model._latent(X)[1], expected, rtol=1e-6)


def test_the_warped_model_gives_skewed_targets_more_density_than_a_linear_one(
    skewed, model
):
    X, y = skewed
    residual = y - LinearRegression().fit(X, y).predict(X)
    linear = -0.5 * np.log(2.0 * np.pi * residual.var()) - 0.5
    assert model.log_predictive_density(X, y).mean() > linear + 0.3


def test_intervals_hold_their_share_of_new_targets(model):
    random = np.random.default_rng(99)
    X = random.normal(size=(4000, 2)) * [1.0, 5.0]
    y = np.exp(0.6 * X[:, 0] - 0.1 * X[:, 1] + 0.3 * random.normal(size=4000) + 1.0)
    for coverage in (0.5, 0.9):
        lower, upper = model.predict_interval(X, coverage).T
        assert np.all(lower < upper)
        assert np.mean((lower <= y) & (y <= upper)) == pytest.approx(coverage, abs=0.06)


def test_an_interval_ends_at_the_quantiles_of_its_tails(skewed, model):
    X, _ = skewed
    expected = model.predict_quantile(X, [0.1, 0.9])
    np.testing.assert_allclose(model.predict_interval(X, 0.8), expected, rtol=1e-12)
    assert model.predict_quantile(X, 0.5).shape == (150,)
    assert model.predict_quantile(X, [0.5]).shape == (150, 1)
    np.testing.assert_array_equal(
        model.predict_quantile(X, [0.5])[:, 0], model.predict_quantile(X, 0.5)
    )


def test_the_mean_lies_above_the_median_where_targets_are_skewed_to_the_right(
    skewed, model
):
    X, _ = skewed
    assert np.all(model.predict(X) > model.predict_quantile(X, 0.5))


def test_many_rows_are_predicted_as_each_by_itself(skewed, model):
    X = np.random.default_rng(4).normal(size=(9000, 2))
    together = model.predict(X)
    for i in (0, 4095, 4096, 8999):
        assert together[i] == pytest.approx(model.predict(X[[i]])[0], rel=1e-12)


def test_dependent_columns_get_the_coefficient_0_and_change_no_prediction(skewed, model):
    X, y = skewed
    wider = np.column_stack([np.full(150, 0.1), X, X[:, 0] - X[:, 1], X[:, 0]])
    other = WarpedLinearRegression(n_steps=2).fit(wider, y)
    assert (other.coef_ != 0.0).tolist() == [False, True, True, False, False]
    np.testing.assert_allclose(other.predict(wider), model.predict(X), rtol=1e-9)
    np.testing.assert_allclose(
        other.predict_interval(wider), model.predict_interval(X), rtol=1e-9
    )


def test_two_fits_of_the_same_data_are_the_same(skewed, model):
    other = WarpedLinearRegression(n_steps=2).fit(*skewed)
    np.testing.assert_array_equal(other.warper_.heights, model.warper_.heights)
    np.testing.assert_array_equal(other.coef_, model.coef_)


def test_what_cannot_be_fitted_is_refused_with_a_message(skewed):
    X, y = skewed
    with pytest.raises(ValueError, match="the target is constant"):
        WarpedLinearRegression().fit(X, np.full(150, 3.0))
    with pytest.raises(ValueError, match="every column of X is constant"):
        WarpedLinearRegression().fit(np.ones((150, 2)), y)
    with pytest.raises(ValueError, match="needs more rows than columns"):
        WarpedLinearRegression().fit(X[:2], y[:2])


@pytest.mark.parametrize("q", [0.0, 1.0, -0.1, float("nan"), [0.5, 2.0], "half", None, {}])
def test_quantiles_outside_of_0_and_1_are_refused(skewed, model, q):
    with pytest.raises(ValueError, match=r"^q must be"):
        model.predict_quantile(skewed[0], q)


def test_arrays_of_the_wrong_dimension_are_refused(skewed, model):
    X, _ = skewed
    with pytest.raises(ValueError, match="q must be a number or one-dimensional"):
        model.predict_quantile(X, [[0.5]])
    with pytest.raises(ValueError, match="coverage must be one number"):
        model.predict_interval(X, [0.5, 0.9])
    with pytest.raises(ValueError, match="coverage must be above 0 and below 1"):
        model.predict_interval(X, 1.0)
    with pytest.raises(ValueError, match="inconsistent numbers of samples"):
        model.log_predictive_density(X, [1.0])


@pytest.mark.parametrize("offset", [0.0, 1e3])
@pytest.mark.parametrize("closeness", [1.0, 1e-3, 1e-8])
@pytest.mark.parametrize(("n", "p"), [(60, 3), (60, 1), (40, 20)])
@pytest.mark.parametrize("fit_intercept", [True, False])
def test_the_latent_variance_is_that_of_the_inverse_of_the_centered_product(
    offset, closeness, n, p, fit_intercept
):
    random = np.random.default_rng(n + p)
    X = random.normal(size=(n, p))
    X[:, -1] = X[:, 0] + closeness * X[:, -1]
    X *= np.logspace(-3, 3, p)
    X += offset * X.std(axis=0)
    y = np.exp(random.normal(size=n) / 3)
    model = WarpedLinearRegression(fit_intercept=fit_intercept).fit(X, y)
    Z = X - X.mean(axis=0) if fit_intercept else X
    # Corrects the rounding of the means.
    Z = Z - Z.mean(axis=0) if fit_intercept else Z
    rotated, triangle = np.linalg.qr(Z / np.linalg.norm(Z, axis=0))
    expected = model.noise_variance_ * (1.0 + np.square(rotated).sum(axis=1))
    _, deviation = model._latent(X)
    # A mean is known to half a unit in its last place, which is `offset` spreads large.
    unit = np.linalg.cond(triangle) * np.finfo(np.float64).eps
    rounding = (10.0 + 0.5 * offset) * unit
    np.testing.assert_allclose(np.square(deviation), expected, rtol=1e-7 + rounding)


def test_log_likelihood_and_criterion_are_those_of_the_training_targets(skewed):
    X, y = skewed
    model = WarpedLinearRegression().fit(X, y)
    residual = model.warper_.transform(y) - X @ model.coef_ - model.intercept_
    log_slope = np.log(model.warper_.derivative(y))
    deviation = np.sqrt(np.mean(np.square(residual)))
    expected = norm.logpdf(residual, scale=deviation) + log_slope
    assert model.log_likelihood_ == pytest.approx(expected.sum(), rel=1e-9)
    concentrated = 75 * np.log(residual @ residual) - log_slope.sum()
    assert model.criterion_value_ == pytest.approx(concentrated, rel=1e-9)
    assert model.effective_dof_ == 3.0


def test_units_of_the_target_shift_the_log_likelihood_by_their_logarithm(
    skewed,
):
    X, y = skewed
    model = WarpedLinearRegression().fit(X, y)
    other = WarpedLinearRegression().fit(X, y * 1024.0)
    shift = 150 * np.log(1024.0)
    assert other.log_likelihood_ == pytest.approx(model.log_likelihood_ - shift, rel=1e-9)
    assert other.criterion_value_ == pytest.approx(model.criterion_value_ + shift, rel=1e-9)


def test_the_history_begins_at_the_start_point_and_ends_at_the_map(skewed):
    model = WarpedLinearRegression(init=[0.5, 0.8, 0.1]).fit(*skewed)
    path = model.history_["hyperparameters"]
    assert path[0].tolist() == [0.5, 0.8, 0.1]
    assert np.square(path[-1][0]) == model.warper_.heights[0]
    assert np.square(path[-1][1]) == model.warper_.steepnesses[0]
    assert path[-1][2] == model.warper_.positions[0]
    assert len(path) == model.n_iter_ + 1
    assert model.converged_
    assert model.convergence_ == "tolerance met"
    value = model.history_["value"]
    assert (np.diff(value) <= 0.0).all()
    # The value is that of a target of length 1.
    shift = 150 * np.log(model.warper_.scale)
    assert value[-1] + shift == pytest.approx(model.criterion_value_, abs=1e-4)


def test_a_warm_start_begins_at_the_last_map(skewed):
    model = WarpedLinearRegression(init=0.5, warm_start=True).fit(*skewed)
    first = model.warper_
    model.fit(*skewed)
    start = model.history_["hyperparameters"][0]
    expected = np.sqrt(first.heights), np.sqrt(first.steepnesses), first.positions
    np.testing.assert_allclose(start, np.ravel(expected), rtol=1e-15)
    # A map of another number of steps is no start.
    model.set_params(n_steps=2).fit(*skewed)
    assert model.history_["hyperparameters"][0].tolist() == [0.5] * 6


def test_a_limit_on_iterations_ends_the_fit_and_is_named(skewed):
    with pytest.warns(ConvergenceWarning, match="Use a larger max_iter"):
        model = WarpedLinearRegression(max_iter=2).fit(*skewed)
    assert not model.converged_
    assert (model.n_iter_, model.convergence_) == (2, "limit reached")
    assert np.isfinite(model.predict(skewed[0])).all()


def test_each_iteration_of_a_verbose_fit_writes_a_line(skewed, capfd):
    model = WarpedLinearRegression(verbose=1).fit(*skewed)
    lines = capfd.readouterr().err.splitlines()
    assert len(lines) == model.n_iter_
    assert lines[0].startswith("[WarpedLinearRegression] iteration 1: criterion ")
    WarpedLinearRegression().fit(*skewed)
    assert capfd.readouterr().err == ""


SCALES = [1e-320, 1e-310, 1e-300, 1e-200, 1e-160, 1e-100, 1e100, 1e150, 1e160, 1e300, 1e305]


def fit_or_refusal(normalize, X, y):
    """A fitted model, or the error message."""
    with warnings.catch_warnings():
        warnings.simplefilter("ignore", ConvergenceWarning)
        try:
            return WarpedLinearRegression(normalize=normalize).fit(X, y)
        except ValueError as error:
            return str(error)


@pytest.mark.parametrize("scale", SCALES)
@pytest.mark.parametrize("scaled", ["X", "y"])
@pytest.mark.parametrize("normalize", [True, False])
def test_data_of_any_size_are_fitted_in_finite_numbers_or_refused_with_a_message(
    skewed, scale, scaled, normalize
):
    X, y = skewed
    X, y = (X * scale, y) if scaled == "X" else (X, y * scale)
    model = fit_or_refusal(normalize, X, y)
    if isinstance(model, str):
        assert "cannot be fitted: " in model
        # Data far from both ends of the range must be fitted.
        assert not (normalize and 1e-300 <= scale <= 1e150)
        return
    assert np.isfinite(model.coef_).all()
    assert np.isfinite([model.intercept_, model.noise_variance_]).all()
    assert np.isfinite(model.predict(X, return_std=True)).all()
    lower, upper = model.predict_interval(X, 0.9).T
    assert np.isfinite(lower).all()
    assert np.isfinite(upper).all()
    assert np.all(lower <= upper)
    assert np.isfinite(model.log_predictive_density(X, y)).all()


@pytest.mark.parametrize("exponent", [-1000, -600, 500])
def test_units_of_the_data_are_units_of_the_prediction(skewed, exponent):
    X, y = skewed
    # A power of 2 changes no digit: other ones lead to another point within the tolerance.
    unit = 2.0**exponent
    expected = WarpedLinearRegression().fit(X, y).predict(X)
    model = WarpedLinearRegression().fit(X * unit, y)
    np.testing.assert_allclose(model.predict(X * unit), expected, rtol=1e-13)
    model = WarpedLinearRegression().fit(X, y * unit)
    np.testing.assert_allclose(model.predict(X), expected * unit, rtol=1e-13)
