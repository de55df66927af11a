# SPDX-License-Identifier: BSD-3-Clause
"""Strengths of the penalties of a logistic regression: their names, the forms in which they
are given, and the shape of the criterion's gradient."""

from __future__ import annotations

from collections.abc import Callable, Mapping
from typing import TypeAlias

import numpy as np

from trevalon._groups import UNPENALIZED
from trevalon._parameters import spread_strengths
from trevalon._types import FloatArray, IntArray, Strengths

# The hyperparameters of each penalty: what `strength` and `init` name them by, and the
# attributes that hold them.
KINDS = {
    "l2": {"l2": "l2_strength_"},
    "l1": {"l1": "l1_strength_"},
    "elasticnet": {"l2": "l2_strength_", "l1": "l1_strength_"},
    "bridge": {"strength": "bridge_strength_", "exponent": "bridge_exponent_"},
}

PenaltyStrengths: TypeAlias = Strengths | Mapping[str, Strengths]
PenaltyStart: TypeAlias = PenaltyStrengths | Callable[[int], PenaltyStrengths] | None


def by_kind(
    owner: object, name: str, penalty: str, value: PenaltyStrengths
) -> dict[str, Strengths]:
    """The strengths of each kind of the penalty, in the order of the core."""
    kinds = KINDS[penalty]
    if isinstance(value, Mapping):
        if set(value) == set(kinds):
            return {kind: value[kind] for kind in kinds}
    elif len(kinds) == 1:
        return dict.fromkeys(kinds, value)
    raise ValueError(
        f"The {name!r} parameter of {type(owner).__name__} must be a mapping with the "
        f"keys {', '.join(map(repr, kinds))} for penalty={penalty!r}. "
        f"Got {value!r} instead."
    )


def strength_table(
    owner: object, name: str, penalty: str, value: PenaltyStrengths, codes: IntArray
) -> FloatArray:
    """Strengths as the core takes them, (n_features, kinds)."""
    given = by_kind(owner, name, penalty, value)
    columns = [
        spread_strengths(owner, name, numbers, codes, allow_zero=True)
        for numbers in given.values()
    ]
    if "exponent" in given and (columns[-1][codes != UNPENALIZED] < 1.0).any():
        raise ValueError(
            f"The 'exponent' of {name!r} must be at least 1. "
            f"Got {given['exponent']!r} instead."
        )
    return np.column_stack(columns)


class GradientSlots:
    """Maps derivatives for groups of columns to the shape in which strengths were given.

    groups : the coarsest codes for which each group has one strength of every kind.
    """

    def __init__(self, given: Mapping[str, Strengths], codes: IntArray) -> None:
        self._shapes = {kind: np.shape(value) for kind, value in given.items()}
        self._places = {
            kind: _places_of(shape, codes) for kind, shape in self._shapes.items()
        }
        finest = max(self._places.values(), key=np.max)
        penalized = np.flatnonzero(codes != UNPENALIZED)
        self.groups = np.full_like(codes, UNPENALIZED)
        _, first, self.groups[penalized] = np.unique(
            finest[penalized], return_index=True, return_inverse=True
        )
        self._leaders = penalized[first]

    def fill(self, gradient: FloatArray) -> PenaltyStrengths:
        """Derivatives (groups, kinds), summed over groups that share a given strength."""
        sums = {
            kind: self._sum(kind, slopes)
            for kind, slopes in zip(self._shapes, gradient.T, strict=True)
        }
        return sums if len(sums) > 1 else next(iter(sums.values()))

    def _sum(self, kind: str, slopes: FloatArray) -> float | FloatArray:
        if self._shapes[kind] == ():
            return float(slopes.sum())
        sums = np.zeros(self._shapes[kind])
        np.add.at(sums, self._places[kind][self._leaders], slopes)
        return sums


def _places_of(shape: tuple[int, ...], codes: IntArray) -> IntArray:
    """Which of the strengths given in this shape is that of each column."""
    if shape == ():
        return np.zeros_like(codes)
    return np.arange(len(codes)) if shape == codes.shape else codes
