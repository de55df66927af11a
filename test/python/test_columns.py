# SPDX-License-Identifier: BSD-3-Clause
"""Centering and lengths of columns."""

import math

import numpy as np
from hypothesis import given, settings
from hypothesis import strategies as st

from trevalon._columns import center_columns, column_moments, column_sums


@given(
    st.floats(-1e100, 1e100),
    st.integers(2, 3000),
)
def test_a_constant_column_is_nothing_after_centering_and_has_scale_1(value, n):
    columns = center_columns(np.full((n, 1), value), center=True, rescale=True)
    np.testing.assert_array_equal(columns.values, 0.0)
    assert columns.scales.tolist() == [1.0]


def test_means_and_lengths_are_those_of_exact_sums():
    X = np.random.default_rng(0).normal(size=(500, 3)) * [1.0, 1e-6, 1e6] + [1e3, 1.0, 0.0]
    columns = center_columns(X, center=True, rescale=True)
    for j, column in enumerate(X.T.tolist()):
        mean = math.fsum(column) / len(column)
        length = math.sqrt(math.fsum((x - mean) ** 2 for x in column))
        assert math.isclose(columns.means[j], mean, rel_tol=1e-15, abs_tol=1e-9 * length)
        assert math.isclose(columns.scales[j], length, rel_tol=1e-13)
        centered = [x - mean for x in column]
        np.testing.assert_allclose(columns.values[:, j], centered, atol=1e-12 * length)


def test_without_centering_and_rescaling_the_columns_stay_as_they_are():
    X = np.random.default_rng(0).normal(size=(5, 2))
    columns = center_columns(X, center=False, rescale=False)
    assert columns.values is X
    assert columns.means.tolist() == [0.0, 0.0]
    assert columns.scales.tolist() == [1.0, 1.0]


@given(
    st.sampled_from([0.0, 0.5, 10.0, 1e9]),
    st.integers(2, 300),
    st.booleans(),
    st.booleans(),
)
def test_moments_are_those_of_the_centered_columns(offset, n, center, rescale):
    X = np.random.default_rng(n).normal(size=(n, 3)) * [1.0, 1e-6, 0.0] + offset
    means, scales = column_moments(X, center, rescale)
    columns = center_columns(X, center, rescale)
    np.testing.assert_allclose(means, columns.means, rtol=1e-14, atol=1e-15)
    np.testing.assert_allclose(scales, columns.scales, rtol=1e-13)


@given(st.integers(1, 700), st.integers(1, 140), st.sampled_from(["C", "F", "strided"]))
@settings(deadline=None, max_examples=60)
def test_sums_are_those_of_the_columns_in_every_layout(n, p, layout):
    """Several short rows are summed as a long one."""
    X = np.random.default_rng(n).normal(size=(n, p))
    if layout == "strided":
        X = np.repeat(X, 2, axis=1)[:, ::2]
    X = np.asarray(X, order="F" if layout == "F" else "K")
    expected = [math.fsum(column) for column in X.T.tolist()]
    np.testing.assert_allclose(column_sums(X), expected, rtol=0.0, atol=1e-15 * n * 5)
