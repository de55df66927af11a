# SPDX-License-Identifier: BSD-3-Clause
"""The table of Gauss-Hermite rules against numpy's rules and against 40 digits.

numpy's weights of large rules are off by more than 1e-14 themselves; by how much is told by
arithmetic with more digits, in which a root x of the Hermite polynomial H_n has the weight
2^(n-1) n! sqrt(pi) / (n H_(n-1)(x))^2: Abramowitz and Stegun, 25.4.46.
"""

import itertools
import re
from pathlib import Path

import mpmath
import numpy as np
import pytest

SOURCES = Path(__file__).parents[5] / "src/model/warped_linear_regression/prediction"
COUNTS = range(1, 51)


def read(name):
    """The numbers of the non-negative nodes, rule after rule."""
    text = (SOURCES / f"gauss_hermite_{name}.inc").read_text()
    numbers = [float(n) for n in re.findall(r"[0-9.e+-]+(?=,)", text)]
    ends = list(itertools.accumulate((count + 1) // 2 for count in COUNTS))
    assert len(numbers) == ends[-1]
    return np.split(numbers, ends[:-1])


NODES, WEIGHTS = read("nodes"), read("weights")


def exact_rule(nodes, count):
    """The roots next to the given nodes, by Newton's method, and their weights."""

    def hermite(order, x):
        return mpmath.hermite(order, x)

    with mpmath.workdps(40):
        roots, weights = [], []
        for node in nodes:
            x = mpmath.mpf(float(node))
            for _ in range(3):
                x -= hermite(count, x) / (2 * count * hermite(count - 1, x))
            roots.append(x)
            factor = mpmath.mpf(2) ** (count - 1) * mpmath.factorial(count)
            weight = factor * mpmath.sqrt(mpmath.pi) / (count * hermite(count - 1, x)) ** 2
            weights.append(weight)
        return np.array(roots, dtype=float), np.array(weights, dtype=float)


@pytest.mark.parametrize("count", COUNTS)
def test_a_rule_is_that_of_numpy_as_far_as_numpy_is_right(count):
    nodes, weights = NODES[count - 1], WEIGHTS[count - 1]
    numpy_nodes, numpy_weights = (half[count // 2 :] for half in
                                  np.polynomial.hermite.hermgauss(count))  # fmt: skip
    exact_nodes, exact_weights = exact_rule(nodes, count)
    np.testing.assert_allclose(nodes, numpy_nodes, rtol=1e-14)
    # The table is rounded once.
    np.testing.assert_array_equal(nodes, exact_nodes)
    np.testing.assert_array_equal(weights, exact_weights)
    error_of_numpy = np.abs(numpy_weights - exact_weights)
    assert np.all(np.abs(weights - numpy_weights) <= 1e-14 * weights + error_of_numpy)
    assert np.all(error_of_numpy < 1e-13 * weights)
