#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-3-Clause
"""Writes gauss_hermite_nodes.inc and gauss_hermite_weights.inc beside this file.

The nodes of the rule with n points are the roots of the Hermite polynomial H_n, found by
bisection between the roots of H_(n-1), which interlace with them; the weights are
2^(n-1) n! sqrt(pi) / (n H_(n-1)(x))^2. All in 60 digits, rounded once to double. A rule is
symmetric: its non-negative nodes, ascending, are what is stored, rule after rule.
Needs mpmath: `python gauss_hermite_table.py`.
"""

import itertools
from pathlib import Path

import mpmath

LARGEST_RULE = 50
mpmath.mp.dps = 60


def hermite(n, x):
    previous, current = mpmath.mpf(0), mpmath.mpf(1)
    for k in range(n):
        previous, current = current, 2 * x * current - 2 * k * previous
    return current, previous


def roots(n, inner):
    bound = mpmath.sqrt(2 * n + 1)
    ends = [-bound, *inner, bound]
    found = []
    for left, right in itertools.pairwise(ends):
        low, high = left, right
        sign = mpmath.sign(hermite(n, low)[0])
        for _ in range(30):
            middle = (low + high) / 2
            if mpmath.sign(hermite(n, middle)[0]) == sign:
                low = middle
            else:
                high = middle
        x = (low + high) / 2
        for _ in range(5):
            value, previous = hermite(n, x)
            x -= value / (2 * n * previous)
        found.append(x)
    return found


def weight(n, x):
    previous = hermite(n, x)[1]
    return (
        mpmath.mpf(2) ** (n - 1)
        * mpmath.factorial(n)
        * mpmath.sqrt(mpmath.pi)
        / (n * previous) ** 2
    )


def write(name, numbers):
    lines = ["// Written by gauss_hermite_table.py."]
    for first in range(0, len(numbers), 3):
        lines.append(" ".join(f"{float(x)!r}," for x in numbers[first : first + 3]))
    Path(__file__).with_name(name).write_text("\n".join(lines) + "\n")


def main():
    nodes, weights, inner = [], [], []
    for n in range(1, LARGEST_RULE + 1):
        inner = roots(n, inner)
        if n % 2:
            inner[n // 2] = mpmath.mpf(0)
        half = inner[n // 2 :]
        nodes += half
        weights += [weight(n, x) for x in half]
    write("gauss_hermite_nodes.inc", nodes)
    write("gauss_hermite_weights.inc", weights)


if __name__ == "__main__":
    main()
