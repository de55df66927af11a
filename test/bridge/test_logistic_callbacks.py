# SPDX-License-Identifier: BSD-3-Clause
"""Callables that the logistic model calls during a fit, arrays that call back into it, and
the memory that all of this leaves behind."""

import sys

import numpy as np
import pytest
from trevalon_impl import LogisticRegressionModel

from bridge_support import OwnError, assert_raises
from logistic_support import PENALTIES, classification, fitted

FAILED = "failed to fit LogisticRegressionModel"


@pytest.fixture
def classes():
    return classification()


def fail(*_arguments):
    raise OwnError("my own")


@pytest.mark.parametrize(
    ("options", "size"),
    [
        ({"penalty": "l2"}, 1),
        ({"penalty": "bridge"}, 2),
        ({"penalty": "l1", "grouper": lambda X, y: [0, 1, 1, 2]}, 3),
        ({"penalty": "elasticnet", "grouper": lambda X, y: [0, 1, -1, 1]}, 4),
    ],
)
def test_init0_is_called_with_the_number_of_hyperparameters(classes, options, size):
    seen = []

    def init0(n):
        seen.append(n)
        return [0.5] * n

    model = fitted(*classes, init0=init0, **options)
    assert seen == [size]
    assert model.hyperparameters.shape == (size,)


@pytest.mark.parametrize("returned", [[], [0.1, 0.1]])
def test_an_init0_of_another_length_has_incorrect_size(classes, returned):
    model = LogisticRegressionModel(init0=lambda n: returned)
    assert_raises(RuntimeError, "initialization incorrect size", model.fit, *classes)


@pytest.mark.parametrize("penalty", PENALTIES)
@pytest.mark.parametrize("start", [np.nan, np.inf, -np.inf, 1e200])
def test_an_init0_where_the_score_is_not_defined_fails_to_fit(classes, penalty, start):
    model = LogisticRegressionModel(penalty=penalty, init0=lambda n: [start] * n)
    assert_raises(RuntimeError, FAILED, model.fit, *classes)


def test_a_grouper_is_called_with_the_very_objects_that_fit_was_given(classes):
    seen = []

    def grouper(*arguments):
        seen.append(arguments)
        return [0, 0, 1, 1]

    X, y = classes
    model = fitted(X, y, grouper=grouper)
    [(seen_X, seen_y)] = seen
    assert seen_X is X
    assert seen_y is y
    assert model.hyperparameters.shape == (2,)


@pytest.mark.parametrize("penalty", PENALTIES)
@pytest.mark.parametrize("groups", [[0, 2, 0, 0], [1, 1, 1, 1], [-2, 0, 0, 0],
                                    [0, 1, 2, np.nan]])  # fmt: skip
def test_a_grouper_with_a_hole_is_not_correct_and_leaves_the_earlier_fit(
    classes, penalty, groups, capfd
):
    answers = [[0, 0, 0, 0], groups]
    model = fitted(*classes, penalty=penalty, grouper=lambda X, y: answers.pop(0))
    before = model.weights.tolist()
    assert_raises(RuntimeError, "variable groupings not correct", model.fit, *classes)
    assert model.weights.tolist() == before
    assert capfd.readouterr().err == ""


@pytest.mark.parametrize("length", [0, 3, 5])
def test_a_grouper_of_another_length_is_not_sized_correct(classes, length):
    model = LogisticRegressionModel(grouper=lambda X, y: [0] * length)
    assert_raises(RuntimeError, "variable groupings not sized correct", model.fit, *classes)


@pytest.mark.parametrize("penalty", PENALTIES)
@pytest.mark.parametrize("intercept", [0, 1])
def test_minus_1_for_every_column_fails_to_fit_as_nothing_is_left_to_choose(
    classes, penalty, intercept, capfd
):
    answers = [[0] * 4, [-1] * 4]
    model = fitted(
        *classes, penalty=penalty, fit_intercept=intercept,
        grouper=lambda X, y: answers.pop(0),
    )  # fmt: skip
    before = model.weights.tolist()
    assert_raises(RuntimeError, FAILED, model.fit, *classes)
    assert model.weights.tolist() == before
    text = "no column has a penalty: there is nothing to optimize\n"
    assert capfd.readouterr().err == text


