# SPDX-License-Identifier: BSD-3-Clause
"""Callables that the ridge model calls during a fit: what they are given, what they may
return and raise, and what they may do to the model that calls them."""

import threading

import numpy as np
import pytest
from trevalon_impl import RidgeRegressionModel
from trevalon_internal import make_ridge_regression_model

from bridge_support import OwnError, assert_raises


def fail(*_arguments):
    raise OwnError("my own")


def fitted(problem, **options):
    model = RidgeRegressionModel(**options)
    model.fit(*problem)
    return model


@pytest.mark.parametrize(
    ("options", "sizes"),
    [
        ({"grouping_mode": "none"}, [4]),
        ({"grouping_mode": "all"}, [1]),
        ({"num_groups": 3, "grouping_mode": "none"}, [1, 3]),
        ({"grouper": lambda X, y: [0, 1, 1, 0]}, [2]),
    ],
)
def test_init0_is_called_with_the_number_of_hyperparameters(problem, options, sizes):
    seen = []

    def init0(n):
        seen.append(n)
        return [0.1] * n

    fitted(problem, init0=init0, **options)
    assert seen == sizes
    assert all(type(n) is int for n in seen)


def test_an_init0_of_the_default_start_gives_the_default_fit(problem):
    plain = fitted(problem, grouping_mode="none")
    same = fitted(problem, grouping_mode="none", init0=lambda n: np.full(n, 0.1))
    np.testing.assert_array_equal(plain.weights, same.weights)


def test_a_python_initializer_that_returns_n_plus_1_values_has_incorrect_size(problem):
    model = RidgeRegressionModel(init0=lambda n: [0.1] * (n + 1))
    assert_raises(RuntimeError, "initialization incorrect size", model.fit, *problem)


@pytest.mark.parametrize(
    ("returned", "kind", "text"),
    [
        ("a", TypeError, "must be real number, not str"),
        (None, TypeError, "object of type 'NoneType' has no len()"),
        (0.1, TypeError, "object of type 'float' has no len()"),
        (iter([0.1]), TypeError, "not an iterable"),
        ([], RuntimeError, "initialization incorrect size"),
    ],
)
def test_an_init0_that_returns_no_vector_raises_the_error_of_the_conversion(
    problem, returned, kind, text
):
    model = RidgeRegressionModel(init0=lambda n: returned)
    assert_raises(kind, text, model.fit, *problem)


def test_a_grouper_is_called_with_the_very_objects_that_fit_was_given(problem):
    seen = []

    def grouper(*arguments):
        seen.append(arguments)
        return [0, 0, 1, 1]

    X, y = problem
    fitted((X, y), grouper=grouper)
    [(seen_X, seen_y)] = seen
    assert seen_X is X
    assert seen_y is y


@pytest.mark.parametrize("length", [0, 3, 5])
def test_a_grouper_of_another_length_is_not_sized_correct(problem, length):
    model = RidgeRegressionModel(grouper=lambda X, y: [0] * length)
    text = "variable groupings not sized correct"
    assert_raises(RuntimeError, text, model.fit, *problem)


@pytest.mark.parametrize(
    "groups",
    [[0, 0, 2, 2], [1, 1, 1, 1], [-1, 0, 0, 0], [0, 1, 2, np.nan], [0, 0, 0, 1e300]],
)
def test_a_grouper_whose_numbers_have_a_hole_is_not_correct(problem, groups):
    model = RidgeRegressionModel(grouper=lambda X, y: groups)
    assert_raises(RuntimeError, "variable groupings not correct", model.fit, *problem)


def test_a_grouper_may_number_the_groups_in_any_order(problem):
    X, _ = problem
    model = fitted(
        problem, grouper=lambda X, y: [1, 0, 1, 0], score="loocv", tolerance=1e-9
    )
    other = fitted(
        problem, grouper=lambda X, y: [0, 1, 0, 1], score="loocv", tolerance=1e-9
    )
    np.testing.assert_allclose(model.regularization, other.regularization[::-1], rtol=1e-6)
    np.testing.assert_allclose(model.predict(X), other.predict(X), rtol=1e-9)


