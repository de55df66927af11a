# SPDX-License-Identifier: BSD-3-Clause
"""The map between targets and latent values: its inverse, its slope, its limits."""

import numpy as np
import pytest
from hypothesis import given, settings
from hypothesis import strategies as st
from trevalon_impl import WarpedLinearRegressionModel

from trevalon import TargetWarper

TARGETS = np.linspace(-2.0, 3.0, 41)


def warper(parameters, shift=0.0, scale=1.0):
    return TargetWarper.from_training(np.asarray(parameters), TARGETS, shift, scale)


parameter = st.floats(-30.0, 30.0)


@settings(max_examples=200, deadline=None)
@given(
    st.lists(st.tuples(parameter, parameter, st.floats(-4.0, 4.0)), max_size=4),
    st.floats(-100.0, 100.0),
    st.floats(1e-3, 1e3),
    st.lists(st.floats(-1e4, 1e4), max_size=20),
)
def test_the_map_of_the_inverse_is_the_latent_value_to_within_rounding(
    steps, shift, scale, latent
):
    steps = warper(np.reshape(steps, (-1, 3)).ravel(), shift, scale)
    z = np.array(latent)
    u = (steps.inverse_transform(z) - shift) / scale
    # The map is known to about an ulp of its argument times its slope, and to one of its
    # largest term.
    height = steps.heights.sum()
    slope = 1.0 + steps.heights @ steps.steepnesses
    size = np.abs(u) + (np.abs(shift) + np.abs(z)) / scale + 4.0
    slack = 1e-14 * (np.abs(z) + height + slope * size)
    assert np.all(np.abs(steps.transform(u * scale + shift) - z) <= slack + slope * 1e-13)


def test_a_steep_and_high_step_is_inverted_on_both_of_its_sides_and_inside():
    step = warper([30.0, 1000.0, 0.25])
    u = np.array([-2.0, -0.25 - 1e-7, -0.25, -0.25 + 1e-7, 0.0, 5.0])
    z = step.transform(u)
    found = step.inverse_transform(z)
    np.testing.assert_allclose(step.transform(found), z, rtol=1e-9)
    np.testing.assert_allclose(found, u, atol=1e-12)


def test_latent_values_next_to_0_are_inverted():
    step = warper([1.0, 1.5, 0.3])
    z = np.array([0.0, -0.0, 1e-300, -1e-17, 5e-324])
    found = step.inverse_transform(z)
    np.testing.assert_allclose(found, found[0], rtol=1e-14)
    np.testing.assert_allclose(step.transform(found), 0.0, atol=1e-14)


def test_no_steps_make_a_line():
    line = warper([], shift=3.0, scale=2.0)
    np.testing.assert_array_equal(line.transform([3.0, 7.0]), [0.0, 2.0])
    np.testing.assert_array_equal(line.inverse_transform([0.0, 2.0]), [3.0, 7.0])
    np.testing.assert_array_equal(line.derivative([3.0, 7.0]), [0.5, 0.5])


def test_infinite_latent_values_belong_to_infinite_targets_and_nan_to_nan():
    step = warper([1.0, 1.5, 0.3])
    found = step.inverse_transform([np.inf, 0.5, -np.inf, np.nan])
    assert found[0] == np.inf
    assert found[2] == -np.inf
    assert np.isnan(found[3])
    assert found[1] == pytest.approx(step.inverse_transform(0.5), rel=1e-13)


@pytest.mark.parametrize("shape", [(), (0,), (3,), (2, 3)])
def test_results_have_the_shape_of_the_argument(shape):
    step = warper([1.0, 1.5, 0.3])
    for method in (step.transform, step.inverse_transform, step.derivative):
        assert method(np.full(shape, 0.3)).shape == shape


def test_the_latent_training_targets_have_mean_0_where_the_targets_have():
    step = warper([2.0, 1.5, 0.3, 1.0, 3.0, -1.0], shift=TARGETS.mean(), scale=2.5)
    assert step.transform(TARGETS).mean() == pytest.approx(0.0, abs=1e-14)
    assert step.target_range == (-2.0, 3.0)


def test_the_slope_is_the_derivative():
    step = warper([2.0, 1.5, 0.3, 1.0, 3.0, -1.0], shift=1.0, scale=2.5)
    h = 1e-4
    difference = (step.transform(TARGETS + h) - step.transform(TARGETS - h)) / (2.0 * h)
    np.testing.assert_allclose(step.derivative(TARGETS), difference, rtol=1e-5)


def test_the_map_is_that_of_the_extension_module():
    theta = np.array([1.2, 2.0, -0.4, 0.5, -3.0, 0.1])
    native = WarpedLinearRegressionModel(num_steps=2).make_warper(theta, TARGETS)
    shift = TARGETS.mean()
    step = warper(theta, shift, float(np.linalg.norm(TARGETS - shift)))
    expected = native.compute_latent(TARGETS)
    np.testing.assert_allclose(step.transform(TARGETS), expected, rtol=1e-12, atol=1e-15)
    np.testing.assert_allclose(step.inverse_transform(expected), TARGETS, rtol=1e-10)
