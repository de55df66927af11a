# SPDX-License-Identifier: BSD-3-Clause
"""Fits the same random problems with two builds of `trevalon_impl` and compares results.

    PYTHONPATH=BUILD python test/fuzz/same_results.py dump FILE --count 600
    python test/fuzz/same_results.py compare OLD_FILE NEW_FILE

Each fit runs in a process of its own with a limit on its processor time: an older build may
not end on all of them.
"""

import argparse
import os
import pickle
import resource
from collections import Counter

import numpy as np

os.environ.setdefault("OPENBLAS_NUM_THREADS", "1")


def outcome(seed, largest):
    from random_problems import fit, random_problem

    problem = random_problem(seed, largest)
    model = fit(problem)
    if model is None:
        return {"kind": problem.size_class, "fitted": False, "converged": False}
    if problem.model == "logistic":
        predictions = model.predict_proba(problem.X)[:, 1]
    else:
        predictions = model.predict(problem.X)
    return {
        "kind": problem.size_class,
        "fitted": True,
        "converged": model.within_tolerance,
        "predictions": np.asarray(predictions),
    }


def outcome_within(seed, largest, limit):
    """That of a process of its own; None where it takes too long."""
    reader, writer = os.pipe()
    child = os.fork()
    if child == 0:
        resource.setrlimit(resource.RLIMIT_CPU, (limit, limit))
        with os.fdopen(writer, "wb") as out:
            out.write(pickle.dumps(outcome(seed, largest)))
        os._exit(0)
    os.close(writer)
    with os.fdopen(reader, "rb") as pipe:
        written = pipe.read()
    os.waitpid(child, 0)
    return pickle.loads(written) if written else None


def compare(old, new, tolerance):
    """Of the fits that met their tolerance in the old build: how many differ, and where."""
    counts = Counter()
    for seed, before in old.items():
        after = new[seed]
        counts["unfinished before"] += before is None
        counts["unfinished after"] += after is None
        if before is None or not before["converged"]:
            counts["within tolerance after alone"] += bool(after and after["converged"])
            continue
        counts["within tolerance before"] += 1
        name = "/".join(map(str, before["kind"]))
        if after is None or not after["fitted"]:
            print(f"seed {seed} {name}: no longer fitted")
            continue
        scale = 1.0 if before["kind"][0] == "logistic" else np.std(before["predictions"])
        change = np.abs(after["predictions"] - before["predictions"]).max()
        same = change <= tolerance * scale
        counts["of these, the same predictions"] += same
        counts["of these, within tolerance after"] += bool(after["converged"])
        if not same or not after["converged"]:
            print(
                f"seed {seed} {name}: predictions change by {change / scale:.1e}, "
                f"within tolerance after: {after['converged']}"
            )
    for name, count in counts.items():
        print(f"{name}: {count}")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("verb", choices=["dump", "compare"])
    parser.add_argument("files", nargs="+")
    parser.add_argument("--count", type=int, default=600)
    parser.add_argument("--largest", type=int, default=60, help="bound of n and p")
    parser.add_argument("--limit", type=int, default=10, help="seconds for each fit")
    parser.add_argument("--tolerance", type=float, default=1e-3)
    arguments = parser.parse_args()
    if arguments.verb == "dump":
        outcomes = {
            seed: outcome_within(seed, arguments.largest, arguments.limit)
            for seed in range(arguments.count)
        }
        with open(arguments.files[0], "wb") as out:
            pickle.dump(outcomes, out)
        return
    dumps = []
    for path in arguments.files:
        with open(path, "rb") as dump:
            dumps.append(pickle.load(dump))
    compare(*dumps, arguments.tolerance)


if __name__ == "__main__":
    main()