@pytest.mark.parametrize(
    "options",
    [{"init0": fail}, {"grouper": fail}, {"grouper": lambda X, y: fail()},
     {"init0": fail, "num_groups": 2}],
)  # fmt: skip
def test_what_a_callable_raises_reaches_the_caller_unchanged(problem, options):
    error = OwnError("the very one")

    def raise_it(*_arguments):
        raise error

    model = RidgeRegressionModel(**{name: raise_it if callable(value) else value
                                    for name, value in options.items()})  # fmt: skip
    with pytest.raises(OwnError) as caught:
        model.fit(*problem)
    assert caught.value is error


@pytest.mark.parametrize("kind", [KeyboardInterrupt, SystemExit, GeneratorExit])
def test_what_is_no_exception_passes_as_well(problem, kind):
    def interrupt(_n):
        raise kind

    with pytest.raises(kind):
        RidgeRegressionModel(init0=interrupt).fit(*problem)


@pytest.mark.parametrize("name", ["init0", "grouper"])
def test_a_callable_that_fails_leaves_the_earlier_fit_intact(problem, name):
    answers = [[0.1], fail, [0.1]] if name == "init0" else [[0] * 4, fail, [0] * 4]

    def answer(*_arguments):
        given = answers.pop(0)
        return given() if callable(given) else given

    model = fitted(problem, **{name: answer})
    before = model.weights
    assert_raises(OwnError, "my own", model.fit, problem[0] * 2, problem[1])
    np.testing.assert_array_equal(model.weights, before)
    model.fit(*problem)
    np.testing.assert_array_equal(model.weights, before)


@pytest.mark.parametrize(
    ("name", "good", "bad", "kind", "text"),
    [
        ("init0", [0.1], "text", TypeError, "must be real number, not str"),
        ("init0", [0.1], [0.1, 0.1], RuntimeError, "initialization incorrect size"),
        ("init0", [0.1], [np.nan], RuntimeError, "failed to fit RidgeRegressionModel"),
        ("grouper", [0] * 4, "text", TypeError, "must be real number, not str"),
        ("grouper", [0] * 4, [0], RuntimeError, "variable groupings not sized correct"),
        ("grouper", [0] * 4, [1] * 4, RuntimeError, "variable groupings not correct"),
    ],
)
def test_a_callable_whose_answer_cannot_be_used_leaves_the_earlier_fit_intact(
    problem, name, good, bad, kind, text
):
    answers = [good, bad, good]
    model = fitted(problem, **{name: lambda *_: answers.pop(0)})
    before = model.weights
    assert_raises(kind, text, model.fit, problem[0] * 2, problem[1])
    np.testing.assert_array_equal(model.weights, before)
    model.fit(*problem)
    np.testing.assert_array_equal(model.weights, before)


@pytest.mark.parametrize("name", ["init0", "grouper"])
def test_an_object_that_cannot_be_called_is_refused_by_fit(problem, name):
    model = RidgeRegressionModel(**{name: 3})
    assert_raises(
        AttributeError, "'int' object has no attribute '__call__'", model.fit, *problem
    )


# Calls back into the model


def refitting_once(model_of, X, y, answer):
    """A callable that, the first time, fits the model to other data before it answers."""
    calls = []

    def callable_(*arguments):
        if not calls:
            calls.append(True)
            model_of().fit(X, y)
            model_of().predict(X)
        return answer(*arguments)

    return callable_


@pytest.mark.parametrize("name", ["init0", "grouper"])
@pytest.mark.parametrize("score", ["loocv", "gcv", "range_risk"])
def test_a_callable_may_fit_the_model_that_calls_it_to_other_data(problem, name, score):
    other_X = np.random.default_rng(1).normal(size=(500, 7))
    other_y = other_X @ np.arange(7.0)
    answer = {
        "init0": lambda n: [0.1] * n,
        "grouper": lambda X, y: [0] * X.shape[1],
    }[name]
    callable_ = refitting_once(lambda: model, other_X, other_y, answer)
    model = RidgeRegressionModel(score=score, grouping_mode="none", **{name: callable_})
    model.fit(*problem)
    plain = fitted(problem, score=score, grouping_mode="none", **{name: answer})
    np.testing.assert_array_equal(model.weights, plain.weights)
    np.testing.assert_array_equal(model.predict(problem[0]), plain.predict(problem[0]))


