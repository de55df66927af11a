# SPDX-License-Identifier: BSD-3-Clause
"""What the tests of the bridge share: errors compared whole, objects that are nearly
arrays, child processes, and the size of the process."""

import gc
import importlib
import importlib.util
import os
import statistics
import subprocess
import sys
from pathlib import Path

import numpy as np
import pytest

# An instrumented build ends the process where the heap is exhausted, and keeps freed memory
# back: what is asked of either is asked of the plain build alone.
SANITIZED = "TREVALON_SANITIZED" in os.environ


def load_core():
    """trevalon._core; in an instrumented build the one of the build folder, which stands
    by itself there."""
    name = "_core" if importlib.util.find_spec("_core") else "trevalon._core"
    return importlib.import_module(name)


class OwnError(Exception):
    """What callables and objects of the tests raise, told from every other error."""


def assert_raises(kind, text, function, *arguments, **keywords):
    """The call raises this very type, with this text and no other."""
    with pytest.raises(kind) as caught:
        function(*arguments, **keywords)
    assert type(caught.value) is kind
    assert str(caught.value) == text


class Shaped:
    """The least that counts as a matrix: a `shape` and an iteration, neither checked."""

    def __init__(self, rows, shape):
        self.rows = rows
        self.shape = shape

    def __iter__(self):
        return iter(self.rows)


class SizedView:
    """An array of which only shape, length and iteration can be reached."""

    def __init__(self, array):
        self.array = array
        self.shape = array.shape

    def __len__(self):
        return len(self.array)

    def __iter__(self):
        return (SizedView(x) if isinstance(x, np.ndarray) else x for x in self.array)

    def __float__(self):
        return float(self.array)


def outcome(function, *arguments):
    """What a conversion gives, or the type and text of what it raises, comparable bit by
    bit: the elements in storage order, and the array that they come back as."""
    try:
        storage, back = function(*arguments)
    except Exception as error:
        return type(error), str(error)
    return np.array(storage).tobytes(), back.shape, back.dtype, back.tobytes()


def run_child(program, *arguments):
    """Runs a program text in an interpreter of its own, with this one's import path."""
    environment = os.environ | {"PYTHONPATH": os.pathsep.join(filter(None, sys.path))}
    return subprocess.run(
        [sys.executable, "-c", program, *arguments],
        capture_output=True, text=True, env=environment, timeout=120, check=False,
    )  # fmt: skip


def resident_bytes():
    """Memory of this process that is in use, as the kernel counts it."""
    pages = int(Path("/proc/self/statm").read_text().split()[1])
    return pages * os.sysconf("SC_PAGE_SIZE")


REPETITIONS = 10_000
# A leak of 200 bytes in each repetition would show: less than any array of these tests.
ALLOWED_GROWTH = 2_000_000


def growth(action, repetitions=REPETITIONS, spans=5):
    """By how many bytes the process grows in so many repetitions, after a warm-up.

    A leak grows every span of repetitions alike. The allocator and other threads of the
    process grow it once and at any time, and what earlier tests gave back hides the first
    part of a leak: the median of the spans counts.
    """
    length = -(-repetitions // spans)
    for _ in range(repetitions // 10):
        action()
    growths = []
    for _ in range(spans):
        gc.collect()
        before = resident_bytes()
        for _ in range(length):
            action()
        gc.collect()
        growths.append(resident_bytes() - before)
    return spans * statistics.median(growths)


def expecting(kind, function, *arguments):
    def action():
        try:
            function(*arguments)
        except kind:
            return
        raise AssertionError("did not raise")

    return action
