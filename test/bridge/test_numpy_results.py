# SPDX-License-Identifier: BSD-3-Clause
"""Arrays on their way out: what is written into the numpy array, and in which order."""

import sys
import types

import numpy as np
import pytest
import trevalon_conversion_probe as probe

from bridge_support import OwnError, Shaped, assert_raises


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
    text = "import of numpy halted; None in sys.modules"
    assert_raises(ModuleNotFoundError, text, probe.double_vector, [1.0])
    assert_raises(ModuleNotFoundError, text, probe.double_matrix, Shaped([[1.0]], (1, 1)))


def test_a_failing_zeros_hands_on_its_error(monkeypatch):
    def zeros(_shape):
        raise OwnError("no zeros today")

    monkeypatch.setattr(np, "zeros", zeros)
    assert_raises(OwnError, "no zeros today", probe.double_vector, [1.0])


def test_a_numpy_without_zeros_raises_pythons_own_attribute_error(monkeypatch):
    monkeypatch.setitem(sys.modules, "numpy", types.ModuleType("numpy"))
    text = "module 'numpy' has no attribute 'zeros'"
    assert_raises(AttributeError, text, probe.double_vector, [1.0])


def test_a_result_without_setitem_raises_pythons_own_attribute_error(monkeypatch):
    monkeypatch.setattr(np, "zeros", lambda shape: (0.0,) * shape[0])
    text = "'tuple' object has no attribute '__setitem__'"
    assert_raises(AttributeError, text, probe.double_vector, [1.0])


def test_a_failing_setitem_hands_on_its_error(monkeypatch):
    class Unwilling(RecordingArray):
        def __setitem__(self, key, value):
            super().__setitem__(key, value)
            if len(self.calls) == 3:
                raise OwnError("no more today")

    monkeypatch.setattr(np, "zeros", Unwilling)
    assert_raises(OwnError, "no more today", probe.double_vector, [1.0, 2.0, 3.0, 4.0])
    shaped = Shaped([[1.0, 2.0], [3.0, 4.0]], (2, 2))
    assert_raises(OwnError, "no more today", probe.double_matrix, shaped)
