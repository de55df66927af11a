# SPDX-License-Identifier: BSD-3-Clause
"""The data that the tests of the package fit."""

import matplotlib as mpl
import numpy as np
import pytest

mpl.use("Agg")


@pytest.fixture
def regression():
    """60 rows of 4 columns in very different units, two of them without effect."""
    random = np.random.default_rng(11)
    X = random.normal(size=(60, 4)) * [1.0, 20.0, 0.05, 3.0] + [0.0, 100.0, 1.0, -5.0]
    y = 2.0 * X[:, 0] - 0.2 * X[:, 1] + random.normal(size=60) + 30.0
    return X, y


@pytest.fixture
def classification():
    """120 rows of 4 columns and labels 0 and 1 that depend on two of them."""
    random = np.random.default_rng(12)
    X = random.normal(size=(120, 4)) * [1.0, 10.0, 0.1, 2.0]
    odds = 1.5 * X[:, 0] - 0.1 * X[:, 1] + 0.5
    return X, (random.uniform(size=120) < 1.0 / (1.0 + np.exp(-odds))).astype(int)


@pytest.fixture
def skewed():
    """150 rows of 2 columns and targets whose logarithm is linear in them."""
    random = np.random.default_rng(13)
    X = random.normal(size=(150, 2)) * [1.0, 5.0]
    return X, np.exp(0.6 * X[:, 0] - 0.1 * X[:, 1] + 0.3 * random.normal(size=150) + 1.0)
