# SPDX-License-Identifier: BSD-3-Clause
"""Runs the benchmarks, prints their table and writes it to bench-output/results.json."""

from __future__ import annotations

import argparse
import json
from dataclasses import asdict
from pathlib import Path

import array_conversion
import logistic
import package
import ridge
import warped

SECTIONS = {
    "ridge": ridge.rows,
    "logistic": logistic.rows,
    "warped": warped.rows,
    "package": package.rows,
    "conversion": array_conversion.rows,
}


def main() -> None:
    parser = argparse.ArgumentParser(prog="./run bench", description=__doc__)
    parser.add_argument(
        "section", nargs="*", choices=[*SECTIONS, []], help="which ones; all without"
    )
    sections = parser.parse_args().section or list(SECTIONS)
    results = []
    for section in sections:
        print(f"\n{section}\n")
        for row in SECTIONS[section]():
            limit = "" if row.limit is None else f"  (at most {row.limit:g})"
            verdict = "MISSED" if row.limit is not None and row.figure > row.limit else "ok"
            print(f"  {row.figure:7.2f} x {row.baseline}{limit}  {verdict}: {row.what}")
            if row.detail:
                print(f"            {row.detail}")
            results.append(asdict(row))
    output = Path("bench-output")
    output.mkdir(exist_ok=True)
    (output / "results.json").write_text(json.dumps(results, indent=2) + "\n")


if __name__ == "__main__":
    main()
