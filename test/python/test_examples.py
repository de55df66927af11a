# SPDX-License-Identifier: BSD-3-Clause
"""The scripts under example/ run without a warning, are short, and print results."""

import re
from pathlib import Path

import pytest
from package_support import run_child

SCRIPTS = sorted((Path(__file__).parents[2] / "example").glob("*.py"))


def test_there_are_five_scripts():
    assert len(SCRIPTS) >= 5


@pytest.mark.parametrize("script", SCRIPTS, ids=lambda script: script.stem)
def test_a_script_is_short_and_runs_to_its_end(script, tmp_path):
    assert len(script.read_text().splitlines()) < 60
    # A warning that the script causes, such as one of convergence, is an error.
    child = run_child(["-W", "error:::__main__", script], tmp_path)
    assert child.returncode == 0, child.stderr
    assert re.search(r"\d\.\d", child.stdout)
    assert not re.search(r"\bnan\b", child.stdout)
    if script.stem == "pictures":
        assert (tmp_path / "pictures.png").stat().st_size > 10_000
