# SPDX-License-Identifier: BSD-3-Clause
"""The forms of `groups`, and the messages if one does not match the columns."""

import numpy as np
import pandas as pd
import polars as pl
import pytest

from trevalon import LogisticRegression, RidgeRegression

NAMES = ["age", "dose", "site", "time"]


def test_labels_share_strengths_and_groups_are_numbered_in_the_order_of_the_labels(
    regression,
):
    model = RidgeRegression(groups=["b", "a", "b", "a"]).fit(*regression)
    assert model.groups_.tolist() == [1, 0, 1, 0]
    assert model.group_labels_.tolist() == ["a", "b"]


def test_labels_of_mixed_types_are_numbered_in_the_order_of_appearance(regression):
    model = RidgeRegression(groups=["b", 1, (2, 3), 1]).fit(*regression)
    assert model.groups_.tolist() == [0, 1, 2, 1]
    assert model.group_labels_.tolist() == ["b", 1, (2, 3)]


@pytest.mark.parametrize(
    "labels", [[3, 5, 3, 5], (3, 5, 3, 5), np.array([3, 5, 3, 5]), pd.Series([3, 5, 3, 5]),
               pl.Series([3, 5, 3, 5]), lambda X, y: [3, 5, 3, 5]]
)  # fmt: skip
def test_every_form_of_labels_gives_the_same_fit(regression, labels):
    expected = RidgeRegression(groups=[0, 1, 0, 1]).fit(*regression)
    model = RidgeRegression(groups=labels).fit(*regression)
    np.testing.assert_array_equal(model.groups_, [0, 1, 0, 1])
    np.testing.assert_array_equal(model.alpha_, expected.alpha_)


def test_a_mapping_refers_to_the_names_of_the_columns(regression):
    X, y = regression
    labels = {"time": "b", "age": "a", "site": "a", "dose": "b"}
    expected = RidgeRegression(groups=[0, 1, 0, 1]).fit(X, y)
    # The layout of a frame may change the rounding, and nothing else.
    for frame in (pd.DataFrame(X, columns=NAMES), pl.DataFrame(X, schema=NAMES)):
        model = RidgeRegression(groups=labels).fit(frame, y)
        assert model.groups_.tolist() == [0, 1, 0, 1]
        np.testing.assert_allclose(model.alpha_, expected.alpha_, rtol=1e-9)


def test_all_and_none_and_numbers_of_groups(regression):
    assert RidgeRegression(groups="all").fit(*regression).groups_.tolist() == [0, 0, 0, 0]
    assert RidgeRegression(groups="none").fit(*regression).groups_.tolist() == [0, 1, 2, 3]
    assert RidgeRegression(groups=1).fit(*regression).groups_.tolist() == [0, 0, 0, 0]
    assert RidgeRegression(groups=10**30).fit(*regression).groups_.tolist() == [0, 1, 2, 3]
    found = RidgeRegression(groups=2).fit(*regression)
    assert sorted(set(found.groups_.tolist())) == [0, 1]
    assert found.group_labels_.tolist() == [0, 1]


def test_equal_labels_are_the_same_as_all(regression):
    for model in (RidgeRegression(), LogisticRegression()):
        X, y = regression
        target = y if isinstance(model, RidgeRegression) else y > np.median(y)
        expected = model.fit(X, target).coef_.copy()
        same = model.set_params(groups=["x"] * 4).fit(X, target)
        np.testing.assert_allclose(same.coef_, expected, rtol=1e-6)


def test_a_callable_sees_the_data_as_float_arrays(regression):
    seen = []

    def group(X, y):
        seen.append((X, y))
        return np.arange(X.shape[1]) % 2

    X, y = regression
    RidgeRegression(groups=group).fit(pd.DataFrame(X, columns=NAMES), y.astype(np.float32))
    assert type(seen[0][0]) is np.ndarray
    assert seen[0][0].dtype == seen[0][1].dtype == np.float64
    np.testing.assert_array_equal(seen[0][0], X)


def test_an_error_of_a_callable_passes_unchanged(regression):
    def group(X, y):
        raise LookupError("no such table")

    with pytest.raises(LookupError, match="no such table"):
        RidgeRegression(groups=group).fit(*regression)


@pytest.mark.parametrize(
    ("groups", "text"),
    [
        ("some", "groups must be 'all', 'none', a number of groups"),
        (0, "a number of groups to find is at least 1"),
        (-3, "a number of groups to find is at least 1"),
        ([0, 1], "groups has 2 labels, but X has 4 columns"),
        ([0, 1, [2], 3], "groups has the label"),
        ([0, 1, float("nan"), 3], "groups has the label nan"),
        ({"age": 0}, "X has no column names"),
        (3.5, "groups must give one label per column"),
        (True, "groups must give one label per column"),
        (None, "groups must give one label per column"),
    ],
)
def test_invalid_groups_are_refused_with_a_message(regression, groups, text):
    with pytest.raises(ValueError, match=text):
        RidgeRegression(groups=groups).fit(*regression)


def test_a_mapping_names_every_column_once(regression):
    X, y = regression
    frame = pd.DataFrame(X, columns=NAMES)
    with pytest.raises(ValueError, match=r"not a column: \['sex'\]; without a label: \["):
        RidgeRegression(groups={"sex": 0, "age": 0}).fit(frame, y)


def test_none_is_the_label_of_columns_without_penalty_if_the_model_has_such(
    regression, classification
):
    model = LogisticRegression(groups=[None, "a", "a", "a"]).fit(*classification)
    assert model.groups_.tolist() == [-1, 0, 0, 0]
    assert model.l2_strength_[0] == 0.0
    assert np.all(model.l2_strength_[1:] > 0.0)
    with pytest.raises(ValueError, match="a ridge fit penalizes every column"):
        RidgeRegression(groups=[None, 0, 0, 0]).fit(*regression)


@pytest.mark.parametrize(
    "labels",
    [[3, 5, None, 5], np.array([3, 5, None, 5], dtype=object), lambda X, y: [3, 5, None, 5],
     {"time": "b", "age": "a", "site": None, "dose": "b"}],
)  # fmt: skip
def test_a_logistic_regression_takes_every_form_of_labels(classification, labels):
    X, y = classification
    expected = LogisticRegression(groups=[0, 1, None, 1]).fit(X, y)
    model = LogisticRegression(groups=labels).fit(pd.DataFrame(X, columns=NAMES), y)
    assert model.groups_.tolist() == [0, 1, -1, 1]
    assert model.l2_strength_[2] == 0.0
    np.testing.assert_allclose(model.l2_strength_, expected.l2_strength_, rtol=1e-9)
    np.testing.assert_allclose(model.coef_, expected.coef_, rtol=1e-9)


def test_a_callable_of_a_logistic_regression_sees_the_labels_as_0_and_1(classification):
    X, y = classification
    seen = []

    def group(X, y):
        seen.append((X, y))
        return [0] * X.shape[1]

    LogisticRegression(groups=group).fit(X, np.array(["no", "yes"])[y])
    np.testing.assert_array_equal(seen[0][0], X)
    np.testing.assert_array_equal(seen[0][1], y.astype(float))


@pytest.mark.parametrize("groups", [3, [None] * 4])
def test_logistic_regression_finds_no_groups_and_penalizes_some_column(
    classification, groups
):
    with pytest.raises(ValueError, match="groups must name the groups"):
        LogisticRegression(groups=groups).fit(*classification)
