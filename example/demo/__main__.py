# SPDX-License-Identifier: BSD-3-Clause
"""Fits the models on real data, prints a table and writes pictures.

Without arguments the data are sets that ship with installed packages; with a CSV file and
the name of its target column they are the user's.
"""

from __future__ import annotations

import argparse
import sys

import numpy as np

import logistic_section
import ridge_section
import warped_section
from datasets import (
    Dataset,
    DemoError,
    binary_sets,
    regression_sets,
    skewed_sets,
)
from table_file import read_table


def run_on(dataset: Dataset) -> None:
    """The models that fit the user's target: two values are classes, others are numbers."""
    if dataset.classes:
        print("Two classes: {} is 0, {} is 1.".format(*dataset.classes))
        logistic_section.run([dataset])
        return
    ridge_section.run([dataset])
    n, p = dataset.X.shape
    if p + 1 < 0.8 * n and np.linalg.matrix_rank(dataset.X - dataset.X.mean(axis=0)) == p:
        warped_section.run([dataset])
    else:
        print("\nThe warped model needs independent columns, fewer than rows: left out.")


def main() -> int:
    parser = argparse.ArgumentParser(prog="./run demo", description=__doc__)
    parser.add_argument(
        "file", nargs="?", metavar="FILE.csv", help="a table with a header line"
    )
    parser.add_argument("--target", metavar="NAME", help="the column to predict")
    arguments = parser.parse_args()
    try:
        if arguments.file is None:
            if arguments.target is not None:
                raise DemoError("--target needs a file: ./run demo FILE.csv --target NAME")
            ridge_section.run(list(regression_sets()))
            logistic_section.run(list(binary_sets()))
            warped_section.run(list(skewed_sets()))
        else:
            run_on(read_table(arguments.file, arguments.target))
    except DemoError as error:
        print(f"./run demo: {error}", file=sys.stderr)
        return 2
    return 0


if __name__ == "__main__":
    sys.exit(main())
