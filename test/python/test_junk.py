# SPDX-License-Identifier: BSD-3-Clause
"""No call of the package ends the process or runs for ever, whatever it is given."""

from pathlib import Path

import pytest
from package_support import run_child

PROGRAM = Path(__file__).parent / "junk_program.py"


@pytest.mark.parametrize(
    "kind", ["RidgeRegression", "LogisticRegression", "WarpedLinearRegression"]
)
def test_a_process_that_calls_everything_with_junk_lives_to_its_end(kind, tmp_path):
    last_call = tmp_path / "last_call"
    # The time ends what runs for ever: a busy machine takes minutes.
    child = run_child(
        ["-X", "faulthandler", PROGRAM, kind, last_call], tmp_path, timeout=900
    )
    assert child.returncode == 0, f"{child.stderr}\nlast call: {last_call.read_text()}"
    examples, fits = map(int, child.stdout.split())
    assert examples >= 120
    # Junk that never gets past the validation would prove little.
    assert fits >= 10
