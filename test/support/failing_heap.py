# SPDX-License-Identifier: BSD-3-Clause
"""What a call does when a request to the heap is refused: tried for one request after the
other, each in a process of its own.

Run as a program, with the library of failing_heap.cpp loaded ahead of all others:

    python -m failing_heap MODULE [LIMIT [NAME...]]

tries the scenarios of the dictionary SCENARIOS in MODULE and prints one line of JSON for
each attempt. An attempt is a fork of a process that has prepared the scenario and done
nothing else: what a library makes at its first use is made under test.
"""

from __future__ import annotations

import ctypes
import functools
import importlib
import json
import os
import platform
import subprocess
import sys
import tempfile
import traceback
from collections.abc import Callable, Iterator
from dataclasses import dataclass
from pathlib import Path
from typing import Any

LIBRARY = Path(__file__).parents[2] / "build/release/development/trevalon_failing_heap.so"


@dataclass(frozen=True)
class Scenario:
    """`act` is tried on what `prepare` gives."""

    prepare: Callable[[], Any]
    act: Callable[[Any], Any]
    # Arrays, numbers and texts by which the result is known, read with nothing refused.
    read: Callable[[Any], Any] = lambda result: result
    # What a failed call has to leave as it was.
    kept: Callable[[Any], Any] = lambda state: None


@dataclass(frozen=True)
class Refusal:
    """Request number `request` of those of so many bytes or more, or all from there on."""

    request: int
    lasting: bool
    least_bytes: int


def fingerprint(result: Any) -> Any:
    """The same text for the same numbers, bit for bit."""
    if isinstance(result, (tuple, list)):
        return [fingerprint(entry) for entry in result]
    if hasattr(result, "tobytes"):
        return f"{result.dtype} {result.shape} {result.tobytes().hex()}"
    return result.hex() if isinstance(result, float) else repr(result)


class Heap:
    """The heap of a process that has the library loaded ahead of all others."""

    def __init__(self) -> None:
        preloaded = ctypes.PyDLL(None)
        self._arm = preloaded.failing_heap_arm
        self._arm.argtypes = [ctypes.c_long, ctypes.c_int, ctypes.c_size_t]
        self._disarm = preloaded.failing_heap_disarm
        self._disarm.restype = ctypes.c_long

    def call(
        self, refusal: Refusal, function: Callable[..., Any], *arguments: Any
    ) -> tuple[Any, BaseException | None, int]:
        """What the function returns, or what it raises, and how many requests it makes."""
        error = result = None
        self._arm(refusal.request, int(refusal.lasting), refusal.least_bytes)
        try:
            result = function(*arguments)
        except BaseException as raised:  # whatever it is: it is told
            # The traceback holds this frame, and the frame the error. Python 3.13 and 3.14
            # do not collect such a cycle of a MemoryError.
            error = raised.with_traceback(None)
        requests = self._disarm()
        return result, error, requests


def _attempt(scenario: Scenario, state: Any, refusal: Refusal) -> dict[str, Any]:
    before = fingerprint(scenario.kept(state))
    result, error, requests = Heap().call(refusal, scenario.act, state)
    outcome: dict[str, Any] = {"requests": requests}
    if error is None:
        return outcome | {"result": fingerprint(scenario.read(result))}
    return outcome | {
        "raised": type(error).__name__,
        "text": str(error),
        "cause": type(error.__cause__).__name__,
        "kept": fingerprint(scenario.kept(state)) == before,
        "result_afterwards": fingerprint(scenario.read(scenario.act(state))),
    }


