# SPDX-License-Identifier: BSD-3-Clause
"""Conversion of every form of `groups`: which columns share their hyperparameters.

Every form that names groups becomes one code per column, 0 to k - 1 in the order of the
sorted labels, or in the order of appearance where labels do not sort. `UNPENALIZED` marks
a column that has no penalty.
"""

from __future__ import annotations

import contextlib
from collections.abc import Hashable, Mapping, Sequence
from numbers import Integral
from typing import Any, NamedTuple

import numpy as np
import numpy.typing as npt

from trevalon._types import FloatArray, Groups, IntArray

UNPENALIZED = -1


class Grouping(NamedTuple):
    """Codes per column where they are known ahead of the fit; else a number to find.

    mode : the extension module's name of the grouping, if it has one.
    """

    codes: IntArray | None
    labels: npt.NDArray[Any] | None = None
    number_to_find: int = 0
    mode: str | None = None

    def labels_of(self, codes: IntArray) -> npt.NDArray[Any]:
        """The label of each group; its number where groups were not labelled."""
        if self.labels is not None:
            return self.labels
        return np.arange(int(codes.max()) + 1)


def penalized_codes(codes: IntArray) -> IntArray:
    """The codes, where every column has a penalty."""
    if (codes == UNPENALIZED).any():
        raise ValueError(
            "groups has the label None, but a ridge fit penalizes every column: "
            "give each column a label"
        )
    return codes


def resolve_groups(
    groups: Groups, X: FloatArray, y: FloatArray, names: Sequence[str] | None
) -> Grouping:
    """Converts every form of `groups` to codes, or to a number of groups to find.

    Raises ValueError where `groups` has none of the forms or does not fit the columns.
    """
    columns = X.shape[1]
    if isinstance(groups, str):
        return _named_mode(groups, columns)
    if isinstance(groups, Integral) and not isinstance(groups, bool):
        if groups < 1:
            raise ValueError(f"groups={groups!r}: a number of groups to find is at least 1")
        # More groups than columns means one group per column. The limit keeps the number
        # within the range of every integer type.
        return Grouping(codes=None, number_to_find=min(int(groups), columns))
    labels = groups(X, y) if callable(groups) else groups
    if isinstance(labels, Mapping):
        labels = _labels_by_name(labels, names)
    return _encode(_as_list(labels, columns))


def _named_mode(groups: str, columns: int) -> Grouping:
    if groups == "all":
        return Grouping(np.zeros(columns, dtype=np.int64), np.arange(1), mode=groups)
    if groups == "none":
        return Grouping(np.arange(columns), np.arange(columns), mode=groups)
    raise ValueError(
        "groups must be 'all', 'none', a number of groups, one label per column, a mapping "
        f"from column names to labels or a callable. Got {groups!r} instead."
    )


def _labels_by_name(
    labels: Mapping[Hashable, Hashable], names: Sequence[str] | None
) -> list[Hashable]:
    if names is None:
        raise ValueError(
            "groups maps column names to labels, but X has no column names: "
            "fit on a data frame, or give one label per column"
        )
    unknown = [name for name in labels if name not in set(names)]
    missing = [name for name in names if name not in labels]
    if unknown or missing:
        raise ValueError(
            "groups must name every column of X once; "
            f"not a column: {unknown}; without a label: {missing}"
        )
    return [labels[name] for name in names]


def _as_list(labels: object, columns: int) -> list[Hashable]:
    if isinstance(labels, np.ndarray):
        labels = labels.tolist()
    elif hasattr(labels, "to_list"):  # a column of a pandas or polars frame
        labels = labels.to_list()
    if not isinstance(labels, list | tuple):
        raise ValueError(
            f"groups must give one label per column, as a list or an array. Got {labels!r}."
        )
    if len(labels) != columns:
        raise ValueError(f"groups has {len(labels)} labels, but X has {columns} columns")
    for label in labels:
        # NaN differs from itself.
        if not isinstance(label, Hashable) or label != label:
            raise ValueError(f"groups has the label {label!r}, which equals no other label")
    return list(labels)


def _encode(labels: list[Hashable]) -> Grouping:
    distinct: list[Any] = [label for label in dict.fromkeys(labels) if label is not None]
    # Labels of mixed types do not sort.
    with contextlib.suppress(TypeError):
        distinct.sort()
    numbers: dict[Hashable, int] = {label: code for code, label in enumerate(distinct)}
    numbers[None] = UNPENALIZED
    codes = np.array([numbers[label] for label in labels], dtype=np.int64)
    kept = np.empty(len(distinct), dtype=object)
    kept[:] = distinct
    return Grouping(codes, kept)