def test_minus_1_takes_a_column_out_of_the_penalty_and_its_weight_is_free(classes):
    """The derivative of the loss alone vanishes for a free weight, and for no other."""
    X, y = classes
    model = fitted(X, y, grouper=lambda X, y: [-1, 0, 0, 0], tolerance=1e-9)
    residual = model.predict_proba(X)[:, 1] - y
    slope = (X - X.mean(axis=0)).T @ residual
    assert abs(slope[0]) < 1e-7
    assert np.all(np.abs(slope[1:]) > 1e-4)


@pytest.mark.parametrize("name", ["init0", "grouper"])
def test_what_a_callable_raises_reaches_the_caller_and_the_earlier_fit_stays(
    classes, name, capfd
):
    answers = [[0] * 4 if name == "grouper" else [1.0], None]

    def answer(*_arguments):
        return answers.pop(0) or fail()

    model = fitted(*classes, **{name: answer})
    before = model.weights.tolist()
    assert_raises(OwnError, "my own", model.fit, *classes)
    assert model.weights.tolist() == before
    assert capfd.readouterr().err == ""


@pytest.mark.parametrize("name", ["init0", "grouper"])
def test_an_object_that_cannot_be_called_is_refused_by_fit(classes, name):
    text = "'int' object has no attribute '__call__'"
    model = LogisticRegressionModel(**{name: 3})
    assert_raises(AttributeError, text, model.fit, *classes)


# Calls back into the model


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


@pytest.mark.parametrize("name", ["init0", "grouper"])
@pytest.mark.parametrize("penalty", PENALTIES)
def test_a_callable_may_fit_the_model_that_calls_it_to_other_data(classes, name, penalty):
    other = classification(n=200, p=7, seed=3)
    calls = []

    def answer(*arguments):
        if not calls:
            calls.append(True)
            model.fit(*other)
            model.predict(other[0])
        return plain_answer(*arguments)

    plain_answer = {"init0": lambda n: [0.7] * n, "grouper": lambda X, y: [0] * X.shape[1]}[
        name
    ]
    model = LogisticRegressionModel(penalty=penalty, **{name: answer})
    model.fit(*classes)
    plain = fitted(*classes, penalty=penalty, **{name: plain_answer})
    np.testing.assert_array_equal(model.weights, plain.weights)


def test_an_array_may_fit_the_model_while_fit_reads_it(classes):
    X, y = classes
    model = LogisticRegressionModel()
    model.fit(CallingBack(X, lambda: model.fit(X[:40, :2], y[:40])), y)
    np.testing.assert_array_equal(model.weights, fitted(X, y).weights)


@pytest.mark.parametrize("method", ["predict", "predict_proba"])
def test_an_array_may_fit_the_model_while_a_prediction_reads_it(classes, method):
    X, y = classes
    model = fitted(X, y)
    narrowing = CallingBack(X, lambda: model.fit(X[:, :2], y))
    assert_raises(RuntimeError, "X is incorrect shape", getattr(model, method), narrowing)
    swapping = CallingBack(X[:, :2], lambda: model.fit(X[:, :2], 9.0 - y))
    swapped = fitted(X[:, :2], 9.0 - y)
    # What is read element by element and what is read in place differ by rounding.
    np.testing.assert_allclose(
        getattr(model, method)(swapping), getattr(swapped, method)(X[:, :2]), rtol=1e-13
    )


def test_a_fit_that_calls_itself_without_end_is_a_recursion_error(classes):
    model = LogisticRegressionModel(grouper=lambda *_: model.fit(*classes))
    with pytest.raises(RecursionError):
        model.fit(*classes)


def test_a_callable_may_drop_the_last_name_of_the_model_that_calls_it(classes):
    models = []

    def init0(n):
        models.clear()
        return [1.0] * n

    models.append(LogisticRegressionModel(init0=init0))
    fit = models[0].fit
    fit(*classes)
    assert models == []


def test_a_model_holds_its_callables_and_drops_them_with_itself():
    def init0(n):
        return [0.1] * n

    alone = sys.getrefcount(init0)
    model = LogisticRegressionModel(init0=init0, grouper=init0)
    assert sys.getrefcount(init0) == alone + 2
    del model
    assert sys.getrefcount(init0) == alone
