# SPDX-License-Identifier: BSD-3-Clause
"""Fits the models on real data, prints a table and writes pictures.

Without arguments the data are sets that ship with installed packages; with a CSV file and
the name of its target column they are the user's.
"""

from __future__ import annotations

import argparse
import sys

import ridge_section
from datasets import DemoError, read_csv, regression_sets


def main() -> int:
    parser = argparse.ArgumentParser(prog="./run demo", description=__doc__)
    parser.add_argument("file", nargs="?", metavar="FILE.csv", help="a table of numbers")
    parser.add_argument("--target", metavar="NAME", help="the column to predict")
    arguments = parser.parse_args()
    try:
        if arguments.file is None:
            if arguments.target is not None:
                raise DemoError("--target needs a file: ./run demo FILE.csv --target NAME")
            ridge_section.run(list(regression_sets()))
        else:
            ridge_section.run([read_csv(arguments.file, arguments.target)])
    except DemoError as error:
        print(f"./run demo: {error}", file=sys.stderr)
        return 2
    return 0


if __name__ == "__main__":
    sys.exit(main())
