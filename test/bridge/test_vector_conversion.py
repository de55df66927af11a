# SPDX-License-Identifier: BSD-3-Clause
"""Vectors on their way into the core and back, and what fails on the way."""

import math
import sys

import numpy as np
import pytest
import trevalon_conversion_probe as probe
from hypothesis import given
from hypothesis import strategies as st

from bridge_support import SANITIZED, OwnError, Shaped, assert_raises

IMPROPER_VECTOR = "improper dimensions for a vector"


def raising(*items):
    """Yields the items and then fails."""
    yield from items
    raise OwnError("half-way")


# What counts as a vector


@pytest.mark.parametrize(
    "vector", [[1.0, 2.0], (1.0, 2.0), np.array([1.0, 2.0]), {1.0: 0, 2.0: 0}]
)
def test_a_sized_iterable_passes_as_a_vector(vector):
    storage, back = probe.double_vector(vector)
    assert storage == [1.0, 2.0]
    assert back.shape == (2,)
    assert back.dtype == np.float64


@pytest.mark.parametrize(
    "make", [lambda: (x for x in [1.0]), lambda: iter([1.0]), lambda: map(float, [1])]
)
def test_an_iterator_passed_as_a_vector_fails_with_not_an_iterable(make):
    assert_raises(TypeError, "not an iterable", probe.double_vector, make())
    assert_raises(TypeError, "not an iterable", probe.index_vector, make())


def test_a_vector_without_a_length_raises_pythons_own_type_error():
    assert_raises(TypeError, "object of type 'int' has no len()", probe.double_vector, 3)


def test_a_length_that_raises_hands_on_its_error():
    class Lengthless(list):
        def __len__(self):
            raise OwnError("no length today")

    assert_raises(OwnError, "no length today", probe.double_vector, Lengthless())


@pytest.mark.parametrize("length", [0, 1, 3, 100])
def test_a_vector_that_yields_another_number_of_items_than_its_length_is_improper(length):
    class Liar(list):
        def __len__(self):
            return length

    assert_raises(TypeError, IMPROPER_VECTOR, probe.double_vector, Liar([1.0, 2.0]))
    assert_raises(TypeError, IMPROPER_VECTOR, probe.index_vector, Liar([1, 2]))


@pytest.mark.parametrize("length", [sys.maxsize, 2**60, *([] if SANITIZED else [2**57])])
def test_a_length_that_no_memory_can_hold_is_a_memory_error(length):
    class Huge(list):
        def __len__(self):
            return length

    with pytest.raises(MemoryError):
        probe.double_vector(Huge())


def test_an_index_of_minus_one_is_a_value_and_not_an_error():
    assert probe.index_vector([-1, 0, -1]) == [-1, 0, -1]


def test_an_element_of_minus_one_is_a_value_and_not_an_error():
    assert probe.double_vector([-1.0, -1])[0] == [-1.0, -1.0]


def test_a_float_is_no_index():
    text = "'float' object cannot be interpreted as an integer"
    assert_raises(TypeError, text, probe.index_vector, [1.0])


def test_infinities_nans_and_signed_zeros_cross_as_they_are():
    storage, back = probe.double_vector([math.inf, -math.inf, math.nan, -0.0, 5e-324])
    assert storage[:2] == [math.inf, -math.inf]
    assert math.isnan(storage[2])
    assert math.copysign(1.0, storage[3]) == -1.0
    assert storage[4] == 5e-324
    np.testing.assert_array_equal(back, storage)


@given(st.lists(st.floats(allow_nan=False)))
def test_every_vector_comes_back_as_it_went(values):
    storage, back = probe.double_vector(values)
    assert storage == values
    assert back.tolist() == values


# Failures on the way


@pytest.mark.parametrize("element", ["x", None, [1.0], object()])
def test_a_matrix_with_a_non_number_element_raises_pythons_own_type_error_and_leaks_nothing(
    element,
):
    row = [1.0, element]
    shaped = Shaped([[1.0, 2.0], row], (2, 2))
    before = [sys.getrefcount(x) for x in (element, row, shaped)]
    for _ in range(100):
        with pytest.raises(TypeError, match=r"^must be real number, not "):
            probe.double_matrix(shaped)
    # None is shared by the whole interpreter, so its count is bounded rather than exact.
    after = [sys.getrefcount(x) for x in (element, row, shaped)]
    assert all(b - a < 20 for a, b in zip(before, after, strict=True))


def test_an_integer_too_large_for_a_double_raises_pythons_own_overflow_error():
    with pytest.raises(OverflowError):
        probe.double_vector([10**400])


def test_an_error_in_the_middle_of_a_line_is_handed_on():
    shaped = Shaped([[1.0, 2.0], raising(3.0)], (2, 2))
    assert_raises(OwnError, "half-way", probe.double_matrix, shaped)


def test_an_error_at_the_end_of_a_full_line_is_handed_on():
    assert_raises(
        OwnError, "half-way", probe.double_matrix, Shaped([raising(3.0, 4.0)], (1, 2))
    )


@pytest.mark.parametrize("count", [0, 1, 2])
def test_an_error_of_the_outer_iterator_is_handed_on(count):
    shaped = Shaped(raising(*[[1.0, 2.0]] * count), (2, 2))
    assert_raises(OwnError, "half-way", probe.double_matrix, shaped)


def test_an_error_of_a_float_conversion_is_handed_on():
    class Unwilling:
        def __float__(self):
            raise OwnError("not a number today")

    assert_raises(OwnError, "not a number today", probe.double_vector, [Unwilling()])


def test_a_list_that_shrinks_while_it_is_read_is_improper():
    values = [1.0, None, 3.0]

    class Shrinking:
        def __float__(self):
            values.clear()
            return 1.0

    values[1] = Shrinking()
    assert_raises(TypeError, IMPROPER_VECTOR, probe.double_vector, values)
