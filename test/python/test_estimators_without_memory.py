# SPDX-License-Identifier: BSD-3-Clause
"""A call of an estimator with a failed allocation gives the right result or raises an error
of memory: never another result, never a message about the data.

The process ends if OpenBLAS cannot allocate the buffers that a thread needs once for some
kernels: the C library allocates them, and cannot report a failure."""

import estimator_allocations
import pytest

from failing_heap import attempts

LIMIT = 6
THREAD_LOCAL_BUFFERS = "cannot allocate memory for thread-local data: ABORT"


def is_memory_error(attempt):
    """MemoryError, or what numpy and the interpreter raise in some places instead."""
    if attempt["raised"] == "SystemError":
        return "without setting an exception" in attempt["text"] or (
            attempt["text"] == "error return without exception set"
        )
    if attempt["raised"] == "RuntimeError":
        return attempt["text"] in ("can't allocate lock", "can't allocate read lock")
    return attempt["raised"] == "MemoryError"


@pytest.mark.parametrize("estimator", ["ridge", "logistic", "warped"])
def test_a_failed_allocation_gives_the_right_result_or_raises(estimator):
    names = [name for name in estimator_allocations.SCENARIOS if estimator in name]
    num_memory_errors = 0
    for attempt in attempts("estimator_allocations", LIMIT, *names):
        if "raised" in attempt:
            assert is_memory_error(attempt), attempt
            assert attempt["kept"], attempt
            assert attempt["recovered"], attempt
            num_memory_errors += attempt["raised"] == "MemoryError"
        elif "ended" in attempt:
            assert THREAD_LOCAL_BUFFERS in attempt["stderr"], attempt
        else:
            assert attempt["right"], attempt
    assert num_memory_errors > 20
