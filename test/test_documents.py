# SPDX-License-Identifier: BSD-3-Clause
"""The documents: files that they name exist, and decision records have their form."""

import re
from pathlib import Path

import pytest

ROOT = Path(__file__).resolve().parents[1]
DECISIONS = ROOT / "doc" / "decisions"
RECORDS = sorted(DECISIONS.glob("[0-9]*.md"))
DOCUMENTS = sorted([*ROOT.glob("*.md"), *ROOT.glob("doc/**/*.md")])
FOLDERS = r"(?:src|bridge|python|test|benchmark|example|doc|cmake|\.ci)/"


def named_files(document):
    """Paths in backticks that begin with a folder of the root, and targets of links."""
    text = document.read_text()
    for path in re.findall(rf"`({FOLDERS}[^`\s]*)`", text):
        yield ROOT, path.replace("<model>", "*").rstrip("/")
    for target in re.findall(r"\]\(([^)#\s]+)", text):
        if "://" not in target:
            yield document.parent, target.rstrip("/")


@pytest.mark.parametrize("document", DOCUMENTS, ids=lambda path: path.name)
def test_the_files_that_a_document_names_exist(document):
    missing = [path for folder, path in named_files(document) if not any(folder.glob(path))]
    assert missing == []


@pytest.mark.parametrize("record", RECORDS, ids=lambda path: path.name)
def test_a_decision_record_is_short_and_complete_and_in_the_index(record):
    text = record.read_text()
    assert len(text.splitlines()) < 40
    assert f"({record.name})" in (DECISIONS / "README.md").read_text()
    if not re.search(r"^(Superseded|Withdrawn)\b", text, re.MULTILINE):
        sections = re.findall(r"^\*\*(\w+)\.\*\*", text, re.MULTILINE)
        assert sections == ["Context", "Decision", "Consequences", "Alternatives"]
