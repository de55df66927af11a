# SPDX-License-Identifier: BSD-3-Clause
"""Tables on the terminal, plots in a folder, and timing."""

from __future__ import annotations

import statistics
import time
import warnings
from collections.abc import Sequence
from pathlib import Path
from typing import Protocol

import matplotlib as mpl
import numpy as np
from matplotlib.axes import Axes
from matplotlib.figure import Figure
from sklearn.exceptions import ConvergenceWarning

from datasets import DemoError

mpl.use("Agg")

OUTPUT = Path("demo-output")


def print_table(title: str, header: Sequence[str], rows: Sequence[Sequence[str]]) -> None:
    """Columns as wide as their widest cell; the first one is aligned to the left."""
    widths = [max(map(len, column)) for column in zip(header, *rows, strict=True)]

    def line(cells: Sequence[str]) -> str:
        first = cells[0].ljust(widths[0])
        others = [cell.rjust(width) for cell, width in zip(cells, widths, strict=True)][1:]
        return "  ".join([first, *others])

    print(f"\n{title}\n")
    print(line(header))
    print("  ".join("-" * width for width in widths))
    for row in rows:
        print(line(row))


def panels(count: int, columns: int = 3) -> tuple[Figure, list[Axes]]:
    """A page of small pictures."""
    columns = min(columns, count)
    rows = -(-count // columns)
    figure = Figure(figsize=(3.9 * columns, 3.1 * rows), layout="constrained")
    grid = figure.subplots(rows, columns, squeeze=False).ravel()
    for unused in grid[count:]:
        unused.set_visible(False)
    return figure, list(grid[:count])


def save(figure: Figure, name: str) -> None:
    """Writes one picture and says where."""
    path = OUTPUT / f"{name}.png"
    try:
        OUTPUT.mkdir(exist_ok=True)
        figure.savefig(path, dpi=110)
    except OSError as error:
        raise DemoError(f"cannot write {path.resolve()}: {error.strerror}") from error
    print(f"wrote {path}")


class Model(Protocol):
    """The interface of what the sections fit: estimators of the package and their peers."""

    def fit(self, X: np.ndarray, y: np.ndarray) -> object: ...
    def predict(self, X: np.ndarray) -> np.ndarray: ...


def timed_fit(model: Model, X: np.ndarray, y: np.ndarray, repeats: int = 3) -> float:
    """Fits the model and returns the median wall time in seconds.

    Warnings about convergence are suppressed: the tables show the results.
    """
    times = []
    for _ in range(repeats):
        start = time.perf_counter()
        with warnings.catch_warnings():
            warnings.simplefilter("ignore", ConvergenceWarning)
            model.fit(X, y)
        times.append(time.perf_counter() - start)
    return statistics.median(times)


def milliseconds(seconds: float) -> str:
    return f"{1e3 * seconds:.1f} ms"


def root_mean_square(error: np.ndarray) -> float:
    return float(np.sqrt(np.mean(np.square(error))))


def few(values: np.ndarray) -> str:
    """The numbers themselves, or their range where there are many."""
    if len(values) <= 3:
        return " ".join(f"{value:.3g}" for value in values)
    return f"{np.min(values):.2g} to {np.max(values):.2g}"
