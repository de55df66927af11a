# SPDX-License-Identifier: BSD-3-Clause
"""Matrices on their way into the core and back: `probe` runs the conversions alone."""

import numpy as np
import pytest
import trevalon_conversion_probe as probe
from hypothesis import given
from hypothesis.extra import numpy as hnp

from bridge_support import SANITIZED, OwnError, Shaped, assert_raises

IMPROPER_MATRIX = "improper dimensions for a matrix"
FLOAT_TYPES = ["f2", "f4", "f8", ">f8", "longdouble"]
INTEGER_TYPES = ["b1", "i1", "u1", "i2", "u2", "i4", "u4", "i8", "u8", ">i4"]


# What counts as a matrix


def test_a_list_of_lists_has_no_shape_and_fails_with_attribute_error():
    rows = [[1.0, 2.0], [3.0, 4.0]]
    assert_raises(
        AttributeError, "'list' object has no attribute 'shape'", probe.double_matrix, rows
    )


def test_a_numpy_array_passes():
    storage, back = probe.double_matrix(np.array([[1.0, 2.0], [3.0, 4.0]]))
    assert storage == [1.0, 3.0, 2.0, 4.0]
    assert back.tolist() == [[1.0, 2.0], [3.0, 4.0]]


@pytest.mark.parametrize("shape", [(), (4,), (2, 2, 1), (1, 2, 2, 1)])
def test_an_array_of_other_than_two_dimensions_is_improper(shape):
    assert_raises(TypeError, IMPROPER_MATRIX, probe.double_matrix, np.ones(shape))
    assert_raises(TypeError, IMPROPER_MATRIX, probe.index_matrix, np.ones(shape))


@pytest.mark.parametrize("shape", [[2, 2], 4, None, "22", np.array([2, 2])])
def test_a_shape_that_is_not_a_tuple_is_refused(shape):
    shaped = Shaped([[1.0, 2.0], [3.0, 4.0]], shape)
    assert_raises(TypeError, "shape is not a tuple", probe.double_matrix, shaped)


def test_a_subclass_of_tuple_is_a_tuple():
    class Extents(tuple):
        __slots__ = ()

    assert probe.shape(Shaped([], Extents((3, 5)))) == (3, 5)


def test_an_extent_may_be_any_integer_like_object():
    assert probe.shape(Shaped([], (np.int32(3), True))) == (3, 1)


def test_an_extent_of_minus_one_is_read_as_a_value():
    assert probe.shape(Shaped([], (-1, -2))) == (-1, -2)


def test_an_extent_that_is_no_integer_raises_pythons_own_type_error():
    assert_raises(
        TypeError,
        "'float' object cannot be interpreted as an integer",
        probe.double_matrix,
        Shaped([[1.0]], (1.0, 1)),
    )


def test_an_extent_beyond_64_bits_raises_pythons_own_overflow_error():
    with pytest.raises(OverflowError):
        probe.double_matrix(Shaped([[1.0]], (1, 2**63)))


@pytest.mark.parametrize("shape", [(-1, 2), (2, -1), (-1, -1), (0, -5)])
def test_a_negative_extent_is_a_value_error(shape):
    text = "negative dimensions are not allowed"
    assert_raises(ValueError, text, probe.double_matrix, Shaped([], shape))
    assert_raises(ValueError, text, probe.index_matrix, Shaped([], shape))


BEYOND_EVERY_ADDRESS = [(2**62, 2), (2**32, 2**32), (2**63 - 1, 2**63 - 1), (2**60, 1)]
BEYOND_EVERY_HEAP = [] if SANITIZED else [(2**45, 2**12)]


@pytest.mark.parametrize("shape", BEYOND_EVERY_ADDRESS + BEYOND_EVERY_HEAP)
def test_a_shape_that_no_memory_can_hold_is_a_memory_error(shape):
    with pytest.raises(MemoryError):
        probe.double_matrix(Shaped([], shape))
    with pytest.raises(MemoryError):
        probe.index_matrix(Shaped([], shape))


def test_a_shape_property_that_raises_hands_on_its_error():
    class Shapeless:
        @property
        def shape(self):
            raise OwnError("no shape today")

    assert_raises(OwnError, "no shape today", probe.double_matrix, Shapeless())


def test_a_matrix_that_does_not_iterate_raises_pythons_own_type_error():
    class Still:
        shape = (1, 1)

    assert_raises(TypeError, "'Still' object is not iterable", probe.double_matrix, Still())


# Order, number and kind of the elements


def test_row_i_of_a_2_by_3_input_stands_at_storage_positions_i_i_plus_2_and_i_plus_4():
    storage, _ = probe.double_matrix(np.array([[10.0, 11.0, 12.0], [20.0, 21.0, 22.0]]))
    assert storage[0::2] == [10.0, 11.0, 12.0]
    assert storage[1::2] == [20.0, 21.0, 22.0]


def test_the_rows_may_be_generators():
    rows = ((float(10 * i + j) for j in range(3)) for i in range(2))
    storage, back = probe.double_matrix(Shaped(rows, (2, 3)))
    assert storage == [0.0, 10.0, 1.0, 11.0, 2.0, 12.0]
    assert back.shape == (2, 3)


