# SPDX-License-Identifier: BSD-3-Clause
"""A call that a failed allocation meets gives the right result or raises: never another
result, never the end of the process.

Two libraries make memory in a way that cannot report a failure, and end the process
themselves: OpenBLAS, and scratch memory where it does not fit its arena of 2 MiB.
"""

import re

import pytest

from bridge_allocations import LARGE, LOGISTIC, RIDGE, WARPED
from bridge_support import ALLOWED_GROWTH
from failing_heap import attempts, run_with_failing_heap

# Requests refused in each scenario and each way.
LIMIT = 8

# Some kernels of OpenBLAS have thread-local buffers, for which the C library asks the heap
# when a thread first uses them.
THREAD_LOCAL_BUFFERS = "cannot allocate memory for thread-local data: ABORT"
# What the C++ runtime says of std::terminate, as opposed to an exception that escaped.
SCRATCH_EXHAUSTED = "terminate called without an active exception"


def is_documented(attempt):
    """MemoryError; and from `fit` an error with the model's name, whose cause it is."""
    if attempt["raised"] == "MemoryError":
        return True
    return (
        attempt["raised"] == "RuntimeError"
        and attempt["text"].startswith("failed to fit ")
        and attempt["cause"] == "MemoryError"
    )


def check(tried, *reasons_to_end):
    """Returns how many of the attempts raised."""
    num_raised = 0
    for attempt in tried:
        if "raised" in attempt:
            assert is_documented(attempt), attempt
            assert attempt["kept"], attempt
            assert attempt["recovered"], attempt
            num_raised += 1
        elif "ended" in attempt:
            assert any(reason in attempt["stderr"] for reason in reasons_to_end), attempt
        else:
            assert attempt["right"], attempt
    return num_raised


@pytest.mark.parametrize(
    "scenarios", [RIDGE, LOGISTIC, WARPED], ids=["ridge", "logistic", "warped"]
)
def test_a_failed_allocation_leaves_the_right_result_or_an_exception(scenarios):
    tried = attempts("bridge_allocations", LIMIT, *scenarios)
    assert check(tried, THREAD_LOCAL_BUFFERS) > 100


def test_a_failed_allocation_in_a_large_fit_ends_the_process_for_scratch_memory_alone():
    tried = attempts("bridge_allocations", LIMIT, *LARGE)
    assert check(tried, THREAD_LOCAL_BUFFERS, SCRATCH_EXHAUSTED) > 10


@pytest.mark.parametrize("request_number", [1, 9, 20])
@pytest.mark.parametrize("name", ["ridge groups", "logistic callables", "warped two steps"])
def test_ten_thousand_fits_without_memory_do_not_grow_the_process(name, request_number):
    program = (
        "import bridge_allocations;"
        f"growth = bridge_allocations.growth_by_failures({name!r}, {request_number});"
        "print('growth', growth)"
    )
    # LAPACKE prints, too, through another buffer: ours may stand amid one of its lines.
    printed = run_with_failing_heap("-c", program)
    [growth] = re.findall(r"growth (\S+)\n", printed)
    assert float(growth) < ALLOWED_GROWTH
