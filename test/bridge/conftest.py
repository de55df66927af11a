# SPDX-License-Identifier: BSD-3-Clause
"""What the tests of the bridge share: data, child processes, the size of the process."""

import os
import subprocess
import sys
from pathlib import Path

import numpy as np
import pytest

# An instrumented build ends the process where the heap is exhausted, and keeps freed memory
# back: what is asked of either is asked of the plain build alone.
SANITIZED = "TREVALON_SANITIZED" in os.environ
collect_ignore = ["test_memory.py"] if SANITIZED else []


class Shaped:
    """The least that counts as a matrix: a `shape` and an iteration, neither checked."""

    def __init__(self, rows, shape):
        self.rows = rows
        self.shape = shape

    def __iter__(self):
        return iter(self.rows)


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


@pytest.fixture
def problem():
    """30 observations of 4 features, with a target that depends on two of them."""
    random = np.random.default_rng(7)
    X = random.normal(size=(30, 4))
    y = 2.0 * X[:, 0] - X[:, 2] + 0.3 * random.normal(size=30) + 1.5
    return X, y
