# SPDX-License-Identifier: BSD-3-Clause
"""Checks of constructor parameters, with the messages of scikit-learn's own estimators.

They run at `fit`, as scikit-learn's conventions require, and before anything else.
"""

from __future__ import annotations

from collections.abc import Callable, Collection
from numbers import Integral, Real

import numpy as np

from trevalon._types import FloatArray, Init, IntArray, Strengths


def _refuse(owner: object, name: str, wanted: str, value: object) -> ValueError:
    return ValueError(
        f"The {name!r} parameter of {type(owner).__name__} must be {wanted}. "
        f"Got {value!r} instead."
    )


def check_flag(owner: object, name: str) -> bool:
    value = getattr(owner, name)
    if not isinstance(value, bool | np.bool_):
        raise _refuse(owner, name, "an instance of 'bool'", value)
    return bool(value)


def check_choice(owner: object, name: str, choices: Collection[str]) -> str:
    value = getattr(owner, name)
    if not (isinstance(value, str) and value in choices):
        wanted = "a str among {" + ", ".join(map(repr, choices)) + "}"
        raise _refuse(owner, name, wanted, value)
    return value


def check_positive(owner: object, name: str) -> float:
    value = getattr(owner, name)
    # The comparison refuses NaN as well.
    if (
        not isinstance(value, Real)
        or isinstance(value, bool)
        or not 0.0 < float(value) < float("inf")
    ):
        raise _refuse(owner, name, "a float in the range (0.0, inf)", value)
    return float(value)


def check_count(owner: object, name: str, largest: int) -> int:
    value = getattr(owner, name)
    if (
        not isinstance(value, Integral)
        or isinstance(value, bool)
        or not 1 <= int(value) <= largest
    ):
        raise _refuse(owner, name, f"an int in the range [1, {largest}]", value)
    return int(value)


def check_verbosity(owner: object, name: str) -> int:
    value = getattr(owner, name)
    if not isinstance(value, Integral | np.bool_) or int(value) < 0:
        raise _refuse(owner, name, "an int in the range [0, inf)", value)
    return int(value)


def spread_strengths(
    owner: object, name: str, value: Strengths, codes: IntArray, *, allow_zero: bool
) -> FloatArray:
    """Strengths in the units of the data, one for each column.

    value : one number for all; one for each group, in the order of their codes; or one for
        each column. With as many columns as groups the numbers are those of the columns.
    codes : (p,), the group of each column; the value for a column of code -1 is not used.
    """
    if isinstance(value, str | bytes | dict | set):
        raise _refuse(owner, name, "a number or an array-like of numbers", value)
    try:
        numbers = np.asarray(value, dtype=np.float64)
    except (TypeError, ValueError) as error:
        raise _refuse(owner, name, "made of real numbers", value) from error
    groups = int(codes.max(initial=-1)) + 1
    if numbers.ndim == 0:
        numbers = np.full(len(codes), float(numbers))
    elif numbers.shape == (groups,) and groups != len(codes):
        numbers = numbers[codes]
    elif numbers.shape != codes.shape:
        raise ValueError(
            f"{name} has shape {numbers.shape}, but this fit has {len(codes)} columns "
            f"in {groups} group{'s' if groups != 1 else ''}: give one number, one for each "
            "group or one for each column"
        )
    # The comparisons refuse NaN as well.
    least = numbers >= 0.0 if allow_zero else numbers > 0.0
    if not (least & (numbers < np.inf))[codes >= 0].all():
        bound = "at or above 0" if allow_zero else "above 0"
        raise _refuse(owner, name, f"finite and {bound}", value)
    return numbers


def make_initializer(owner: object, init: Init) -> Callable[[int], FloatArray] | None:
    """The starting point as a function of the number of hyperparameters.

    What it raises inside a fit reaches the caller of the fit unchanged.
    """
    if init is None:
        return None
    if isinstance(init, str | bytes | dict | set):
        wanted = "None, a number, an array-like of numbers or a callable"
        raise _refuse(owner, "init", wanted, init)

    def start(count: int) -> FloatArray:
        values = init(count) if callable(init) else init
        try:
            point = np.asarray(values, dtype=np.float64)
        except (TypeError, ValueError) as error:
            raise _refuse(owner, "init", "made of real numbers", values) from error
        if point.ndim == 0:
            point = np.full(count, float(point))
        if point.shape != (count,):
            raise ValueError(
                f"init has shape {point.shape}, but this fit has {count} hyperparameters: "
                f"give one number, or an array of shape ({count},)"
            )
        if not np.isfinite(point).all():
            raise _refuse(owner, "init", "finite", values)
        return point

    return start
