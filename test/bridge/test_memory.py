# SPDX-License-Identifier: BSD-3-Clause
"""Nothing leaks: neither memory of the process nor references to what the caller gave."""

import sys

import numpy as np
import pytest
import trevalon_conversion_probe as probe
from trevalon_impl import RidgeRegressionModel
from trevalon_internal import make_ridge_regression_model

from bridge_support import ALLOWED_GROWTH, Shaped, expecting, growth


@pytest.fixture
def small():
    random = np.random.default_rng(3)
    X = random.normal(size=(12, 3))
    return X, X @ [1.0, 0.0, -1.0] + random.normal(size=12)


def fail(*_arguments):
    raise LookupError


def test_the_measure_sees_a_leak_of_the_size_of_a_small_array():
    kept = []
    assert growth(lambda: kept.append(bytearray(288))) > ALLOWED_GROWTH


def test_ten_thousand_fits_do_not_grow_the_process(small):
    model = RidgeRegressionModel()
    assert growth(lambda: model.fit(*small)) < ALLOWED_GROWTH


@pytest.mark.parametrize("score", ["loocv", "gcv", "range_risk"])
@pytest.mark.parametrize("grouping", [{"grouping_mode": "none"}, {"num_groups": 2}])
def test_ten_thousand_fits_of_several_penalties_do_not_grow_the_process(
    small, score, grouping
):
    model = RidgeRegressionModel(score=score, **grouping)
    assert growth(lambda: model.fit(*small)) < ALLOWED_GROWTH


def test_ten_thousand_recorded_fits_of_fresh_models_do_not_grow_the_process(small):
    def live():
        make_ridge_regression_model(record_stats=True, log=True).fit(*small)

    assert growth(live) < ALLOWED_GROWTH


def test_ten_thousand_fits_with_callables_do_not_grow_the_process(small):
    model = RidgeRegressionModel(init0=lambda n: [0.1] * n, grouper=lambda X, y: [0, 0, 1])
    assert growth(lambda: model.fit(*small)) < ALLOWED_GROWTH


def test_ten_thousand_fits_that_fail_do_not_grow_the_process(small):
    X, y = small
    model = RidgeRegressionModel()
    assert growth(expecting(RuntimeError, model.fit, X, y[:-1])) < ALLOWED_GROWTH
    assert growth(expecting(RuntimeError, model.fit, X, y * np.nan)) < ALLOWED_GROWTH
    assert growth(expecting(AttributeError, model.fit, [[1.0]], y)) < ALLOWED_GROWTH
    assert growth(expecting(TypeError, model.fit, X, ["x"] * 12)) < ALLOWED_GROWTH


@pytest.mark.parametrize("name", ["init0", "grouper"])
def test_ten_thousand_fits_whose_callable_fails_do_not_grow_the_process(small, name):
    model = RidgeRegressionModel(**{name: fail})
    assert growth(expecting(LookupError, model.fit, *small)) < ALLOWED_GROWTH


def test_ten_thousand_models_do_not_grow_the_process(small):
    def live():
        model = RidgeRegressionModel(init0=lambda n: [0.1] * n, grouper=fail)
        expecting(LookupError, model.fit, *small)()

    assert growth(live) < ALLOWED_GROWTH


def test_ten_thousand_refused_models_do_not_grow_the_process():
    action = expecting(
        RuntimeError, lambda: RidgeRegressionModel(fail, score="x", grouper=fail)
    )
    assert growth(action) < ALLOWED_GROWTH


def test_ten_thousand_predictions_and_reads_do_not_grow_the_process(small):
    X, y = small
    model = RidgeRegressionModel()
    model.fit(X, y)

    def use():
        model.predict(X)
        return model.weights, model.regularization, model.regularization_groups, model.score

    assert growth(use) < ALLOWED_GROWTH
    assert growth(expecting(RuntimeError, model.predict, X[:, :2])) < ALLOWED_GROWTH


def test_ten_thousand_objectives_do_not_grow_the_process(small):
    model = make_ridge_regression_model()

    def study():
        objective = model.make_objective(*small)
        objective.compute_value([0.1, 0.2, 0.3])
        objective.compute_gradient([0.1, 0.2, 0.3])
        return objective.compute_hessian([0.1, 0.2, 0.3])

    assert growth(study) < ALLOWED_GROWTH


def test_ten_thousand_conversions_that_fail_at_the_last_element_do_not_grow_the_process():
    rows = [[1.0] * 10 for _ in range(5)]
    rows[-1][-1] = "x"
    action = expecting(TypeError, probe.double_matrix, Shaped(rows, (5, 10)))
    assert growth(action) < ALLOWED_GROWTH


def test_the_caller_keeps_every_reference_of_what_he_gave(small):
    X, y = small
    arguments = [X, y, fail, small]

    def init0(n):
        return [0.1] * n

    arguments.append(init0)
    before = [sys.getrefcount(x) for x in arguments]
    for _ in range(50):
        model = RidgeRegressionModel(init0=init0)
        model.fit(X, y)
        model.predict(X)
        failing = RidgeRegressionModel(init0=fail, grouper=fail)
        expecting(LookupError, failing.fit, X, y)()
        expecting(RuntimeError, model.fit, X, y[:-1])()
        expecting(TypeError, model.fit, X, iter(y))()
        expecting(RuntimeError, RidgeRegressionModel, init0, 1, 1, "x")()
    del model, failing
    assert [sys.getrefcount(x) for x in arguments] == before


def test_a_broadcast_array_too_large_for_memory_is_a_memory_error_and_given_back():
    X = np.broadcast_to(np.ones((1, 1)), (2**45, 2**12))
    before = sys.getrefcount(X)
    expecting(MemoryError, probe.double_matrix, X)()
    assert sys.getrefcount(X) == before


def test_ten_thousand_conversions_of_arrays_do_not_grow_the_process(small):
    X, _ = small

    def convert():
        probe.double_matrix(X)
        probe.double_matrix(X[::-1])
        probe.double_vector(X[0])

    assert growth(convert) < ALLOWED_GROWTH


def test_a_model_holds_its_callables_and_drops_them_with_itself():
    def init0(n):
        return [0.1] * n

    alone = sys.getrefcount(init0)
    model = RidgeRegressionModel(init0=init0, grouper=init0)
    assert sys.getrefcount(init0) == alone + 2
    del model
    assert sys.getrefcount(init0) == alone
