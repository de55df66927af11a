# SPDX-License-Identifier: BSD-3-Clause
"""What the tests in all folders share."""

import os
import signal

import pytest

# Set before anything imports scipy: with it scikit-learn checks estimators on array-API
# input too, instead of skipping that check.
os.environ.setdefault("SCIPY_ARRAY_API", "1")


@pytest.fixture
def ctrl_c_raises():
    """SIGINT raises KeyboardInterrupt, also where the tests run as a background job, which
    a shell starts with SIGINT ignored."""
    before = signal.signal(signal.SIGINT, signal.default_int_handler)
    yield
    signal.signal(signal.SIGINT, before)
