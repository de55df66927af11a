# SPDX-License-Identifier: BSD-3-Clause
"""The versions of the package and of its dependencies."""

from __future__ import annotations

import platform
import sys
from collections.abc import Mapping
from importlib import metadata

from threadpoolctl import threadpool_info

__version__ = metadata.version("trevalon")

_PACKAGES = (
    "trevalon",
    "numpy",
    "scipy",
    "scikit-learn",
    "threadpoolctl",
    "pandas",
    "polars",
    "matplotlib",
)


def show_versions() -> None:
    """Print the information that a bug report needs.

    The versions of Python, of the package and of its dependencies, and the thread pools
    of the process: which BLAS is loaded, for which processor, with how many threads.

    Examples
    --------
    >>> import trevalon
    >>> trevalon.show_versions()  # doctest: +ELLIPSIS
    System
      python: ...
    """
    system = {
        "python": sys.version.replace("\n", " "),
        "executable": sys.executable,
        "machine": platform.platform(),
    }
    _print_section("System", system)
    _print_section("Packages", {name: _version_of(name) for name in _PACKAGES})
    for pool in threadpool_info():
        name = f"Thread pool: {pool['internal_api']}"
        _print_section(name, {key: value for key, value in pool.items() if value})


def _version_of(name: str) -> str:
    try:
        return metadata.version(name)
    except metadata.PackageNotFoundError:
        return "not installed"


def _print_section(title: str, rows: Mapping[str, object]) -> None:
    print(title)
    for name, value in rows.items():
        print(f"  {name}: {value}")
