# SPDX-License-Identifier: BSD-3-Clause
"""The information for a bug report."""

from importlib import metadata

import numpy as np

import trevalon


def test_the_version_is_that_of_the_installed_package():
    assert trevalon.__version__ == metadata.version("trevalon")


def test_show_versions_prints_the_package_its_peers_and_the_blas(capsys):
    trevalon.show_versions()
    text = capsys.readouterr().out
    assert f"  trevalon: {trevalon.__version__}\n" in text
    assert f"  numpy: {np.__version__}\n" in text
    assert "Thread pool: openblas\n" in text
