# SPDX-License-Identifier: BSD-3-Clause
"""The Python type of the logistic model: its factory, its members, what it refuses and
what a refusal leaves behind."""

import ast
import math
import re

import numpy as np
import pytest
import trevalon_impl
import trevalon_internal
from trevalon_impl import LogisticRegressionModel

from bridge_support import assert_raises, run_child
from logistic_support import PENALTIES, classification, fitted

ATTRIBUTES = ["weights", "hyperparameters", "within_tolerance"]
NOT_FIT = "model not fit"
FAILED = "failed to fit LogisticRegressionModel"
INCORRECT_SHAPE = "X is incorrect shape"
TOLERANCE = "tolerance must be greater than 0"


@pytest.fixture
def classes():
    return classification()


def snapshot(model, X):
    """All that a fitted model shows, for comparison before and after."""
    return (
        [np.array(getattr(model, name)).tolist() for name in ATTRIBUTES],
        model.predict(X).tolist(),
        model.predict_proba(X).tolist(),
    )


# The factory


def test_an_unknown_penalty_is_reported_with_its_word():
    for word in ("l3", "L2", "l", "l2 ", "", "elastic_net", "Bridge"):
        text = f"unknown penalty mode {word}"
        assert_raises(RuntimeError, text, LogisticRegressionModel, penalty=word)


@pytest.mark.parametrize("tolerance", [0, -0.0, -1, -math.inf])
def test_a_tolerance_of_zero_or_below_raises(tolerance):
    assert_raises(RuntimeError, TOLERANCE, LogisticRegressionModel, tolerance=tolerance)


def test_a_bad_tolerance_is_reported_ahead_of_a_bad_penalty():
    assert_raises(
        RuntimeError, TOLERANCE, LogisticRegressionModel, tolerance=0, penalty="l3"
    )


def test_a_tolerance_that_is_nan_passes(classes):
    model = fitted(*classes, tolerance=math.nan)
    assert model.within_tolerance is False
    assert np.all(np.isfinite(model.weights))


def test_penalty_none_does_not_parse():
    with pytest.raises(TypeError, match="must be str, not None"):
        LogisticRegressionModel(penalty=None)


def test_arguments_of_a_wrong_kind_raise_pythons_own_error():
    for keywords in ({"tolerance": "x"}, {"penalty": "l2\0"}, {"unknown": 1},
                     {"normalize": 0.5}):  # fmt: skip
        with pytest.raises((TypeError, ValueError)):
            LogisticRegressionModel(**keywords)
    assert_raises(
        TypeError,
        "LogisticRegressionModel() takes at most 6 arguments (7 given)",
        LogisticRegressionModel,
        *range(7),
    )


def test_the_factory_takes_its_arguments_in_order(classes):
    X, _ = classes
    in_order = (lambda n: [0.2] * n, 0, 0, "l1", lambda X, y: [0, 0, 1, 1], 0.01)
    names = ("init0", "fit_intercept", "normalize", "penalty", "grouper", "tolerance")
    by_name = dict(zip(names, in_order, strict=True))
    model = LogisticRegressionModel(*in_order)
    model.fit(*classes)
    assert snapshot(model, X) == snapshot(fitted(*classes, **by_name), X)


def test_the_defaults_of_the_factory_are_these(classes):
    X, _ = classes
    given = {"init0": None, "fit_intercept": 1, "normalize": 1, "penalty": "l2",
             "grouper": None, "tolerance": 0.0001}  # fmt: skip
    assert snapshot(fitted(*classes), X) == snapshot(fitted(*classes, **given), X)


def test_each_penalty_starts_from_its_own_hyperparameters(classes):
    X, _ = classes
    for penalty, start in (("l2", 1.0), ("l1", 1.0), ("elasticnet", 0.5), ("bridge", 0.5)):
        given = fitted(*classes, penalty=penalty, init0=lambda n, start=start: [start] * n)
        assert snapshot(given, X) == snapshot(fitted(*classes, penalty=penalty), X)


# The type


METHOD_DOCS = {
    "fit": "fit the model",
    "predict_proba": "make predictions",
    "predict": "make predictions",
}
ATTRIBUTE_DOCS = {
    "weights": "Return the weight vector",
    "hyperparameters": "Return the regularization vector",
    "within_tolerance": "Whether the tolerance was met",
}


def test_every_member_of_the_type_has_its_place_and_its_doc_string():
    members = METHOD_DOCS | ATTRIBUTE_DOCS
    internal = METHOD_DOCS | {"make_objective": "return the optimization objective"}
    for module, docs in (
        (trevalon_impl, members),
        (trevalon_internal, internal | ATTRIBUTE_DOCS),
    ):
        kind = module._LogisticRegressionModel
        own = [name for name in vars(kind) if not name.startswith("__")]
        assert {name: getattr(kind, name).__doc__ for name in own} == docs
        assert own == list(docs)


