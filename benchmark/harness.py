# SPDX-License-Identifier: BSD-3-Clause
"""Measurement: medians of ratios to a baseline in the same run, and peaks of memory.

Absolute times on a shared machine vary. The product and its baseline alternate, and the
figure is the median of the ratios of these turns.
"""

from __future__ import annotations

import json
import statistics
import subprocess
import sys
import time
from collections.abc import Callable, Sequence
from dataclasses import dataclass
from pathlib import Path

import numpy as np
from scipy.linalg import lapack

ROOT = Path(__file__).resolve().parents[1]
KERNELS = ROOT / "build" / "release" / "benchmark"


@dataclass(frozen=True)
class Row:
    """One line of the table: `figure` is a ratio, and `limit` what it may be at most."""

    what: str
    baseline: str
    figure: float
    limit: float | None
    detail: str = ""


# The threads of a BLAS spin for a while after a call. They are idle again after this pause,
# when the other library is timed.
_PAUSE = 0.1


# Calls that take less are repeated for this time, because caches are cold after the pause.
_REPEATED_FOR = 0.02


def seconds(
    action: Callable[..., object], prepare: Callable[[], object] | None = None
) -> float:
    """The time of a call after a pause. The result of `prepare` is the call's argument.

    The first call of a short action warms up; the figure is the median of the others.
    """
    time.sleep(_PAUSE)
    times = [_timed(action, prepare)]
    while sum(times) < _REPEATED_FOR:
        times.append(_timed(action, prepare))
    return statistics.median(times[1:] or times)


def _timed(action: Callable[..., object], prepare: Callable[[], object] | None) -> float:
    arguments = () if prepare is None else (prepare(),)
    start = time.perf_counter()
    action(*arguments)
    return time.perf_counter() - start


def compare(
    product: Callable[[], object],
    baseline: Callable[..., object],
    turns: int = 7,
    prepare: Callable[[], object] | None = None,
    allowed: Callable[[float], float] = float,
) -> tuple[float, str]:
    """The median ratio of their times, and both median times as text.

    The result of `prepare` is the argument of the baseline; its time is not counted. The
    ratio is to `allowed` of the time of the baseline, by default that time.
    """
    times = [(seconds(product), seconds(baseline, prepare)) for _ in range(turns + 1)]
    times = times[1:]  # the first turn warms up
    ratio = statistics.median(ours / allowed(theirs) for ours, theirs in times)
    ours = statistics.median(t[0] for t in times)
    theirs = statistics.median(t[1] for t in times)
    return ratio, f"{1e3 * ours:.1f} ms against {1e3 * theirs:.1f} ms"


def fortran_copy(X: np.ndarray) -> np.ndarray:
    """A copy that LAPACK may overwrite."""
    return np.array(X, order="F", copy=True)


def factor_once(X: np.ndarray) -> None:
    """One dgeqrf in place, with the workspace that it asks for."""
    work, _ = lapack.dgeqrf_lwork(*X.shape)
    lapack.dgeqrf(X, lwork=int(work), overwrite_a=1)


_PEAK = """
import sys
{setup}

def status(field):
    with open("/proc/self/status") as lines:
        return next(int(line.split()[1]) * 1024 for line in lines if line.startswith(field))

with open("/proc/self/clear_refs", "w") as reset:
    reset.write("5")
before = status("VmRSS")
{action}
print((status("VmHWM") - before + X.nbytes) / X.nbytes)
"""


def peak_memory(setup: str, action: str) -> float:
    """Peak memory of `action` in a process of its own, X included, in units of X's bytes.

    `setup` makes X, imports what is needed and runs once on something small, so that
    libraries are loaded before the peak is reset.
    """
    program = _PEAK.format(setup=setup, action=action)
    result = subprocess.run(
        [sys.executable, "-c", program], capture_output=True, text=True, check=True
    )
    return float(result.stdout)


def kernel_ratios(program: str, pairs: Sequence[tuple[str, str]]) -> list[float]:
    """Median ratios of benchmarks (name, baseline) of one Google Benchmark program."""
    result = subprocess.run(
        [
            KERNELS / program,
            "--benchmark_format=json",
            "--benchmark_repetitions=9",
            "--benchmark_enable_random_interleaving=true",
            "--benchmark_report_aggregates_only=true",
            f"--benchmark_filter=^({'|'.join(name for pair in pairs for name in pair)})/",
        ],
        capture_output=True,
        text=True,
        check=True,
    )
    medians = {
        entry["run_name"].removesuffix("/real_time"): entry["real_time"]
        for entry in json.loads(result.stdout)["benchmarks"]
        if entry["aggregate_name"] == "median"
    }
    return [medians[name] / medians[baseline] for name, baseline in pairs]
