# SPDX-License-Identifier: BSD-3-Clause
"""Warped fits of trevalon._core: the record of a fit against least squares and likelihoods
in numpy, and predictions against adaptive quadrature, root finding and normal
distributions."""

import pickle
from types import SimpleNamespace

import numpy as np
import pytest
from scipy.integrate import quad
from scipy.optimize import brentq
from scipy.special import expit
from scipy.stats import norm

from bridge_support import load_core

core = load_core()


def draw(n=120, p=3, seed=0):
    """Columns of different units, one far from zero, and skewed targets."""
    random = np.random.default_rng(seed)
    Z = random.normal(size=(n, p))
    y = np.exp(Z @ np.linspace(0.5, 0.1, p) + 0.3 * random.normal(size=n))
    return Z * np.logspace(-2, 2, p) + np.linspace(0.0, 300.0, p), y


def standardize(state, y):
    return (y - state["shift"]) / state["scale"]


def steps_of(state):
    keys = ("heights", "steepnesses", "positions", "step_means")
    return zip(*(state[key] for key in keys), strict=True)


def one_minus_tanh(x):
    """Keeps the digits that tanh has lost near 1, where heights of 1e6 show them."""
    return 2.0 * expit(-2.0 * x)


def warp(state, y):
    u = standardize(state, y)
    return u + sum(
        a * ((1.0 - h) - one_minus_tanh(b * (u + c))) for a, b, c, h in steps_of(state)
    )


def log_slope(state, y):
    u = standardize(state, y)
    steps = sum(a * b / np.cosh(b * (u + c)) ** 2 for a, b, c, _ in steps_of(state))
    return np.log1p(steps) - np.log(state["scale"])


def unwarp(state, z):
    """By bracketing: the map differs from a line by the sum of its heights at most."""
    most = 2.0 * state["heights"].sum() + 1.0
    u = brentq(
        lambda u: warp(state, u * state["scale"] + state["shift"]) - z,
        z - most, z + most, xtol=1e-15, rtol=1e-15,
    )  # fmt: skip
    return u * state["scale"] + state["shift"]


def with_ones(X, fit_intercept):
    return np.column_stack([X, np.ones(len(X))]) if fit_intercept else X


def fitted(n_steps=2, fit_intercept=True, normalize=True, seed=0):
    X, y = draw(seed=seed)
    result = core.fit_warped(
        X, y, n_steps=n_steps, fit_intercept=fit_intercept, normalize=normalize, tol=1e-6
    )
    return SimpleNamespace(X=X, y=y, **result)


@pytest.mark.parametrize("fit_intercept", [True, False])
@pytest.mark.parametrize("normalize", [True, False])
def test_the_latent_model_is_least_squares_of_the_mapped_targets(fit_intercept, normalize):
    fit = fitted(fit_intercept=fit_intercept, normalize=normalize)
    design = with_ones(fit.X, fit_intercept)
    z = warp(fit.state, fit.y)
    expected = np.linalg.lstsq(design / np.linalg.norm(design, axis=0), z, rcond=None)[0]
    expected /= np.linalg.norm(design, axis=0)
    found = np.append(fit.coef, fit.intercept) if fit_intercept else fit.coef
    np.testing.assert_allclose(found, expected, rtol=1e-8)
    squares = np.square(z - fit.X @ fit.coef - fit.intercept).sum()
    assert fit.noise_variance == pytest.approx(squares / (120 - 3), rel=1e-9)
    assert fit.effective_dof == 3 + fit_intercept


@pytest.mark.parametrize("normalize", [True, False])
def test_the_log_likelihood_is_that_of_normal_latent_values_times_the_slope(normalize):
    fit = fitted(n_steps=1, normalize=normalize)
    z, mean = warp(fit.state, fit.y), fit.X @ fit.coef + fit.intercept
    deviation = np.sqrt(np.mean((z - mean) ** 2))
    expected = norm.logpdf(z, mean, deviation) + log_slope(fit.state, fit.y)
    assert fit.log_likelihood == pytest.approx(expected.sum(), rel=1e-10)


