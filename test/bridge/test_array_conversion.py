# SPDX-License-Identifier: BSD-3-Clause
"""An array is converted through its memory or element by element. Whatever layout an array
has, both give the same elements and the same errors. An object that only has a shape and
iterates has no memory to offer, and is converted element by element."""

import sys
import types

import numpy as np
import pytest
import trevalon_conversion_probe as probe
from hypothesis import given
from hypothesis import strategies as st

from array_layouts import BASE, MATRICES
from bridge_support import Shaped, SizedView, outcome


@pytest.mark.filterwarnings("ignore::DeprecationWarning")
@pytest.mark.parametrize("layout", MATRICES)
def test_a_matrix_of_any_layout_crosses_as_its_elements_do(layout):
    X = MATRICES[layout]
    by_memory = outcome(probe.double_matrix, X)
    by_elements = outcome(probe.double_matrix, SizedView(X))
    assert by_memory == by_elements


@pytest.mark.filterwarnings("ignore::DeprecationWarning")
@pytest.mark.parametrize("layout", MATRICES)
def test_a_vector_of_any_layout_crosses_as_its_elements_do(layout):
    X = MATRICES[layout]
    for y in [X, *X[:2], *X.T[:2]] if X.ndim == 2 else [X]:
        assert outcome(probe.double_vector, y) == outcome(probe.double_vector, SizedView(y))


@given(data=st.data())
def test_a_matrix_of_any_strides_crosses_as_its_elements_do(data):
    memory = np.arange(4000, dtype="u1").tobytes()
    rows, columns = data.draw(st.tuples(st.integers(0, 18), st.integers(0, 18)))
    strides = data.draw(st.tuples(st.integers(-60, 60), st.integers(-40, 40)))
    view = np.ndarray((rows, columns), "f8", memory, offset=1900, strides=strides)
    assert outcome(probe.double_matrix, view) == outcome(
        probe.double_matrix, SizedView(view)
    )


# Arrays whose bytes are not what iteration gives


class Doubled(np.ndarray):
    """Iterates over twice what it holds."""

    def __iter__(self):
        return iter(np.asarray(self) * 2.0)


def test_a_subclass_that_iterates_in_its_own_way_is_taken_at_its_word():
    X = BASE[:3, :2].view(Doubled)
    assert probe.double_matrix(X)[0] == (2.0 * BASE[:3, :2]).ravel(order="F").tolist()
    assert probe.double_vector(BASE[1].view(Doubled))[0] == (2.0 * BASE[1]).tolist()


def test_a_masked_element_is_read_as_its_iteration_gives_it():
    masked = np.ma.masked_array(
        [[1.0, 2.0], [3.0, 4.0]], mask=[[False, True], [True, False]]
    )
    with pytest.warns(UserWarning, match="masked element to nan"):
        storage, _ = probe.double_matrix(masked)
    np.testing.assert_array_equal(storage, [1.0, np.nan, np.nan, 4.0])


@pytest.mark.filterwarnings("ignore::PendingDeprecationWarning")
def test_the_rows_of_a_matrix_class_are_matrices_and_so_no_lines_of_numbers():
    X = np.matrix([[1.0, 2.0], [3.0, 4.0]])
    assert outcome(probe.double_matrix, X) == outcome(probe.double_matrix, SizedView(X))
    with pytest.raises(TypeError):
        probe.double_matrix(X)


def test_a_memory_map_crosses_as_its_elements_do(tmp_path):
    X = np.memmap(tmp_path / "X", dtype="f8", mode="w+", shape=(7, 3))
    X[:] = BASE[:7, :3]
    assert probe.double_matrix(X)[0] == BASE[:7, :3].ravel(order="F").tolist()


def test_a_memoryview_of_two_dimensions_still_does_not_iterate():
    with pytest.raises(NotImplementedError):
        probe.double_matrix(memoryview(BASE))


# Whatever stands in the place of numpy


class Strange(types.ModuleType):
    def __getattr__(self, name):
        raise AssertionError(f"{name} was looked up")


def strange_module(**members):
    module = types.ModuleType("numpy")
    vars(module).update(members)
    return module


