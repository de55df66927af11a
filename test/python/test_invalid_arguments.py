# SPDX-License-Identifier: BSD-3-Clause
"""No call of the package ends the process or runs without end, whatever its arguments."""

from pathlib import Path

import pytest
from package_support import run_child

PROGRAM = Path(__file__).parent / "invalid_arguments_program.py"


@pytest.mark.parametrize(
    "kind", ["RidgeRegression", "LogisticRegression", "WarpedLinearRegression"]
)
def test_calls_with_random_invalid_arguments_do_not_end_the_process(kind, tmp_path):
    last_call = tmp_path / "last_call"
    # The limit ends calls that do not return; a busy machine takes minutes.
    child = run_child(
        ["-X", "faulthandler", PROGRAM, kind, last_call], tmp_path, timeout=900
    )
    assert child.returncode == 0, f"{child.stderr}\nlast call: {last_call.read_text()}"
    examples, fits = map(int, child.stdout.split())
    assert examples >= 120
    # Arguments that validation always refuses would test nothing behind it.
    assert fits >= 10
