# SPDX-License-Identifier: BSD-3-Clause
"""Transfer of arrays between numpy and the core: reading X, predicting from X in place, and
the memory pages that a fit maps."""

from __future__ import annotations

import subprocess
import sys
from collections.abc import Iterator

import numpy as np
import trevalon_conversion_probe as probe
from trevalon_impl import RidgeRegressionModel

from harness import Row, compare
from ridge import made_data


def random_matrix(n: int, p: int) -> np.ndarray:
    return np.random.default_rng(0).normal(size=(n, p))


def reading(n: int, p: int) -> Row:
    """The conversion alone, as the first step of a fit makes it."""
    X = random_matrix(n, p)
    ratio, detail = compare(
        lambda: probe.read_matrix(X), lambda: np.asfortranarray(X), turns=9
    )
    return Row(f"reading X, ({n}, {p})", "numpy.asfortranarray(X)", ratio, 2.0, detail)


def reading_columns(n: int, p: int) -> Row:
    """Of a column-major X, which asfortranarray would not copy at all."""
    X = np.asfortranarray(random_matrix(n, p))
    ratio, detail = compare(
        lambda: probe.read_matrix(X), lambda: X.copy(order="F"), turns=9
    )
    return Row(
        f"reading X, column-major, ({n}, {p})", 'X.copy(order="F")', ratio, 2.0, detail
    )


def prediction(layout: str) -> Row:
    X, y = made_data(1_000_000, 20)
    model = RidgeRegressionModel()
    model.fit(X[:1000], y[:1000])
    if layout == "column-major":
        X = np.asfortranarray(X)
    w = model.weights[:20].copy()
    b = model.predict(np.zeros((1, 20)))[0]
    ratio, detail = compare(lambda: model.predict(X), lambda: X @ w + b, turns=15)
    return Row(f"ridge predict, {layout}, (1000000, 20)", "X @ w + b", ratio, 1.5, detail)


# Large pages are off in the process that is measured (prctl 41 is PR_SET_THP_DISABLE), so
# that one fault is one page of 4096 bytes and the figure counts passes over memory.
_FAULTS = """
import ctypes
import resource
import numpy as np
from trevalon_impl import RidgeRegressionModel

assert ctypes.CDLL(None).prctl(41, 1, 0, 0, 0) == 0
random = np.random.default_rng(0)
X = random.normal(size=(100_000, 100))
y = X.sum(axis=1) + random.normal(size=len(X))
model = RidgeRegressionModel(score="SCORE", grouping_mode="GROUPING")
model.fit(X[:500], y[:500])
before = resource.getrusage(resource.RUSAGE_SELF).ru_minflt
model.fit(X, y)
faults = resource.getrusage(resource.RUSAGE_SELF).ru_minflt - before
print(faults * resource.getpagesize() / X.nbytes)
"""


def page_faults(score: str, grouping: str) -> Row:
    """Each page is mapped about once, whatever the number of evaluations."""
    program = _FAULTS.replace("SCORE", score).replace("GROUPING", grouping)
    result = subprocess.run(
        [sys.executable, "-c", program], capture_output=True, text=True, check=True
    )
    return Row(
        f"page faults of a ridge fit, {score}, {grouping}, (100000, 100), in bytes",
        "bytes of X",
        float(result.stdout),
        4.0,
    )


def rows() -> Iterator[Row]:
    for n, p in ((1_000_000, 20), (100_000, 100), (10_000, 1000), (1000, 100)):
        yield reading(n, p)
    yield reading_columns(1_000_000, 20)
    for layout in ("row-major", "column-major"):
        yield prediction(layout)
    for score in ("gcv", "loocv"):
        for grouping in ("all", "none"):
            yield page_faults(score, grouping)
