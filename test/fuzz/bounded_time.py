# SPDX-License-Identifier: BSD-3-Clause
"""Fits random problems and tells which took long, beside the median of their size class.

    python test/fuzz/bounded_time.py --count 10000 --first 0 --limit 60

Times are those of the processor, so that other work on the machine has no part in them. A
fit cannot be interrupted from Python: each worker process writes down what it begins, and
one that exceeds the limit is ended and its problem counted as unfinished.
"""

import argparse
import json
import os
import resource
import subprocess
import sys
import tempfile
import time
from collections import defaultdict
from statistics import median

for name in ("OPENBLAS_NUM_THREADS", "OMP_NUM_THREADS"):
    os.environ.setdefault(name, "1")

FLOOR = 1e-3  # seconds; below it a time says more of the machine than of the fit


def work(first, stop, largest, limit, path):
    """Appends one line before and one after each fit of a range of seeds."""
    from random_problems import fit, random_problem

    with open(path, "a", buffering=1) as log:
        for seed in range(first, stop):
            problem = random_problem(seed, largest)
            about = {"seed": seed, "class": problem.size_class, "shape": problem.X.shape}
            log.write(json.dumps(about) + "\n")
            started = time.process_time()
            resource.setrlimit(resource.RLIMIT_CPU, (int(started) + limit + 1, -1))
            model = fit(problem)
            about["seconds"] = time.process_time() - started
            about["fitted"] = model is not None
            about["converged"] = bool(model is not None and model.within_tolerance)
            log.write(json.dumps(about) + "\n")


def run_worker(first, stop, arguments):
    """The records of a range of seeds. It goes on behind a fit beyond the limit."""
    with tempfile.NamedTemporaryFile(suffix=".jsonl") as log:
        while first < stop:
            command = [
                sys.executable,
                __file__,
                "--worker",
                f"{first}",
                f"{stop}",
                log.name,
            ]
            command += [
                "--largest",
                str(arguments.largest),
                "--limit",
                str(arguments.limit),
            ]
            child = subprocess.run(
                command,
                stderr=subprocess.DEVNULL,
                check=False,
            )
            lines = read_lines(log.name)
            if child.returncode == 0 or not lines:
                break
            if "seconds" not in lines[-1]:
                lines[-1] |= {"seconds": float("inf"), "fitted": False, "converged": False}
                with open(log.name, "a") as out:
                    out.write(json.dumps(lines[-1]) + "\n")
            first = lines[-1]["seed"] + 1
        return [line for line in read_lines(log.name) if "seconds" in line]


def read_lines(path):
    with open(path) as log:
        return [json.loads(line) for line in log]


def report(records):
    classes = defaultdict(list)
    for record in records:
        classes[tuple(record["class"])].append(record["seconds"])
    medians = {key: max(median(times), FLOOR) for key, times in classes.items()}
    for record in records:
        record["ratio"] = record["seconds"] / medians[tuple(record["class"])]
    times = [record["seconds"] for record in records]
    print(
        f"{len(records)} problems in {len(classes)} size classes: "
        f"{sum(r['fitted'] for r in records)} fitted, "
        f"{sum(r['converged'] for r in records)} within tolerance, "
        f"{sum(not t < float('inf') for t in times)} unfinished"
    )
    print(f"slowest {max(times):.2f} s, over 10 s: {sum(t > 10 for t in times)}")
    print(f"over 100 medians of their class: {sum(r['ratio'] > 100 for r in records)}")
    for key in ("seconds", "ratio"):
        print(f"largest {key}:")
        for r in sorted(records, key=lambda r: -r[key])[:8]:
            print(
                f"  seed {r['seed']} {r['class']} {r['shape']}: {r['seconds']:.2f} s, "
                f"{r['ratio']:.0f} medians, within tolerance {r['converged']}"
            )


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--count", type=int, default=1000)
    parser.add_argument("--first", type=int, default=0, help="the first seed")
    parser.add_argument("--largest", type=int, default=300, help="bound of n and p")
    parser.add_argument(
        "--limit", type=int, default=60, help="seconds until a fit is ended"
    )
    parser.add_argument("--portion", type=int, default=50, help="problems of one process")
    parser.add_argument("--records", help="also append the records to this file")
    parser.add_argument("--worker", nargs=3, help=argparse.SUPPRESS)
    arguments = parser.parse_args()
    if arguments.worker:
        first, stop, path = arguments.worker
        work(int(first), int(stop), arguments.largest, arguments.limit, path)
        return
    records = []
    last = arguments.first + arguments.count
    for first in range(arguments.first, last, arguments.portion):
        records += run_worker(first, min(first + arguments.portion, last), arguments)
        if arguments.records:
            with open(arguments.records, "w") as out:
                out.writelines(json.dumps(record) + "\n" for record in records)
    report(records)


if __name__ == "__main__":
    main()
