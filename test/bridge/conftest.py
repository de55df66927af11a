# SPDX-License-Identifier: BSD-3-Clause
"""The data that the tests of the bridge fit."""

import numpy as np
import pytest

from bridge_support import SANITIZED

collect_ignore_glob = ["test_*memory.py", "test_failing_allocation.py"] if SANITIZED else []


@pytest.fixture
def problem():
    """30 observations of 4 features, with a target that depends on two of them."""
    random = np.random.default_rng(7)
    X = random.normal(size=(30, 4))
    y = 2.0 * X[:, 0] - X[:, 2] + 0.3 * random.normal(size=30) + 1.5
    return X, y