@pytest.mark.parametrize("shape", [(0, 0), (0, 3), (3, 0)])
def test_a_matrix_without_elements_keeps_its_shape(shape):
    storage, back = probe.double_matrix(np.ones(shape))
    assert storage == []
    assert back.shape == shape
    assert probe.index_matrix(np.ones(shape, dtype=int)) == (*shape, [])


@pytest.mark.parametrize(
    ("rows", "shape"),
    [
        ([[1.0, 2.0], [3.0]], (2, 2)),
        ([[1.0], [2.0, 3.0]], (2, 2)),
        ([[1.0, 2.0, 3.0], [4.0, 5.0, 6.0]], (2, 2)),
        ([[1.0, 2.0], [3.0, 4.0, 5.0]], (2, 2)),
        ([[], []], (2, 2)),
        ([[1.0]], (1, 0)),
        ([[1.0]] * 5, (3, 0)),
        ([[]] * 2, (3, 0)),
        ([[1.0, 2.0]], (0, 2)),
        ([[1.0, 2.0]], (2, 2)),
        ([[1.0, 2.0]] * 3, (2, 2)),
        ([[1.0, 2.0]] * 1000, (2, 2)),
        ([[1.0] * 1000] * 2, (2, 2)),
    ],
)
def test_rows_that_do_not_keep_to_the_shape_are_improper(rows, shape):
    assert_raises(TypeError, IMPROPER_MATRIX, probe.double_matrix, Shaped(rows, shape))
    integers = [[int(x) for x in row] for row in rows]
    assert_raises(TypeError, IMPROPER_MATRIX, probe.index_matrix, Shaped(integers, shape))


def test_rows_without_end_are_improper():
    def endless():
        while True:
            yield ()

    assert_raises(
        TypeError, IMPROPER_MATRIX, probe.double_matrix, Shaped(endless(), (3, 0))
    )


def test_a_line_without_end_is_improper():
    ones = iter(lambda: 1.0, None)
    assert_raises(TypeError, IMPROPER_MATRIX, probe.double_matrix, Shaped([ones], (1, 2)))


@pytest.mark.parametrize("kind", FLOAT_TYPES + INTEGER_TYPES)
def test_a_matrix_of_any_real_type_becomes_float64(kind):
    X = np.array([[0, 1, 1], [1, 0, 1]], dtype=kind)
    storage, back = probe.double_matrix(X)
    assert storage == [0.0, 1.0, 1.0, 0.0, 1.0, 1.0]
    assert back.dtype == np.float64
    np.testing.assert_array_equal(back, X.astype(float))


@pytest.mark.parametrize("kind", INTEGER_TYPES[1:])
def test_a_matrix_of_any_integer_type_becomes_a_matrix_of_indices(kind):
    X = np.array([[0, 1, 2], [3, 4, 5]], dtype=kind)
    assert probe.index_matrix(X) == (2, 3, [0, 3, 1, 4, 2, 5])
    assert probe.index_vector(X[1]) == [3, 4, 5]


@pytest.mark.parametrize("kind", ["c16", "U3", "M8[D]"])
def test_a_matrix_of_a_type_that_is_not_real_raises(kind):
    # numpy itself decides between an error and a warning, which here is an error too.
    with pytest.raises((TypeError, ValueError, np.exceptions.ComplexWarning)):
        probe.double_matrix(np.zeros((2, 2), dtype=kind))


def test_a_matrix_of_python_objects_takes_whatever_has_a_float():
    class Half:
        def __float__(self):
            return 0.5

    X = np.array([[Half(), 2], [True, 10**18]], dtype=object)
    assert probe.double_matrix(X)[0] == [0.5, 1.0, 2.0, 1e18]


BASE = np.arange(24.0).reshape(4, 6)
READ_ONLY = BASE.copy()
READ_ONLY.flags.writeable = False


@pytest.mark.parametrize(
    "X",
    [
        np.asfortranarray(BASE), BASE.T, BASE[::-1], BASE[:, ::-1], BASE[::-2, ::3],
        BASE[1:3, 2:5], READ_ONLY, np.broadcast_to(np.arange(3.0), (4, 3)),
        np.ma.masked_array(BASE),
    ],
)  # fmt: skip
def test_the_layout_of_an_array_does_not_matter(X):
    storage, back = probe.double_matrix(X)
    assert storage == np.asarray(X).ravel(order="F").tolist()
    np.testing.assert_array_equal(back, X)


@given(
    hnp.arrays(
        hnp.floating_dtypes(endianness="?", sizes=(32, 64)) | hnp.integer_dtypes(),
        hnp.array_shapes(min_dims=2, max_dims=2, min_side=0, max_side=6),
    )
)
def test_every_matrix_comes_back_as_it_went(X):
    storage, back = probe.double_matrix(X)
    assert back.shape == X.shape
    np.testing.assert_array_equal(back, X.astype(np.float64))
    np.testing.assert_array_equal(storage, X.astype(np.float64).ravel(order="F"))
