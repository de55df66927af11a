# SPDX-License-Identifier: BSD-3-Clause
"""What the tests of the package share: child processes."""

import os
import subprocess
import sys


def run_child(arguments, directory=None, timeout=300):
    """Runs this interpreter with arguments, and with this process's import path."""
    environment = os.environ | {
        "PYTHONPATH": os.pathsep.join(filter(None, sys.path)),
        "MPLBACKEND": "Agg",
    }
    return subprocess.run(
        [sys.executable, *map(str, arguments)],
        capture_output=True, text=True, env=environment, timeout=timeout, check=False,
        cwd=directory,
    )  # fmt: skip