def test_a_recorded_fit_may_be_entered_again_too(problem):
    X, y = problem
    callable_ = refitting_once(lambda: model, X[:20, :2], y[:20], lambda n: [0.1] * n)
    options = {"record_stats": True, "log": True}
    model = make_ridge_regression_model(optimizer_initializer=callable_, **options)
    model.fit(X, y)
    plain = make_ridge_regression_model(**options)
    plain.fit(X, y)
    np.testing.assert_array_equal(model.weights, plain.weights)


class CallingBack:
    """A matrix whose iteration runs an action after its first row."""

    def __init__(self, X, action):
        self.shape = X.shape
        self._X = X
        self._action = action

    def __iter__(self):
        yield self._X[0]
        self._action()
        yield from self._X[1:]


def test_an_array_may_fit_the_model_while_fit_reads_it(problem):
    X, y = problem
    model = RidgeRegressionModel()
    model.fit(CallingBack(X, lambda: model.fit(X[:9, :2], y[:9])), y)
    np.testing.assert_array_equal(model.weights, fitted(problem).weights)


def test_a_target_may_fit_the_model_while_fit_reads_it(problem):
    X, y = problem
    model = RidgeRegressionModel()

    class Target(list):
        def __iter__(self):
            model.fit(X[:9, :2], y[:9])
            return super().__iter__()

    model.fit(X, Target(y))
    np.testing.assert_array_equal(model.weights, fitted(problem).weights)


def test_an_array_may_fit_the_model_while_predict_reads_it(problem):
    X, y = problem
    model = fitted(problem)
    refitting = CallingBack(X, lambda: model.fit(X[:, :2], y))
    assert_raises(RuntimeError, "X is incorrect shape", model.predict, refitting)
    refitting = CallingBack(X[:, :2], lambda: model.fit(X[:, :2], 2 * y))
    np.testing.assert_allclose(
        model.predict(refitting), fitted((X[:, :2], 2 * y)).predict(X[:, :2]), rtol=1e-12
    )


def test_numpy_may_fit_the_model_while_a_result_is_written(problem, monkeypatch):
    X, y = problem
    model = fitted(problem)
    expected = model.weights.tolist()
    zeros = np.zeros

    def refit_and_make_zeros(shape):
        monkeypatch.setattr(np, "zeros", zeros)
        model.fit(X[:, :2], y)
        return zeros(shape)

    monkeypatch.setattr(np, "zeros", refit_and_make_zeros)
    assert model.weights.tolist() == expected
    assert model.weights.shape == (3,)


@pytest.mark.parametrize("name", ["init0", "grouper"])
def test_a_fit_that_calls_itself_without_end_is_a_recursion_error(problem, name):
    model = RidgeRegressionModel(**{name: lambda *_: model.fit(*problem)})
    with pytest.raises(RecursionError):
        model.fit(*problem)
    assert_raises(RuntimeError, "model not fit", getattr, model, "weights")


def test_a_callable_may_drop_the_last_name_of_the_model_that_calls_it(problem):
    models = []

    def init0(n):
        models.clear()
        return [0.1] * n

    models.append(RidgeRegressionModel(init0=init0))
    fit = models[0].fit
    fit(*problem)
    assert models == []


def test_two_threads_may_be_inside_fits_of_one_model_at_once(problem):
    X, y = problem
    both_inside = threading.Barrier(2, timeout=60)

    def init0(n):
        both_inside.wait()
        return [0.1] * n

    model = RidgeRegressionModel(init0=init0, grouping_mode="none")
    datasets = [(X, y), (X[:20, :3], y[:20])]
    threads = [threading.Thread(target=model.fit, args=data) for data in datasets]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    # The one that ended last has left its result, whole.
    candidates = [fitted(data, grouping_mode="none").weights.tolist() for data in datasets]
    assert model.weights.tolist() in candidates


@pytest.mark.parametrize("score", ["gcv", "loocv"])
def test_a_start_so_small_that_the_normal_matrix_overflows_ends_the_fit(problem, score):
    model = RidgeRegressionModel(score=score, init0=lambda n: [1e-300] * n)
    assert_raises(RuntimeError, "failed to fit RidgeRegressionModel", model.fit, *problem)
