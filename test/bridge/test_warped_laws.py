# SPDX-License-Identifier: BSD-3-Clause
"""Warped fits against their definition: the likelihood, the linear model behind the map,
and predictions by quadrature; and data whose map is known."""

import numpy as np
import pytest
from scipy import integrate
from scipy.optimize import approx_fprime
from trevalon_internal import make_warped_linear_regression_model

from bridge_support import assert_raises
from warped_support import Map, fitted, normalized, objective_value, regression

MISMATCHED = "feature_matrix and target_vector are mismatched"


def objective_of(X, y, num_steps=1):
    model = make_warped_linear_regression_model(num_warper_steps=num_steps)
    return model.make_objective(X, y)


def assert_ends_at_a_minimum(model, X, y):
    """No point near its parameters is lower by more than the tolerance, 1e-4."""
    assert model.within_tolerance
    theta = model.warper.parameters
    objective = objective_of(X, y, len(theta) // 3)
    value = objective.compute_value(theta)
    random = np.random.default_rng(0)
    for size in (1e-3, 1e-2, 1e-1):
        for _ in range(20):
            nearby = theta * (1.0 + size * random.normal(size=theta.shape))
            assert objective.compute_value(nearby) > value - 1e-4 * abs(value)


POINTS = [
    [0.5, 1.5, 0.1],
    [-2.0, 0.7, -0.3],
    [0.9, -1.1, 0.2, 0.4, 2.0, -0.1],
    [0.1, 0.2, 0.3, -0.4, 0.5, 0.6, 0.7, 0.8, -0.9],
]


# The objective


@pytest.mark.parametrize("theta", POINTS)
def test_the_value_of_the_objective_is_that_of_the_formula(theta):
    X, y = regression()
    objective = objective_of(X, y, len(theta) // 3)
    assert objective.compute_value(theta) == pytest.approx(
        objective_value(theta, X, y), rel=1e-10
    )


@pytest.mark.parametrize("theta", POINTS)
def test_gradient_and_hessian_are_the_slopes_of_value_and_gradient(theta):
    X, y = regression()
    objective = objective_of(X, y, len(theta) // 3)
    gradient = objective.compute_gradient(theta)
    hessian = objective.compute_hessian(theta)
    by_difference = approx_fprime(theta, objective.compute_value, 1e-7)
    np.testing.assert_allclose(gradient, by_difference, rtol=1e-4, atol=1e-4)
    h = 1e-5
    for i in range(len(theta)):
        step = h * np.eye(len(theta))[i]
        ahead = objective.compute_gradient(theta + step)
        behind = objective.compute_gradient(theta - step)
        np.testing.assert_allclose(
            hessian[i], (ahead - behind) / (2 * h), rtol=1e-5, atol=1e-5
        )
    np.testing.assert_array_equal(hessian, hessian.T)


def test_the_objective_refuses_mismatched_data_and_points_of_another_length():
    X, y = regression()
    model = make_warped_linear_regression_model()
    assert_raises(RuntimeError, MISMATCHED, model.make_objective, X, y[:-1])
    objective = model.make_objective(X, y)
    assert_raises(RuntimeError, "dimensionality error", objective.compute_value, [1.0] * 2)
    text = "feature_matrix has linear dependent columns"
    assert_raises(RuntimeError, text, model.make_objective, np.column_stack([X, X]), y)
    text = "number of features must be less than the number of data points"
    assert_raises(RuntimeError, text, model.make_objective, X[:3], y[:3])


def test_a_constant_target_leaves_the_value_undefined_everywhere():
    X, _ = regression()
    objective = objective_of(X, np.full(60, 2.0))
    text = "value not defined"
    assert_raises(RuntimeError, text, objective.compute_value, [1.0, 1.0, 1.0])


@pytest.mark.parametrize("num_steps", [1, 2])
@pytest.mark.parametrize("seed", range(4))
def test_no_point_near_the_parameters_of_a_fit_is_lower_by_more_than_the_tolerance(
    num_steps, seed
):
    X, y = regression(seed=seed)
    assert_ends_at_a_minimum(fitted(X, y, num_steps=num_steps, tolerance=1e-4), X, y)


def test_the_default_start_point_is_drawn_uniformly_by_numpys_generator_too():
    """Two 32-bit outputs make a number, the first one its lower half."""
    X, y = regression()
    words = np.random.RandomState(0).randint(0, 2**32, size=12, dtype=np.uint64)
    uniform = (words[0::2] + words[1::2] * 2.0**32) / 2.0**64
    given = fitted(X, y, num_steps=2, init0=lambda n: 2.0 * uniform - 1.0)
    drawn = fitted(X, y, num_steps=2)
    np.testing.assert_array_equal(given.warper.parameters, drawn.warper.parameters)
    other = fitted(X, y, num_steps=2, init0=lambda n: [0.3] * n)
    assert np.any(other.warper.parameters != drawn.warper.parameters)


# The linear model, and predictions


@pytest.mark.parametrize("seed", range(3))
def test_regressors_and_noise_are_those_of_least_squares_on_the_latents(seed):
    X, y = regression(seed=seed)
    model = fitted(X, y)
    A = normalized(X)
    z = Map(model.warper.parameters, y).latent(y)
    beta, [squares], _, _ = np.linalg.lstsq(A, z, rcond=None)
    np.testing.assert_allclose(model.regressors, beta, rtol=1e-9, atol=1e-12)
    assert model.noise_variance == pytest.approx(squares / (60 - 3), rel=1e-9)


@pytest.mark.parametrize("seed", range(3))
def test_latent_means_and_deviations_are_those_of_the_textbook(seed):
    """mean x'b, variance s^2 (1 + x'(X'X)^-1 x)"""
    X, y = regression(seed=seed)
    model = fitted(X, y)
    rows = np.random.default_rng(seed).normal(size=(20, 3)) * 3.0
    centered = X - X.mean(axis=0)
    A = normalized(X)
    x = (rows - X.mean(axis=0)) / np.linalg.norm(centered, axis=0)
    spread = np.einsum("ij,jk,ik->i", x, np.linalg.inv(A.T @ A), x)
    latent, stddev = model.predict_latent_with_stddev(rows)
    np.testing.assert_allclose(latent, x @ model.regressors, rtol=1e-9, atol=1e-12)
    expected = np.sqrt(model.noise_variance * (1.0 + spread))
    np.testing.assert_allclose(stddev, expected, rtol=1e-9)
    assert np.all(stddev**2 > model.noise_variance)


@pytest.mark.parametrize("num_steps", [1, 2])
def test_a_prediction_is_the_gauss_hermite_sum_over_the_inverse_map(num_steps):
    X, y = regression()
    model = fitted(X, y, num_steps=num_steps)
    nodes, weights = np.polynomial.hermite.hermgauss(21)
    latent, stddev = model.predict_latent_with_stddev(X)
    scale = np.linalg.norm(y - y.mean())
    for prediction, mean, s in zip(model.predict(X), latent, stddev, strict=True):
        points = mean + np.sqrt(2.0) * s * nodes
        expected = weights @ model.warper.invert(points, tolerance=1e-13) / np.sqrt(np.pi)
        # Inverse values are met to a relative 1e-5 of the latent, and the slope of the map
        # is at least 1 in units of the target's scale.
        allowed = 1e-5 * scale * (weights @ np.abs(points)) / np.sqrt(np.pi)
        assert prediction == pytest.approx(expected, rel=1e-12, abs=allowed)


@pytest.mark.parametrize("seed", range(3))
def test_a_prediction_is_the_mean_of_the_inverse_map_by_adaptive_quadrature(seed):
    X, y = regression(n=200, seed=seed, noise=0.05)
    model = fitted(X, y)
    warper = model.warper
    latent, stddev = model.predict_latent_with_stddev(X[:5])

    def mean_target(mean, s):
        def integrand(u):
            target = warper.invert([mean + s * u], tolerance=1e-12)[0]
            return target * np.exp(-0.5 * u * u) / np.sqrt(2.0 * np.pi)

        return integrate.quad(integrand, -9.0, 9.0, epsabs=1e-10, limit=200)[0]

    expected = [mean_target(*pair) for pair in zip(latent, stddev, strict=True)]
    np.testing.assert_allclose(model.predict(X[:5]), expected, rtol=1e-6)


def test_a_target_that_is_linear_already_is_predicted_as_least_squares_predicts_it():
    X, _ = regression()
    y = X @ [1.0, 2.0, 3.0] + 0.1 * np.random.default_rng(0).normal(size=60)
    A = np.column_stack([X, np.ones(60)])
    linear = A @ np.linalg.lstsq(A, y, rcond=None)[0]
    predictions = fitted(X, y).predict(X)
    np.testing.assert_allclose(predictions, linear, rtol=0.0, atol=0.02 * np.std(y))


# Known maps, and laws


def test_draws_from_a_known_map_recover_the_map():
    """y = sinh(z), of which the map is asinh up to scale and shift."""
    random = np.random.default_rng(5)
    X = random.normal(size=(2000, 2))
    z = X @ [1.0, -0.7] + 0.1 * random.normal(size=2000)
    y = np.sinh(z)
    model = fitted(X, y, num_steps=2)
    at = np.quantile(y, np.linspace(0.05, 0.95, 19))
    latent = model.warper.compute_latent(at)
    assert np.corrcoef(latent, np.arcsinh(at))[0, 1] > 0.999
    linear = np.corrcoef(at, np.arcsinh(at))[0, 1]
    assert linear < 0.99
    fitted_mean = np.sinh(X @ [1.0, -0.7]) * np.exp(0.1**2 / 2.0)
    error = np.std(model.predict(X) - fitted_mean)
    assert error < 0.05 * np.std(y)


OTHER_UNITS = pytest.mark.parametrize(
    ("a", "b"), [(1.0, 64.0), (0.5, -16.0), (1e-6, 0.0), (1000.0, 7.0), (3.3, 1e3)]
)


@OTHER_UNITS
@pytest.mark.parametrize("theta", POINTS)
def test_the_objective_does_not_depend_on_the_units_of_the_target(theta, a, b):
    X, y = regression()
    plain = objective_of(X, y, len(theta) // 3)
    changed = objective_of(X, a * y + b, len(theta) // 3)
    for name in ("compute_value", "compute_gradient", "compute_hessian"):
        expected = np.array(getattr(plain, name)(theta))
        found = getattr(changed, name)(theta)
        np.testing.assert_allclose(
            found, expected, rtol=0.0, atol=1e-9 * np.abs(expected).max()
        )


@pytest.mark.parametrize("num_steps", [1, 2, 3])
def test_targets_that_lost_their_digits_in_other_units_lead_to_a_minimum(num_steps):
    """A shift by ten thousand standard deviations leaves targets of fewer digits."""
    for seed in range(10):
        X, y = regression(seed=seed)
        changed = 3.3 * y + 3e4 * np.std(y)
        assert_ends_at_a_minimum(fitted(X, changed, num_steps=num_steps), X, changed)


@pytest.mark.parametrize("num_steps", [1, 2, 3])
def test_a_power_of_two_scales_the_predictions_to_the_last_bit(num_steps):
    X, y = regression()
    plain = fitted(X, y, num_steps=num_steps)
    for a in (4.0, 2.0**-20):
        changed = fitted(X, a * y, num_steps=num_steps)
        np.testing.assert_array_equal(changed.predict(X), a * plain.predict(X))


@pytest.mark.parametrize("seed", range(3))
def test_scale_and_shift_of_a_column_do_not_matter(seed):
    X, y = regression(seed=seed)
    changed = X * [4.0, 0.01, 100.0] + [3.0, 0.0, -50.0]
    np.testing.assert_allclose(
        fitted(changed, y, tolerance=1e-8).predict(changed),
        fitted(X, y, tolerance=1e-8).predict(X),
        rtol=1e-5,
    )