@pytest.mark.parametrize(
    "fake",
    [
        None, 7, "numpy", object(), Strange("numpy"), strange_module(),
        strange_module(ndarray=None), strange_module(ndarray=np.float64),
        strange_module(ndarray=Doubled), strange_module(ndarray=lambda: None),
    ],
)  # fmt: skip
def test_without_the_numpy_of_an_array_it_crosses_by_elements(fake, monkeypatch):
    X = BASE[:4, :3]
    monkeypatch.setitem(sys.modules, "numpy", fake)
    assert probe.read_matrix(X) == (4, 3)
    assert probe.read_matrix(Shaped([[1.0, 2.0]], (1, 2))) == (1, 2)


@pytest.mark.parametrize("kind", [list, bytearray, memoryview])
def test_a_numpy_whose_arrays_are_something_else_changes_no_result(kind, monkeypatch):
    monkeypatch.setitem(sys.modules, "numpy", strange_module(ndarray=kind, zeros=np.zeros))
    rows = kind(b"\x01\x02")
    assert probe.double_vector(rows)[0] == [1.0, 2.0]
    with pytest.raises(AttributeError if kind is not memoryview else TypeError):
        probe.double_matrix(rows)


def test_without_any_numpy_a_matrix_is_still_read(monkeypatch):
    monkeypatch.delitem(sys.modules, "numpy")
    assert probe.read_matrix(Shaped([[1.0, 2.0]], (1, 2))) == (1, 2)


# Results


# What may stand in the place of numpy.zeros and makes no array that can be written as a
# whole: not of float64, not of that shape, not in the order of C, not a plain array.
OTHER_ZEROS = {
    "float32": lambda shape: np.full(shape, 0.0, dtype="f4"),
    "column-major": lambda shape: np.full(shape, 0.0, order="F"),
    "strided": lambda shape: np.full((*shape[:-1], 2 * shape[-1]), 0.0)[..., ::2],
    "larger": lambda shape: np.full(tuple(2 * extent for extent in shape), 0.0),
    "objects": lambda shape: np.full(shape, 0.0, dtype=object),
    "subclass": lambda shape: np.full(shape, 0.0).view(np.recarray),
    "other byte order": lambda shape: np.full(shape, 0.0, dtype=">f8"),
}


@pytest.mark.parametrize("kind", OTHER_ZEROS)
def test_a_result_that_is_no_plain_array_is_written_by_elements(kind, monkeypatch):
    made = []

    def zeros(shape):
        made.append(OTHER_ZEROS[kind](shape))
        return made[-1]

    X = Shaped([[1.0, 2.0, 3.0], [4.0, 5.0, 6.0]], (2, 3))
    monkeypatch.setattr(np, "zeros", zeros)
    _, matrix = probe.double_matrix(X)
    _, vector = probe.double_vector([7.0, 8.0])
    assert matrix is made[0]
    assert matrix[:2, :3].tolist() == [[1.0, 2.0, 3.0], [4.0, 5.0, 6.0]]
    assert vector[:2].tolist() == [7.0, 8.0]
    assert matrix.sum() == 21.0


def test_a_read_only_result_hands_on_the_error_of_its_setitem(monkeypatch):
    def zeros(shape):
        array = np.ones(shape)
        array.flags.writeable = False
        return array

    monkeypatch.setattr(np, "zeros", zeros)
    with pytest.raises(ValueError, match="read-only"):
        probe.double_vector([1.0])


@given(st.integers(0, 40), st.integers(0, 40))
def test_a_matrix_written_through_memory_has_each_entry_in_its_place(rows, columns):
    out = probe.matrix_of_places(Shaped([], (rows, columns)))
    assert out.flags.c_contiguous
    np.testing.assert_array_equal(
        out, 10.0 * np.arange(rows)[:, None] + np.arange(columns)[None, :]
    )


# Nothing is held afterwards


def test_no_reference_and_no_export_outlives_a_conversion():
    memory = bytearray(BASE.tobytes())
    X = np.frombuffer(memory).reshape(BASE.shape)
    y = X[0]
    before = [sys.getrefcount(x) for x in (X, y, np.ndarray, np)]
    for _ in range(100):
        probe.double_matrix(X)
        probe.double_vector(y)
        outcome(probe.double_matrix, y)
        outcome(probe.double_vector, X)
    assert [sys.getrefcount(x) for x in (X, y, np.ndarray, np)] == before
    del X, y
    # Refused as long as anybody holds a view of it.
    memory.extend(b"more")
    assert len(memory) == BASE.nbytes + 4


def test_an_array_may_be_resized_after_it_crossed():
    X = np.ones((2, 3))
    probe.double_matrix(X)
    X.resize((4, 3))
    assert X.shape == (4, 3)
