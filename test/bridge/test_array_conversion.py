# SPDX-License-Identifier: BSD-3-Clause
"""Arrays on their way into the core and back: `probe` runs the conversions alone."""

import math
import sys

import numpy as np
import pytest
import trevalon_conversion_probe as probe
from conftest import SANITIZED, Shaped
from hypothesis import given
from hypothesis import strategies as st
from hypothesis.extra import numpy as hnp

IMPROPER_MATRIX = "improper dimensions for a matrix"
IMPROPER_VECTOR = "improper dimensions for a vector"
FLOAT_TYPES = ["f2", "f4", "f8", ">f8", "longdouble"]
INTEGER_TYPES = ["b1", "i1", "u1", "i2", "u2", "i4", "u4", "i8", "u8", ">i4"]


class OwnError(Exception):
    """What the objects below raise, so that it is told from every other error."""


def raising(*items):
    """Yields the items and then fails."""
    yield from items
    raise OwnError("half-way")


def assert_raises(kind, text, function, *arguments):
    with pytest.raises(kind) as caught:
        function(*arguments)
    assert type(caught.value) is kind
    assert str(caught.value) == text


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


def test_an_index_of_minus_one_is_a_value_and_not_an_error():
    assert probe.index_vector([-1, 0, -1]) == [-1, 0, -1]


def test_an_element_of_minus_one_is_a_value_and_not_an_error():
    assert probe.double_vector([-1.0, -1])[0] == [-1.0, -1.0]


def test_a_float_is_no_index():
    text = "'float' object cannot be interpreted as an integer"
    assert_raises(TypeError, text, probe.index_vector, [1.0])


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


def test_infinities_nans_and_signed_zeros_cross_as_they_are():
    storage, back = probe.double_vector([math.inf, -math.inf, math.nan, -0.0, 5e-324])
    assert storage[:2] == [math.inf, -math.inf]
    assert math.isnan(storage[2])
    assert math.copysign(1.0, storage[3]) == -1.0
    assert storage[4] == 5e-324
    np.testing.assert_array_equal(back, storage)


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


@given(st.lists(st.floats(allow_nan=False)))
def test_every_vector_comes_back_as_it_went(values):
    storage, back = probe.double_vector(values)
    assert storage == values
    assert back.tolist() == values


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


# Outward


def test_a_symmetric_matrix_comes_out_full_from_its_lower_triangle():
    lower = np.array([[1.0, 0.0, 0.0], [2.0, 3.0, 0.0], [4.0, 5.0, 6.0]])
    out = probe.symmetric_from_lower(lower)
    assert out.tolist() == [[1.0, 2.0, 4.0], [2.0, 3.0, 5.0], [4.0, 5.0, 6.0]]


def test_a_matrix_from_an_accessor_has_each_entry_in_its_place():
    out = probe.matrix_of_places(Shaped([], (2, 3)))
    assert out.tolist() == [[0.0, 1.0, 2.0], [10.0, 11.0, 12.0]]


class RecordingArray:
    """Stands for a numpy array and keeps the calls of its __setitem__."""

    def __init__(self, shape):
        self.shape = shape
        self.calls = []

    def __setitem__(self, key, value):
        self.calls.append((key, value))


@pytest.fixture
def recording_numpy(monkeypatch):
    """Puts RecordingArray in the place of what numpy.zeros makes."""
    monkeypatch.setattr(np, "zeros", RecordingArray)


@pytest.mark.usefixtures("recording_numpy")
def test_a_zero_length_vector_gives_an_array_of_shape_0_and_no_setitem_call():
    _, out = probe.double_vector([])
    assert out.shape == (0,)
    assert out.calls == []


@pytest.mark.usefixtures("recording_numpy")
def test_a_vector_is_written_in_order():
    _, out = probe.double_vector([5.0, 6.0])
    assert out.shape == (2,)
    assert out.calls == [(0, 5.0), (1, 6.0)]


@pytest.mark.usefixtures("recording_numpy")
def test_a_matrix_is_written_column_by_column():
    out = probe.matrix_of_places(Shaped([], (2, 2)))
    assert out.shape == (2, 2)
    assert out.calls == [((0, 0), 0.0), ((1, 0), 10.0), ((0, 1), 1.0), ((1, 1), 11.0)]


def test_without_numpy_pythons_own_import_error_is_raised(monkeypatch):
    monkeypatch.setitem(sys.modules, "numpy", None)
    with pytest.raises(ModuleNotFoundError, match="numpy"):
        probe.double_vector([1.0])


def test_a_failing_zeros_hands_on_its_error(monkeypatch):
    def zeros(_shape):
        raise OwnError("no zeros today")

    monkeypatch.setattr(np, "zeros", zeros)
    assert_raises(OwnError, "no zeros today", probe.double_vector, [1.0])


def test_a_failing_setitem_hands_on_its_error(monkeypatch):
    monkeypatch.setattr(np, "zeros", lambda shape: (0.0,) * shape[0])
    with pytest.raises(AttributeError, match="__setitem__"):
        probe.double_vector([1.0])
