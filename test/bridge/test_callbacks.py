# SPDX-License-Identifier: BSD-3-Clause
"""Callables that choose a start point or groups, run by themselves: the three parameters
have no data, and -1 may hold one fixed."""

import math

import pytest
import trevalon_conversion_probe as probe

from bridge_support import assert_raises

NOT_CORRECT = "variable groupings not correct"
NOT_SIZED = "variable groupings not sized correct"


def groups(values):
    return probe.groups_with_fixed(lambda X, y: values)


@pytest.mark.parametrize(
    "values",
    [[0, 0, 0], [0, 1, 2], [2, 0, 1], [1, 1, 0], [-1, 0, 0], [1, -1, 0], [-1, -1, -1]],
)
def test_groups_that_are_0_1_2_and_so_on_pass_with_minus_one_left_out(values):
    assert groups(values) == values


@pytest.mark.parametrize(
    "values",
    [[0, 0, 2], [1, 1, 1], [-2, 0, 0], [-2, -1, 0], [0, 1, 3], [-1, -1, 1],
     [math.nan, 0, 0], [math.inf, 0, 0], [-math.inf, 0, 0], [0, 1, 1e300], [2.0**63, 0, 0]],
)  # fmt: skip
def test_groups_with_a_hole_or_without_a_meaning_are_not_correct(values):
    assert_raises(RuntimeError, NOT_CORRECT, groups, values)


def test_group_numbers_are_truncated():
    assert groups([0.9, 1.2, -0.5]) == [0, 1, 0]


@pytest.mark.parametrize("values", [[], [0], [0, 0], [0, 0, 0, 0]])
def test_groups_of_another_number_than_the_parameters_are_not_sized_correct(values):
    assert_raises(RuntimeError, NOT_SIZED, groups, values)


def test_a_start_point_is_copied():
    assert probe.start_of_three(lambda n: [float(n), 2, 1]) == [3.0, 2.0, 1.0]


@pytest.mark.parametrize("count", [0, 1, 2, 4])
def test_a_start_point_of_another_size_has_incorrect_size(count):
    assert_raises(
        RuntimeError,
        "initialization incorrect size",
        probe.start_of_three,
        lambda n: [0.5] * count,
    )


def test_a_start_point_that_is_text_raises_pythons_own_type_error():
    with pytest.raises(TypeError, match=r"^must be real number, not str$"):
        probe.start_of_three(lambda n: "abc")


@pytest.mark.parametrize("function", [probe.start_of_three, probe.groups_with_fixed])
def test_an_object_that_cannot_be_called_raises_pythons_own_attribute_error(function):
    with pytest.raises(AttributeError) as caught:
        function(3)
    assert str(caught.value) == "'int' object has no attribute '__call__'"
