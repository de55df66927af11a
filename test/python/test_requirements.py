# SPDX-License-Identifier: BSD-3-Clause
"""The oldest environment holds the oldest releases that the package admits."""

import tomllib
from pathlib import Path

import pytest

HERE = Path(__file__).parent
PROJECT = tomllib.loads((HERE.parents[1] / "pyproject.toml").read_text())["project"]
ADMITTED = PROJECT["dependencies"] + PROJECT["optional-dependencies"]["plot"]


def pins():
    lines = (HERE / "oldest_requirements.txt").read_text().splitlines()
    return dict(line.split("==") for line in lines if not line.startswith("#"))


@pytest.mark.parametrize("requirement", ADMITTED)
def test_the_oldest_environment_pins_the_lowest_release_of_a_requirement(requirement):
    name, lowest = requirement.split(">=")
    assert f"{pins()[name]}.".startswith(f"{lowest}.")
