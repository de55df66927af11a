# SPDX-License-Identifier: BSD-3-Clause
"""The two labels of a classification, and which of them each row has."""

from __future__ import annotations

from typing import Any

import numpy as np
import numpy.typing as npt
from sklearn.utils.multiclass import check_classification_targets, type_of_target


def two_classes(y: npt.NDArray[Any]) -> tuple[npt.NDArray[Any], npt.NDArray[np.intp]]:
    """The labels in ascending order, and each row's place among them."""
    return _two_whole_numbers(y) or _two_labels(y)


def _two_whole_numbers(
    y: npt.NDArray[Any],
) -> tuple[npt.NDArray[Any], npt.NDArray[np.intp]] | None:
    """Without a sort; None where y holds anything else, or numbers so large that all of
    them are whole."""
    if y.dtype.kind not in "biuf":
        return None
    classes = np.array([y.min(), y.max()])
    if classes[0] == classes[1]:
        return None
    if y.dtype.kind == "f":
        is_whole = (classes == np.trunc(classes)) & (np.abs(classes) < 2.0**53)
        if not is_whole.all():
            return None
    upper = y == classes[1]
    if not np.all(upper | (y == classes[0])):
        return None
    return classes, upper.astype(np.intp)


def _two_labels(y: npt.NDArray[Any]) -> tuple[npt.NDArray[Any], npt.NDArray[np.intp]]:
    kind = type_of_target(y, input_name="y", raise_unknown=True)
    if kind != "binary":
        check_classification_targets(y)
        raise ValueError(
            f"Only binary classification is supported. The type of the target is {kind}."
        )
    classes, codes = np.unique(y, return_inverse=True)
    if len(classes) < 2:
        raise ValueError(
            "A classifier needs two classes in y, but this y has one class: "
            f"{classes.tolist()}"
        )
    return classes, codes