def concentrated(X, y, theta, scale):
    """The criterion as a function of (alpha, beta, gamma) per step, without a boundary."""
    alpha, beta, gamma = np.reshape(theta, (-1, 3)).T
    u = (y - y.mean()) / scale
    z, slope = u.copy(), np.ones_like(u)
    for a, b, c in zip(alpha**2, beta**2, gamma, strict=True):
        gap = one_minus_tanh(b * (u + c))
        z += a * (gap.mean() - gap)
        slope += a * b / np.cosh(b * (u + c)) ** 2
    design = with_ones((X - X.mean(axis=0)) / X.std(axis=0), True)
    residual = z - design @ np.linalg.lstsq(design, z, rcond=None)[0]
    return 0.5 * len(y) * np.log(residual @ residual) - np.log(slope / scale).sum()


def test_the_criterion_is_at_a_minimum_of_its_formula():
    fit = fitted(n_steps=1)
    scale = np.linalg.norm(fit.y - fit.y.mean())
    theta = fit.hyperparameters
    least = concentrated(fit.X, fit.y, theta, scale)
    assert fit.criterion_value == pytest.approx(least, rel=1e-10)
    assert fit.converged
    assert fit.end == "tolerance met"
    for direction in np.random.default_rng(1).normal(size=(20, 3)):
        for step in (1e-3, 1e-2):
            moved = theta + step * direction * np.abs(theta)
            assert concentrated(fit.X, fit.y, moved, scale) > least - 1e-6


def latent_distribution(fit, rows):
    """v (1 + x' inverse(X'X) x), all centered, by an inverse matrix of scaled columns."""
    lengths = fit.X.std(axis=0)
    centered = (fit.X - fit.X.mean(axis=0)) / lengths
    x = (rows - fit.X.mean(axis=0)) / lengths
    leverage = np.einsum("ij,jk,ik->i", x, np.linalg.inv(centered.T @ centered), x)
    mean = rows @ fit.coef + fit.intercept
    return mean, np.sqrt(fit.noise_variance * (1.0 + leverage))


@pytest.mark.parametrize("order", ["C", "F"])
def test_latent_means_and_deviations_are_those_of_least_squares(order):
    fit = fitted()
    rows = np.asarray(fit.X[:50], order=order)
    mean, deviation = core.warped_predict(fit.state, rows, "latent")
    expected = latent_distribution(fit, rows)
    np.testing.assert_allclose(mean, expected[0], rtol=1e-9, atol=1e-11)
    np.testing.assert_allclose(deviation, expected[1], rtol=1e-10)
    spread = (rows - fit.X.mean(axis=0)) @ fit.covariance_root
    np.testing.assert_allclose(
        deviation, np.sqrt(fit.noise_variance * (1.0 + np.square(spread).sum(axis=1)))
    )


def expectation(fit, mean, deviation, function):
    """Of a function of the target, by adaptive quadrature over the latent value."""
    return quad(
        lambda t: norm.pdf(t) * function(unwarp(fit.state, mean + t * deviation)),
        -9.0, 9.0, limit=200, epsabs=0.0, epsrel=1e-9,
    )[0]  # fmt: skip


@pytest.mark.parametrize("i", [0, 17])
def test_means_and_deviations_are_integrals_over_the_latent_distribution(i):
    fit = fitted(n_steps=1)
    rows = fit.X[[i]]
    mean, deviation = core.warped_predict(fit.state, rows, "moments")
    (m,), (s,) = latent_distribution(fit, rows)
    expected = expectation(fit, m, s, lambda y: y)
    variance = expectation(fit, m, s, lambda y: (y - expected) ** 2)
    # 21 points do not follow the bend of the map exactly.
    assert mean[0] == pytest.approx(expected, rel=1e-3)
    assert deviation[0] == pytest.approx(np.sqrt(variance), rel=1e-2)


