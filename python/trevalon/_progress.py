# SPDX-License-Identifier: BSD-3-Clause
"""Progress of a running fit: lines on standard error, and scikit-learn's callbacks.

scikit-learn has callbacks from release 1.9 on. Where it has none, estimators have no
`set_callbacks`, and all else is the same.
"""

from __future__ import annotations

import sys
from collections.abc import Callable, Iterator
from contextlib import contextmanager
from typing import Any, TypeAlias

from trevalon._types import FloatArray

try:
    from sklearn.callback import CallbackSupportMixin, with_callbacks

    HAS_CALLBACKS = True
except ImportError:

    class CallbackSupportMixin:  # type: ignore[no-redef]
        """The base class if scikit-learn has no callbacks."""

    def with_callbacks(method: Any) -> Any:
        return method

    HAS_CALLBACKS = False

__all__ = ["HAS_CALLBACKS", "CallbackSupportMixin", "observed_fit", "with_callbacks"]

# Called after iteration 0, which is the start point, 1, 2 and so on, with the criterion,
# the gradient's largest entry, the trust region's radius and the hyperparameters. True
# ends the fit at this point.
Observer: TypeAlias = Callable[[int, float, float, float, FloatArray], bool]


@contextmanager
def observed_fit(estimator: Any, X: FloatArray, y: FloatArray) -> Iterator[Observer | None]:
    """The context of a fit and of setting its attributes. Yields the function to call after
    each iteration, or None if there are neither callbacks nor verbose output."""
    watchers: list[Callable[[int, float, float, float], bool]] = []
    if estimator.verbose:
        watchers.append(_printer(type(estimator).__name__))
    context = None
    if getattr(estimator, "_skl_callbacks", None):
        context = estimator._init_callback_context(max_subtasks=None)
        context.call_on_fit_task_begin(estimator=estimator, X=X, y=y)
        watchers.append(_iteration_tasks(estimator, context, X, y))

    def observe(
        iteration: int, value: float, gradient: float, radius: float, _: FloatArray
    ) -> bool:
        if iteration == 0:
            return False
        answers = [watch(iteration, value, gradient, radius) for watch in watchers]
        return any(answers)

    yield observe if watchers else None
    if context is not None:
        context.call_on_fit_task_end(
            estimator=estimator, X=X, y=y, reconstruction_attributes=dict
        )


def _printer(name: str) -> Callable[[int, float, float, float], bool]:
    def write(iteration: int, value: float, gradient: float, radius: float) -> bool:
        line = f"[{name}] iteration {iteration}: criterion {value:.8g}"
        if radius == radius:  # NaN where a search has no derivatives
            line += f", gradient {gradient:.2e}, radius {radius:.2e}"
        print(line, file=sys.stderr)
        return False

    return write


def _iteration_tasks(
    estimator: Any, context: Any, X: FloatArray, y: FloatArray
) -> Callable[[int, float, float, float], bool]:
    """Each iteration is a task of its own, below that of the fit. The callbacks
    get no estimator, because during the fit there is none that can predict."""

    def report(iteration: int, value: float, gradient: float, radius: float) -> bool:
        task = context.subcontext(task_name="iteration")
        task.call_on_fit_task_begin(estimator=estimator, X=X, y=y)
        return bool(task.call_on_fit_task_end(estimator=estimator, X=X, y=y))

    return report