def test_the_type_has_its_name_and_a_doc_string_with_an_underscore():
    kind = type(LogisticRegressionModel())
    assert kind is trevalon_impl._LogisticRegressionModel
    assert str(kind) == "<class 'trevalon_impl._LogisticRegressionModel'>"
    assert kind.__doc__ == "_LogisticRegressionModel"
    doc = "Constructs a logistic regression model"
    assert trevalon_impl.LogisticRegressionModel.__doc__ == doc
    assert trevalon_internal.LogisticRegressionModel.__doc__ == doc


def test_the_type_has_no_constructor():
    kind = trevalon_impl._LogisticRegressionModel
    with pytest.raises(TypeError, match=r"^cannot create '.*' instances$"):
        kind()
    with pytest.raises(TypeError, match=r"is not safe|cannot create"):
        object.__new__(kind)


def test_make_objective_is_of_the_internal_flavour_and_ends_the_process():
    assert not hasattr(LogisticRegressionModel(), "make_objective")
    child = run_child(
        "import trevalon_internal as t; t.LogisticRegressionModel().make_objective()"
    )
    assert child.returncode == -6
    assert child.stderr.startswith(
        "bridge/python/model/linear_linked_regression/linear_linked_regression_model:"
    )
    assert " panic: not implemented" in child.stderr


# Makes the module once for each of the first requests for memory, in a process of its own
# in which this one request fails; prints what processes that panic leave on stderr.
FAILING_MAKERS = """
import _imp, _testcapi, ctypes, importlib.util, os, tempfile

spec = importlib.util.find_spec("trevalon_impl")
ctypes.CDLL(spec.origin)  # its libraries are loaded once
texts = set()
for request in range(400):
    with tempfile.TemporaryFile() as captured:
        child = os.fork()
        if child == 0:
            os.dup2(captured.fileno(), 2)
            _testcapi.set_nomemory(request, request + 1)
            try:
                _imp.create_dynamic(spec)
            except MemoryError:
                pass
            os._exit(0)
        if os.WIFSIGNALED(os.waitpid(child, 0)[1]):
            captured.seek(0)
            texts.add(captured.read().decode())
print(sorted(text for text in texts if "panic" in text))
"""


def test_a_type_that_cannot_be_added_to_its_module_ends_the_process():
    pytest.importorskip(
        "_testcapi", reason="this interpreter comes without its test modules"
    )
    child = run_child(FAILING_MAKERS)
    assert child.returncode == 0, child.stderr
    [text] = ast.literal_eval(child.stdout)
    assert re.fullmatch(
        "bridge/python/model/linear_linked_regression/logistic_regression_type:[0-9]+ "
        "panic: failed to create _LogisticRegressionModel",
        text,
    )


@pytest.mark.parametrize("attribute", ATTRIBUTES)
def test_attributes_are_read_only(classes, attribute):
    model = fitted(*classes)
    with pytest.raises(AttributeError, match="is not writable"):
        setattr(model, attribute, 1.0)


# Before and after a fit


@pytest.mark.parametrize("attribute", ATTRIBUTES)
def test_reading_an_attribute_of_a_fresh_model_raises_model_not_fit(attribute):
    assert_raises(RuntimeError, NOT_FIT, getattr, LogisticRegressionModel(), attribute)


@pytest.mark.parametrize("method", ["predict", "predict_proba"])
def test_a_fresh_model_does_not_predict_whatever_the_arguments(method):
    for arguments in ((), ("not a matrix",), (1, 2, 3)):
        model = LogisticRegressionModel()
        assert_raises(RuntimeError, NOT_FIT, getattr(model, method), *arguments)


@pytest.mark.parametrize("penalty", PENALTIES)
def test_attributes_have_their_types_and_lengths(classes, penalty):
    for intercept in (0, 1):
        model = fitted(*classes, penalty=penalty, fit_intercept=intercept)
        assert model.weights.shape == (4 + intercept,)
        kinds = 1 if penalty in ("l1", "l2") else 2
        assert model.hyperparameters.shape == (kinds,)
        assert model.weights.dtype == model.hyperparameters.dtype == np.float64
        assert type(model.within_tolerance) is bool


@pytest.mark.parametrize("method", ["predict", "predict_proba"])
def test_prediction_with_one_column_too_many_raises_incorrect_shape(classes, method):
    for intercept in (0, 1):
        predict = getattr(fitted(*classes, fit_intercept=intercept), method)
        for columns in (0, 1, 3, 5):
            X = np.ones((2, columns))
            assert_raises(RuntimeError, INCORRECT_SHAPE, predict, X)


def test_predict_proba_rows_sum_to_1_and_column_1_belongs_to_the_larger_label(classes):
    X, y = classes
    model = fitted(X, y)
    probabilities = model.predict_proba(X)
    assert probabilities.shape == (60, 2)
    np.testing.assert_allclose(probabilities.sum(axis=1), 1.0, rtol=1e-15)
    assert probabilities[y == 1.0, 1].mean() > 0.5 > probabilities[y == 0.0, 1].mean()
    np.testing.assert_array_equal(
        model.predict(X), np.where(probabilities[:, 1] < 0.5, 0.0, 1.0)
    )