def test_means_and_deviations_are_sums_over_21_points():
    fit = fitted()
    rows = fit.X[:40]
    mean, deviation = core.warped_predict(fit.state, rows, "moments")
    nodes, weights = np.polynomial.hermite.hermgauss(21)
    for i, (m, s) in enumerate(zip(*latent_distribution(fit, rows), strict=True)):
        targets = np.array([unwarp(fit.state, m + np.sqrt(2.0) * s * t) for t in nodes])
        expected = weights @ targets / np.sqrt(np.pi)
        variance = weights @ np.square(targets - expected) / np.sqrt(np.pi)
        assert mean[i] == pytest.approx(expected, rel=1e-9)
        assert deviation[i] == pytest.approx(np.sqrt(variance), rel=1e-8)
    np.testing.assert_array_equal(core.warped_predict(fit.state, rows, "mean"), mean)


def test_a_quantile_is_where_the_normal_distribution_of_latent_values_has_its_share():
    fit = fitted()
    rows, shares = fit.X[:30], np.array([0.9, 1e-6, 0.5])
    found = core.warped_predict(fit.state, rows, "quantiles", norm.ppf(shares))
    assert found.shape == (30, 3)
    for i, (m, s) in enumerate(zip(*latent_distribution(fit, rows), strict=True)):
        below = norm.cdf((warp(fit.state, found[i]) - m) / s)
        np.testing.assert_allclose(below, shares, rtol=1e-8)


def test_the_density_is_the_derivative_of_the_distribution():
    fit = fitted(n_steps=1)
    found = core.warped_predict(fit.state, fit.X, "log_density", fit.y)
    mean, deviation = latent_distribution(fit, fit.X)

    def below(y):
        return norm.cdf((warp(fit.state, y) - mean) / deviation)

    h = 1e-5 * fit.y
    slope = (below(fit.y + h) - below(fit.y - h)) / (2.0 * h)
    usual = np.exp(found) * fit.y > 1e-3
    assert usual.sum() > 100
    np.testing.assert_allclose(np.exp(found)[usual], slope[usual], rtol=1e-4)


def test_a_prediction_depends_on_its_own_row_alone():
    fit = fitted()
    X = np.tile(fit.X, (60, 1))
    together = core.warped_predict(fit.state, X, "mean")
    for i in (0, 3000, 7199):
        alone = core.warped_predict(fit.state, X[[i]], "mean")[0]
        assert together[i] == pytest.approx(alone, rel=1e-12)


def test_the_map_its_slope_and_its_inverse_are_those_of_the_formula():
    fit = fitted()
    y = np.linspace(fit.y.min() - 1.0, fit.y.max() + 1.0, 700)
    z = core.warp_transform(fit.state, y)
    # A latent value is a difference of terms as large as the heights.
    rounding = 1e-15 * (1.0 + fit.state["heights"].sum())
    np.testing.assert_allclose(z, warp(fit.state, y), rtol=1e-11, atol=rounding)
    np.testing.assert_allclose(
        core.warp_derivative(fit.state, y), np.exp(log_slope(fit.state, y)), rtol=1e-9
    )
    expected = np.array([unwarp(fit.state, entry) for entry in z])
    error = np.abs(core.warp_inverse(fit.state, z) - expected)
    blur = rounding / np.exp(log_slope(fit.state, expected))
    assert np.all(error <= 1e-11 * np.abs(expected) + 2.0 * blur)
    again = core.make_warp(
        fit.hyperparameters, fit.y, fit.state["shift"], fit.state["scale"]
    )
    for key, value in again.items():
        np.testing.assert_allclose(value, fit.state[key], rtol=1e-12, atol=1e-15)


def test_a_state_predicts_the_same_after_pickling():
    fit = fitted()
    state = pickle.loads(pickle.dumps(fit.state))
    np.testing.assert_array_equal(
        core.warped_predict(state, fit.X, "mean"),
        core.warped_predict(fit.state, fit.X, "mean"),
    )


def test_the_history_is_what_the_observer_saw():
    X, y = draw()
    seen = []
    fit = core.fit_warped(X, y, n_steps=1, observer=lambda *record: seen.append(record))
    history = fit["history"]
    assert [record[0] for record in seen] == list(range(fit["n_iter"] + 1))
    np.testing.assert_array_equal([record[1] for record in seen], history["value"])
    np.testing.assert_array_equal(
        [record[4] for record in seen], history["hyperparameters"]
    )
    np.testing.assert_array_equal(history["hyperparameters"][-1], fit["hyperparameters"])
    assert fit["n_evaluations"] > fit["n_iter"]
    again = core.fit_warped(X, y, n_steps=1, start=fit["hyperparameters"])
    np.testing.assert_array_equal(
        again["history"]["hyperparameters"][0], fit["hyperparameters"]
    )
    limited = core.fit_warped(X, y, n_steps=1, max_iter=2)
    assert (limited["n_iter"], limited["end"]) == (2, "limit reached")
    assert not limited["converged"]


