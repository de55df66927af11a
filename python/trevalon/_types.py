# SPDX-License-Identifier: BSD-3-Clause
"""Names for the types of arguments and results."""

from __future__ import annotations

from collections.abc import Callable, Hashable, Mapping, Sequence
from typing import Any, TypeAlias

import numpy as np
import numpy.typing as npt

# What scikit-learn's validation takes: an array, a frame, a sequence of rows.
MatrixLike: TypeAlias = Any
VectorLike: TypeAlias = npt.ArrayLike

FloatArray: TypeAlias = npt.NDArray[np.float64]
IntArray: TypeAlias = npt.NDArray[np.int64]

# A number for every hyperparameter, one number each, or a function of how many there are.
Init: TypeAlias = float | Sequence[float] | FloatArray | Callable[[int], VectorLike] | None

# One strength for all columns, one for each group, or one for each column.
Strengths: TypeAlias = npt.ArrayLike

# Where a search starts; a function gets the number of groups.
StartStrengths: TypeAlias = Strengths | Callable[[int], Strengths] | None

# Which columns share hyperparameters.
Labels: TypeAlias = Sequence[Hashable] | npt.NDArray[Any]
Groups: TypeAlias = (
    str
    | int
    | Labels
    | Mapping[Hashable, Hashable]
    | Callable[[FloatArray, FloatArray], Labels]
)