def test_labels_3_and_7_come_back_from_predict():
    X, y = classification(labels=(3.0, 7.0))
    model = fitted(X, y)
    assert set(model.predict(X)) == {3.0, 7.0}
    same = fitted(*classification())
    np.testing.assert_array_equal(model.predict_proba(X), same.predict_proba(X))


def test_a_probability_of_exactly_one_half_counts_as_the_larger_label(classes):
    X, y = classes
    model = fitted(X, y * 4.0 + 3.0, fit_intercept=0)
    assert model.predict_proba(np.zeros((1, 4))).tolist() == [[0.5, 0.5]]
    assert model.predict(np.zeros((1, 4))).tolist() == [7.0]


def test_no_rows_give_no_predictions(classes):
    model = fitted(*classes)
    assert model.predict(np.ones((0, 4))).shape == (0,)
    assert model.predict_proba(np.ones((0, 4))).shape == (0, 2)


def test_a_second_fit_replaces_the_first_and_may_have_another_width(classes):
    X, y = classes
    model = fitted(X, y)
    model.fit(X[:, :2], y)
    assert snapshot(model, X[:, :2]) == snapshot(fitted(X[:, :2], y), X[:, :2])


def test_calls_parse_by_keyword_and_name_themselves_in_errors(classes):
    X, y = classes
    model = LogisticRegressionModel()
    model.fit(y=y, X=X)
    np.testing.assert_array_equal(model.predict(X=X), fitted(X, y).predict(X))
    np.testing.assert_array_equal(model.predict_proba(X=X), fitted(X, y).predict_proba(X))
    text = "{}() missing required argument '{}' (pos {})"
    assert_raises(TypeError, text.format("fit", "y", 2), model.fit, X)
    assert_raises(TypeError, text.format("predict", "X", 1), model.predict)
    assert_raises(TypeError, text.format("predict_proba", "X", 1), model.predict_proba)


# Fits that fail


def with_entry(array, value):
    changed = np.array(array)
    changed.flat[-1] = value
    return changed


BAD_DATA = {
    "nan in X": lambda X, y: (with_entry(X, np.nan), y),
    "infinity in X": lambda X, y: (with_entry(X, np.inf), y),
    "nan in y": lambda X, y: (X, with_entry(y, np.nan)),
    "infinity in y": lambda X, y: (X, with_entry(y, -np.inf)),
    "one class": lambda X, y: (X, np.ones(len(y))),
    "three classes": lambda X, y: (X, with_entry(y, 2.0)),
    "squares of X overflow": lambda X, y: (X * 1e200, y),
    "no rows": lambda X, y: (np.ones((0, 4)), []),
    "no columns": lambda X, y: (np.ones((60, 0)), y),
    "nothing": lambda X, y: (np.ones((0, 0)), []),
    "target too short": lambda X, y: (X, y[:-1]),
    "target too long": lambda X, y: (X, [*y, 1.0]),
}


@pytest.mark.parametrize("case", list(BAD_DATA))
@pytest.mark.parametrize("penalty", PENALTIES)
@pytest.mark.parametrize("normalize", [0, 1])
def test_bad_data_raise_at_once_and_leave_the_earlier_fit_intact(
    classes, case, penalty, normalize, capfd
):
    model = fitted(*classes, penalty=penalty, normalize=normalize)
    before = snapshot(model, classes[0])
    assert_raises(RuntimeError, FAILED, model.fit, *BAD_DATA[case](*classes))
    assert snapshot(model, classes[0]) == before
    # The reason goes to the standard error stream, as a line of its own.
    assert capfd.readouterr().err.count("\n") == 1


@pytest.mark.parametrize("case", ["one class", "three classes", "nan in y"])
def test_a_target_without_two_classes_prints_invalid_target_error(classes, case, capfd):
    model = LogisticRegressionModel()
    assert_raises(RuntimeError, FAILED, model.fit, *BAD_DATA[case](*classes))
    assert capfd.readouterr().err == "invalid_target_error\n"
    assert_raises(RuntimeError, NOT_FIT, getattr, model, "weights")


def test_mismatched_data_print_so(classes, capfd):
    X, y = classes
    assert_raises(RuntimeError, FAILED, LogisticRegressionModel().fit, X, y[:-1])
    text = "feature_matrix and target_vector are mismatched\n"
    assert capfd.readouterr().err == text


def test_fit_given_a_non_array_raises_the_error_of_the_conversion_and_prints_nothing(
    classes, capfd
):
    X, y = classes
    model = LogisticRegressionModel()
    text = "'list' object has no attribute 'shape'"
    assert_raises(AttributeError, text, model.fit, [[1.0]], [1.0])
    assert_raises(TypeError, "not an iterable", model.fit, X, iter(y))
    assert_raises(TypeError, "improper dimensions for a matrix", model.fit, y, y)
    assert capfd.readouterr().err == ""