def _in_child(function: Callable[..., Any], *arguments: Any) -> Any:
    """What the call gives in a fork of this process, or how that ended."""
    with tempfile.TemporaryFile() as answer, tempfile.TemporaryFile() as errors:
        child = os.fork()
        if child == 0:
            # LAPACKE tells of a failed allocation on standard output.
            os.dup2(errors.fileno(), 1)
            os.dup2(errors.fileno(), 2)
            status = 1
            try:
                os.write(answer.fileno(), json.dumps(function(*arguments)).encode())
                status = 0
            except BaseException:
                traceback.print_exc()
            finally:
                os._exit(status)
        _, status = os.waitpid(child, 0)
        answer.seek(0)
        errors.seek(0)
        if status == 0:
            return json.loads(answer.read())
        text = errors.read().decode(errors="replace")
        return {"ended": os.waitstatus_to_exitcode(status), "stderr": text}


def _requests(count: int, limit: int) -> list[int]:
    """All of them, or so many spread evenly."""
    if count <= limit:
        return list(range(count))
    return sorted({round(i * (count - 1) / (limit - 1)) for i in range(limit)})


# Alone and with all that follow: any at all, and those alone that are too large for the
# interpreter's own small objects, so that it can report the failure.
KINDS = [(False, 1), (True, 1), (False, 600), (True, 600)]


def _try_scenario(scenario: Scenario, limit: int, tell: Callable[..., None]) -> None:
    state = scenario.prepare()
    for lasting, least_bytes in KINDS:
        never = Refusal(sys.maxsize, False, least_bytes)
        undisturbed = _in_child(_attempt, scenario, state, never)
        tell(kind="undisturbed", least_bytes=least_bytes, **undisturbed)
        for k in _requests(undisturbed["requests"], limit):
            refusal = Refusal(k, lasting, least_bytes)
            outcome = _in_child(_attempt, scenario, state, refusal)
            right = undisturbed["result"]
            if "result" in outcome:
                outcome["right"] = outcome.pop("result") == right
            if "result_afterwards" in outcome:
                outcome["recovered"] = outcome.pop("result_afterwards") == right
            tell(
                kind="refused",
                request=k,
                lasting=lasting,
                least_bytes=least_bytes,
                **outcome,
            )


def _main(module: str, limit: str = "1000000000", *names: str) -> None:
    scenarios: dict[str, Scenario] = importlib.import_module(module).SCENARIOS
    lines = os.fdopen(os.dup(1), "w")

    def tell(name: str, **what: Any) -> None:
        what.pop("result", None)
        print(json.dumps({"scenario": name} | what), file=lines, flush=True)

    for name in names or scenarios:
        tell_of_it = functools.partial(tell, name)
        ended = _in_child(_try_scenario, scenarios[name], int(limit), tell_of_it)
        if ended is not None:
            tell(name, kind="broken", **ended)


def run_with_failing_heap(*arguments: str) -> str:
    """What the interpreter prints, run with these arguments and this import path."""
    # For AVX-512 OpenBLAS multiplies small matrices in memory of the heap, and writes it
    # whether it got it or not. Its kernels for AVX2 ask for none.
    kernels = {"OPENBLAS_CORETYPE": "Haswell"} if platform.machine() == "x86_64" else {}
    environment = (
        os.environ
        | kernels
        | {
            "PYTHONPATH": os.pathsep.join(filter(None, sys.path)),
            "LD_PRELOAD": str(LIBRARY),
            "OPENBLAS_NUM_THREADS": "1",
        }
    )
    run = subprocess.run(
        [sys.executable, *arguments],
        stdout=subprocess.PIPE, text=True, env=environment, timeout=300, check=True,
    )  # fmt: skip
    return run.stdout


def attempts(module: str, limit: int, *names: str) -> Iterator[dict[str, Any]]:
    """Tries the scenarios, and gives the attempts with a refused request."""
    printed = run_with_failing_heap("-m", "failing_heap", module, str(limit), *names)
    lines = [json.loads(line) for line in printed.splitlines()]
    for line in lines:
        assert line["kind"] != "broken", line
    counted = [line for line in lines if line["kind"] == "refused"]
    assert {line["scenario"] for line in counted} >= set(names)
    yield from counted


if __name__ == "__main__":
    _main(*sys.argv[1:])
