# SPDX-License-Identifier: BSD-3-Clause
"""Small linear algebra after a fit goes without BLAS threads.

The idle workers of the extension module's BLAS keep the other cores busy for some 20 ms
after a fit, in the expectation of more work. What numpy or scipy hand to workers of their
own in that time waits for a core, longer than it takes to compute.
"""

from __future__ import annotations

import functools
from contextlib import AbstractContextManager

from threadpoolctl import ThreadpoolController


def one_blas_thread() -> AbstractContextManager[object]:
    """A scope in which every BLAS of the process uses the calling thread only."""
    limiter: AbstractContextManager[object] = _blas().limit(limits=1)
    return limiter


@functools.cache
def _blas() -> ThreadpoolController:
    # The search through the libraries of the process takes 6 ms.
    return ThreadpoolController().select(user_api="blas")
