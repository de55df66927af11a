# SPDX-License-Identifier: BSD-3-Clause
"""The factories of the warped model and the type that they make instances of: keywords,
defaults, checks and their order, tables and doc strings."""

import math

import numpy as np
import pytest
import trevalon_impl
import trevalon_internal
from trevalon_impl import WarpedLinearRegressionModel
from trevalon_internal import make_warped_linear_regression_model

from bridge_support import assert_raises
from warped_support import fitted, regression, snapshot

TOLERANCE = "tolerance must be greater than 0"
NUM_STEPS = "num_steps must be greater than 0"
NUM_WARPER_STEPS = "num warper steps must be greater than 0"
BOTH = pytest.mark.parametrize(
    "factory", [WarpedLinearRegressionModel, make_warped_linear_regression_model]
)


@pytest.fixture
def warped():
    return regression()


# The factories


@pytest.mark.parametrize("num_steps", [0, -1, -(2**31)])
def test_num_steps_of_zero_or_below_fails_with_the_tolerances_message_first(num_steps):
    keywords = {"num_steps": num_steps}
    assert_raises(RuntimeError, NUM_STEPS, WarpedLinearRegressionModel, **keywords)
    keywords["tolerance"] = 0
    assert_raises(RuntimeError, TOLERANCE, WarpedLinearRegressionModel, **keywords)


def test_in_the_internal_factory_the_number_of_steps_goes_ahead_of_the_tolerance():
    factory = make_warped_linear_regression_model
    assert_raises(RuntimeError, NUM_WARPER_STEPS, factory, num_warper_steps=0)
    keywords = {"num_warper_steps": 0, "tolerance": 0}
    assert_raises(RuntimeError, NUM_WARPER_STEPS, factory, **keywords)


@BOTH
@pytest.mark.parametrize("tolerance", [0, -0.0, -1, -math.inf])
def test_a_tolerance_of_zero_or_below_raises(factory, tolerance):
    assert_raises(RuntimeError, TOLERANCE, factory, tolerance=tolerance)


@BOTH
def test_a_tolerance_that_is_nan_passes(factory, warped):
    model = factory(tolerance=math.nan)
    model.fit(*warped)
    assert np.all(np.isfinite(model.predict(warped[0])))


@BOTH
@pytest.mark.parametrize("keywords", [{"tolerance": "x"}, {"unknown": 1}, {"log": 0.5}])
def test_arguments_of_a_wrong_kind_raise_pythons_own_error(factory, keywords):
    with pytest.raises(TypeError):
        factory(**keywords)


def test_too_many_arguments_raise_pythons_own_error_with_the_factorys_name():
    text = "{}() takes at most {} arguments ({} given)"
    for factory, name, limit in (
        (WarpedLinearRegressionModel, "WarpedLinearRegressionModel", 5),
        (make_warped_linear_regression_model, "make_warped_linear_regression_model", 10),
    ):
        arguments = range(limit + 1)
        assert_raises(TypeError, text.format(name, limit, limit + 1), factory, *arguments)


def test_the_plain_factory_takes_its_arguments_in_order(warped):
    X, _ = warped
    in_order = (lambda n: [0.7] * n, 0, 0, 2, 0.01)
    names = ("init0", "fit_intercept", "normalize", "num_steps", "tolerance")
    model = WarpedLinearRegressionModel(*in_order)
    model.fit(*warped)
    by_name = dict(zip(names, in_order, strict=True))
    assert snapshot(model, X) == snapshot(fitted(*warped, **by_name), X)
    assert model.warper.parameters.shape == (6,)


def test_the_defaults_of_the_plain_factory_are_these(warped):
    X, _ = warped
    given = {"init0": None, "fit_intercept": 1, "normalize": 1, "num_steps": 1,
             "tolerance": 0.0001}  # fmt: skip
    assert snapshot(fitted(*warped), X) == snapshot(fitted(*warped, **given), X)


def test_the_defaults_of_the_internal_factory_are_these(warped):
    X, _ = warped
    models = [
        make_warped_linear_regression_model(),
        make_warped_linear_regression_model(1, 1, 1, 1, 1, 0.0001, 0.0, 1, 0),
        make_warped_linear_regression_model(
            center_target=1, center_features=1, rescale_target=1, rescale_features=1,
            num_warper_steps=1, tolerance=0.0001, tolerance2=0.0, record_stats=1, log=0,
        ),
        make_warped_linear_regression_model(record_stats=0, log=1),
    ]  # fmt: skip
    for model in models:
        model.fit(*warped)
    expected = snapshot(models[0], X)
    for model in models[1:]:
        assert snapshot(model, X) == expected


@pytest.mark.parametrize("intercept", [0, 1])
@pytest.mark.parametrize("normalize", [0, 1])
def test_the_plain_factory_is_the_internal_one_with_given_flags(
    warped, intercept, normalize
):
    X, _ = warped
    plain = fitted(
        *warped, fit_intercept=intercept, normalize=normalize, num_steps=2, tolerance=0.01
    )
    same = make_warped_linear_regression_model(
        intercept, intercept, normalize, normalize, 2, tolerance=0.01, tolerance2=0.01
    )
    same.fit(*warped)
    assert snapshot(plain, X) == snapshot(same, X)


# The types


METHOD_DOCS = {
    "fit": "fit the model",
    "make_warper": "make a warper for the given parameters",
    "predict_latent_with_stddev": "make predictions for latent targets",
    "predict": "make predictions",
}
INTERNAL_METHOD_DOCS = {
    "fit": "fit the model",
    "make_objective": "make the objective for the model",
} | METHOD_DOCS
ATTRIBUTE_DOCS = {
    "regressors": "Return the regressors of the underlying linear model",
    "noise_variance": "Return the noise variance of the underlying linear model",
    "warper": "Return the warper for the model",
    "within_tolerance": "Whether the tolerance was met",
}


@pytest.mark.parametrize(
    ("module", "docs"),
    [(trevalon_impl, METHOD_DOCS), (trevalon_internal, INTERNAL_METHOD_DOCS)],
)
def test_every_member_of_the_type_has_its_place_and_its_doc_string(module, docs):
    kind = module._WarpedLinearRegressionModel
    own = [name for name in vars(kind) if not name.startswith("__")]
    expected = docs | ATTRIBUTE_DOCS
    assert {name: getattr(kind, name).__doc__ for name in own} == expected
    assert own == list(expected)


def test_the_type_has_its_name_and_its_doc_string_is_the_factorys_name():
    kind = type(WarpedLinearRegressionModel())
    assert kind is trevalon_impl._WarpedLinearRegressionModel
    assert str(kind) == "<class 'trevalon_impl._WarpedLinearRegressionModel'>"
    assert kind.__doc__ == "WarpedLinearRegressionModel"
    doc = "Constructs a warped linear regression model"
    assert trevalon_impl.WarpedLinearRegressionModel.__doc__ == doc


def test_the_types_have_no_constructor():
    for kind in (trevalon_impl._WarpedLinearRegressionModel, trevalon_impl._TargetWarper):
        with pytest.raises(TypeError, match=r"^cannot create '.*' instances$"):
            kind()
        with pytest.raises(TypeError, match=r"is not safe|cannot create"):
            object.__new__(kind)


def test_make_objective_is_of_the_internal_flavour_alone():
    assert not hasattr(WarpedLinearRegressionModel(), "make_objective")
    assert hasattr(trevalon_internal.WarpedLinearRegressionModel(), "make_objective")
