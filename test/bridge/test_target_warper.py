# SPDX-License-Identifier: BSD-3-Clause
"""The Python type of a map from targets to latent values."""

import math

import numpy as np
import pytest
import trevalon_impl
from trevalon_impl import WarpedLinearRegressionModel

from bridge_support import assert_raises
from warped_support import Map, fitted, regression

TOLERANCE = "tolerance must be greater than 0"
NO_INVERSE = "cannot invert a latent value that is not finite"
THETAS = [
    [0.8, 1.2, 0.1],
    [-0.8, 1.2, 0.1],
    [0.3, 3.0, -0.2],
    [0.0, 0.0, 0.0],
    [1.0, 2.0, 0.05, 0.5, -4.0, -0.1],
]
TARGETS = regression()[1]


def warper(theta, y=TARGETS, **options):
    """Without a fit; the number of steps is that of theta."""
    options = {"num_steps": len(theta) // 3} | options
    return WarpedLinearRegressionModel(**options).make_warper(theta, y)


METHOD_DOCS = {
    "compute_latent": "compute the latent values corresponding to given target values",
    "compute_latent_with_derivative": "compute the latent values corresponding to given "
    "target values with their derivatives",
    "invert": "compute the target vector that warps to the given latents",
}
PARAMETERS_DOC = "Return the parameters for the warping of the target space"


def test_every_member_of_the_type_has_its_place_and_its_doc_string():
    kind = trevalon_impl._TargetWarper
    own = [name for name in vars(kind) if not name.startswith("__")]
    docs = METHOD_DOCS | {"parameters": PARAMETERS_DOC}
    assert {name: getattr(kind, name).__doc__ for name in own} == docs
    assert own == list(docs)
    assert str(kind) == "<class 'trevalon_impl._TargetWarper'>"
    assert kind.__doc__ == "TargetWarper"


@pytest.mark.parametrize("theta", THETAS)
@pytest.mark.parametrize("intercept", [0, 1])
@pytest.mark.parametrize("normalize", [0, 1])
def test_latents_and_derivatives_are_those_of_the_formula(theta, intercept, normalize):
    made = warper(theta, fit_intercept=intercept, normalize=normalize)
    map_ = Map(theta, TARGETS, bool(intercept), bool(normalize))
    at = np.linspace(-5.0, 15.0, 41)
    latent, derivative = made.compute_latent_with_derivative(at)
    np.testing.assert_allclose(latent, map_.latent(at), rtol=1e-12, atol=1e-13)
    np.testing.assert_allclose(derivative, map_.derivative(at), rtol=1e-11)
    np.testing.assert_array_equal(made.compute_latent(at), latent)
    assert made.parameters.tolist() == theta


def test_the_derivative_is_that_of_the_latent():
    made = warper([0.8, 3.0, 0.1])
    at, h = np.linspace(1.0, 6.0, 11), 1e-5
    difference = (made.compute_latent(at + h) - made.compute_latent(at - h)) / (2 * h)
    _, derivative = made.compute_latent_with_derivative(at)
    np.testing.assert_allclose(derivative, difference, rtol=1e-7)


def test_parameters_of_zero_leave_the_normalized_target_as_it_is():
    made = warper([0.0, 0.0, 0.0])
    expected = (TARGETS - TARGETS.mean()) / np.linalg.norm(TARGETS - TARGETS.mean())
    np.testing.assert_allclose(made.compute_latent(TARGETS), expected, atol=1e-15)


@pytest.mark.parametrize("theta", THETAS)
@pytest.mark.parametrize("tolerance", [1e-5, 1e-12])
def test_invert_of_compute_latent_returns_the_targets_to_within_the_tolerance(
    theta, tolerance
):
    made = warper(theta)
    latent = made.compute_latent(TARGETS)
    found = made.compute_latent(made.invert(latent, tolerance=tolerance))
    np.testing.assert_allclose(found, latent, rtol=tolerance, atol=1e-15)


def test_the_default_tolerance_of_invert_is_1e_5():
    made = warper([0.8, 3.0, 0.1])
    latent = made.compute_latent(TARGETS)
    np.testing.assert_array_equal(made.invert(latent), made.invert(latent, 1e-05))
    assert np.any(made.invert(latent) != made.invert(latent, 1e-12))


@pytest.mark.parametrize("tolerance", [0, 0.0, -1.0, -math.inf])
def test_invert_with_a_tolerance_of_zero_or_below_raises_before_the_array_is_read(
    tolerance,
):
    made = warper([0.8, 3.0, 0.1])
    assert_raises(RuntimeError, TOLERANCE, made.invert, [0.1], tolerance=tolerance)
    assert_raises(RuntimeError, TOLERANCE, made.invert, "no array", tolerance)


def test_a_tolerance_that_is_nan_passes_and_no_solution_can_meet_it():
    assert_raises(
        RuntimeError,
        "solver_max_iterations_exceeded_error",
        warper([0.8, 3.0, 0.1]).invert,
        [0.1],
        math.nan,
    )


@pytest.mark.parametrize("bad", [math.nan, math.inf, -math.inf])
def test_a_latent_that_is_not_finite_has_no_inverse(bad):
    made = warper([0.8, 3.0, 0.1])
    assert_raises(RuntimeError, NO_INVERSE, made.invert, [0.1, bad, 0.2])
    assert made.invert([0.1]).shape == (1,)


@pytest.mark.parametrize("bad", [1e308, -1e308])
def test_a_target_outside_the_range_of_double_raises(bad):
    text = "cannot invert a latent value: its target lies outside the range of double"
    assert_raises(RuntimeError, text, warper([0.8, 3.0, 0.1]).invert, [bad])


def test_empty_vectors_give_empty_vectors():
    made = warper([0.8, 3.0, 0.1])
    assert made.compute_latent([]).shape == (0,)
    assert made.invert([]).shape == (0,)
    latent, derivative = made.compute_latent_with_derivative([])
    assert latent.shape == derivative.shape == (0,)


def test_latents_that_all_equal_that_of_the_center_invert_to_the_center():
    # Targets that are symmetric about their mean and a step at it: the latent there is 0.
    made = warper([0.8, 3.0, 0.0], [1.0, 2.0, 3.0, 4.0, 5.0])
    assert made.invert(np.zeros(3)).tolist() == [3.0, 3.0, 3.0]


@pytest.mark.parametrize("length", [0, 1, 2, 4, 6])
def test_make_warper_refuses_a_theta_of_the_wrong_length(length):
    model = WarpedLinearRegressionModel()
    text = f"theta has {length} parameters, expected 3"
    assert_raises(RuntimeError, text, model.make_warper, [0.5] * length, TARGETS)


@pytest.mark.parametrize(
    ("theta", "text"),
    [
        ([math.nan, 1.0, 1.0], "theta holds a value that is not finite"),
        ([1.0, 1.0, -math.inf], "theta holds a value that is not finite"),
        ([1e200, 1.0, 1.0], "theta is too large: the map overflows"),
    ],
)
def test_make_warper_refuses_a_theta_without_a_map(theta, text):
    model = WarpedLinearRegressionModel()
    assert_raises(RuntimeError, text, model.make_warper, theta, TARGETS)


@pytest.mark.parametrize(
    ("y", "text"),
    [
        ([1.0, math.nan], "target_vector holds a value that is not finite, in row 1"),
        ([math.inf, 1.0], "target_vector holds a value that is not finite, in row 0"),
        ([], "target_vector is empty"),
        ([1e300, -1e300], "target_vector is too large: the sum of its squares overflows"),
    ],
)
def test_make_warper_refuses_targets_that_cannot_be_normalized(y, text):
    model = WarpedLinearRegressionModel()
    assert_raises(RuntimeError, text, model.make_warper, [1.0, 1.0, 1.0], y)


def test_errors_of_the_parser_show_the_names_of_the_formats():
    made = warper([0.8, 3.0, 0.1])
    text = "{}() missing required argument '{}' (pos 1)"
    for name, function in (
        ("compute_latent", made.compute_latent),
        ("compute_latent_with_derivative", made.compute_latent_with_derivative),
    ):
        assert_raises(TypeError, text.format(name, "target"), function)
    # invert goes by the name of its inverse.
    assert_raises(TypeError, text.format("compute_latent", "latent"), made.invert)


def test_arguments_go_by_keyword_too():
    made = warper([0.8, 3.0, 0.1])
    latent = made.compute_latent(target=TARGETS)
    np.testing.assert_array_equal(
        made.compute_latent_with_derivative(target=TARGETS)[0], latent
    )
    np.testing.assert_allclose(made.invert(latent=latent, tolerance=1e-12), TARGETS)


def test_what_is_no_vector_raises_the_error_of_the_conversion():
    made = warper([0.8, 3.0, 0.1])
    for function in (made.compute_latent, made.invert, made.compute_latent_with_derivative):
        assert_raises(TypeError, "not an iterable", function, iter([1.0]))
        assert_raises(TypeError, "must be real number, not str", function, "a")


def test_the_map_of_a_fit_is_that_of_make_warper_with_its_parameters():
    X, y = regression()
    model = fitted(X, y)
    same = model.make_warper(model.warper.parameters, y)
    np.testing.assert_allclose(
        model.warper.compute_latent(y), same.compute_latent(y), rtol=1e-13
    )