def test_what_an_observer_raises_ends_the_fit():
    class StopError(Exception):
        pass

    def stop(iteration, *_):
        if iteration == 1:
            raise StopError

    X, y = draw()
    with pytest.raises(StopError):
        core.fit_warped(X, y, observer=stop)


@pytest.mark.parametrize(
    ("spoil", "reason"),
    [
        (lambda X, y: (X, np.full_like(y, 2.0)), "constant target"),
        (lambda X, y: (X, y * 1e-320), "constant target"),
        (lambda X, y: (np.ones_like(X), y), "constant columns"),
        (lambda X, y: (X * 1e-315, y), "constant columns"),
        (lambda X, y: (X * 1e200, y), "squares overflow"),
        (lambda X, y: (X, y * 1e200), "squares overflow"),
    ],
)
def test_a_fit_that_cannot_be_carried_out_gives_its_reason(spoil, reason):
    with pytest.raises(core.FitError, match=f"^{reason}$"):
        core.fit_warped(*spoil(*draw()))


def is_finite(value):
    if isinstance(value, dict):
        return all(is_finite(entry) for entry in value.values())
    return not isinstance(value, float | np.ndarray) or bool(np.all(np.isfinite(value)))


SCALES = [1e-320, 1e-310, 1e-300, 1e-200, 1e-160, 1e-100, 1e100, 1e150, 1e160, 1e300, 1e307]


@pytest.mark.parametrize("scale", SCALES)
@pytest.mark.parametrize("scaled", ["X", "y"])
@pytest.mark.parametrize("normalize", [True, False])
def test_data_of_any_size_are_fitted_in_finite_numbers_or_refused(scale, scaled, normalize):
    X, y = draw(p=2)
    with np.errstate(over="ignore"):
        X, y = (X * scale, y) if scaled == "X" else (X, y * scale)
    if not (np.isfinite(X).all() and np.isfinite(y).all()):
        pytest.skip("the data themselves overflow")
    try:
        fit = core.fit_warped(X, y, normalize=normalize)
    except core.FitError:
        return
    run = ("history", "criterion_value", "log_likelihood")
    assert is_finite({key: fit[key] for key in fit if key not in run})
    for what in ("mean", "moments", "latent"):
        assert np.isfinite(core.warped_predict(fit["state"], X, what)).all()
    ends = core.warped_predict(fit["state"], X, "quantiles", np.array([-1.6, 0.0, 1.6]))
    assert np.isfinite(ends).all()
    assert (np.diff(ends) >= 0.0).all()


@pytest.mark.parametrize("key", ["columns", "weights", "heights", "shift"])
def test_a_state_without_one_of_its_parts_is_refused(key):
    fit = fitted()
    state = {name: value for name, value in fit.state.items() if name != key}
    with pytest.raises(ValueError, match=f"no item {key}"):
        core.warped_predict(state, fit.X, "mean")


def test_rows_and_questions_that_do_not_fit_are_refused():
    fit = fitted()
    with pytest.raises(ValueError, match="another number of columns"):
        core.warped_predict(fit.state, fit.X[:, :2], "mean")
    with pytest.raises(ValueError, match="what must be"):
        core.warped_predict(fit.state, fit.X, "median")
    with pytest.raises(ValueError, match="differ in their number of rows"):
        core.warped_predict(fit.state, fit.X, "log_density", fit.y[:-1])
    with pytest.raises(TypeError, match="argument must be a numpy array"):
        core.warped_predict(fit.state, fit.X, "quantiles")
    with pytest.raises(ValueError, match="wrong number of parameters"):
        core.fit_warped(fit.X, fit.y, start=np.ones(2))
