# SPDX-License-Identifier: BSD-3-Clause
"""The command ./run: its help, which sets nothing up, and the folder of its file names.

A copy of the script runs in a folder without other files; a tool that it calls is a script
that records its arguments.
"""

import re
import shutil
import subprocess
from pathlib import Path

import pytest

RUN = Path(__file__).resolve().parents[2] / "run"
VERBS = re.findall(r"^verb_(\w+)\(\)", RUN.read_text(), re.MULTILINE)


def add_script(path, text):
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_text(f"#!/bin/sh\n{text}\n")
    path.chmod(0o755)


@pytest.fixture
def checkout(tmp_path):
    """A folder with the script, and a PATH without the tools of a set-up."""
    folder = tmp_path / "checkout"
    folder.mkdir()
    shutil.copy(RUN, folder / "run")
    for tool in ("bash", "basename", "cat", "cmp", "dirname", "grep", "mkdir", "rm", "sed",
                 "tail", "tee"):  # fmt: skip
        add_script(tmp_path / "bin" / tool, f'exec {shutil.which(tool)} "$@"')
    return folder


def call(checkout, *arguments, caller=None):
    tools = str(checkout.parent / "bin")
    return subprocess.run(
        [shutil.which("bash"), checkout / "run", *arguments],
        cwd=caller or checkout,
        env={"PATH": tools},
        capture_output=True,
        text=True,
        timeout=60,
        check=False,
    )


@pytest.mark.parametrize(
    "arguments", [[], ["help"], ["--help"], ["-h"], ["help", "--help"]]
)
def test_help_names_every_verb(checkout, arguments):
    result = call(checkout, *arguments)
    assert result.returncode == 0
    assert not result.stderr
    assert "demo" in VERBS
    for verb in set(VERBS) - {"help"}:
        assert re.search(rf"^  {verb}\b", result.stdout, re.MULTILINE), verb


@pytest.mark.parametrize("option", ["--help", "-h"])
@pytest.mark.parametrize("verb", [verb for verb in VERBS if verb != "help"])
def test_help_of_a_verb_prints_its_paragraph_and_sets_nothing_up(checkout, verb, option):
    result = call(checkout, verb, option)
    assert result.returncode == 0
    assert not result.stderr
    first, *lines = result.stdout.splitlines()
    assert re.match(rf"usage: \./run {verb}\b", first)
    assert lines
    assert all(line.startswith("      ") for line in lines)
    assert [entry.name for entry in checkout.iterdir()] == ["run"]


def test_help_is_found_behind_other_arguments(checkout):
    help_of_demo = call(checkout, "demo", "--help").stdout
    assert call(checkout, "demo", "table.csv", "-h").stdout == help_of_demo


def test_without_help_a_verb_sets_up(checkout):
    """The tests above rely on this: the set-up ends at the missing tools."""
    result = call(checkout, "build")
    assert result.returncode != 0
    assert "this is not a Debian or Ubuntu machine" in result.stderr


def test_an_unknown_verb_is_refused_with_the_help(checkout):
    result = call(checkout, "deom", "--help")
    assert result.returncode != 0
    assert result.stderr.endswith("there is no verb 'deom'\n")
    assert "usage: ./run VERB" in result.stderr


def test_the_demo_runs_in_the_folder_of_its_caller(checkout):
    tools = checkout.parent / "bin"
    add_script(tools / "apt-get", "exit 1")
    add_script(tools / "dpkg-query", "echo install ok installed")
    log = checkout.parent / "calls"
    add_script(checkout / ".venv/bin/python", f'echo "$PWD: $*" >>{log}')
    (checkout / "requirements.txt").touch()
    (checkout / ".venv/requirements.txt.stamp").touch()
    caller = checkout.parent / "data of mine"
    caller.mkdir()
    result = call(checkout, "demo", "a table.csv", "--target", "y", caller=caller)
    assert result.returncode == 0, result.stderr
    calls = log.read_text().splitlines()
    assert calls[0].startswith(f"{checkout}: -m pip wheel ")
    assert calls[-1] == f"{caller}: {checkout}/example/demo a table.csv --target y"
