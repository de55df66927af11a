# SPDX-License-Identifier: BSD-3-Clause
"""The axes of a display. matplotlib is imported only here, and only for drawing."""

from __future__ import annotations

from typing import TYPE_CHECKING

from trevalon._types import FloatArray

if TYPE_CHECKING:
    from matplotlib.axes import Axes
    from matplotlib.colors import BoundaryNorm


def axes_for(display: object, ax: Axes | None) -> Axes:
    """`ax`, or axes of a new figure. Raises ImportError where matplotlib is missing."""
    try:
        import matplotlib.pyplot as plt
    except ImportError as error:
        raise ImportError(
            f"{type(display).__name__}.plot requires matplotlib. You can install it with "
            "`pip install trevalon[plot]`"
        ) from error
    return plt.subplots()[1] if ax is None else ax


def even_colors(levels: FloatArray) -> BoundaryNorm:
    """Colors of ascending levels at even distances, however close the levels are."""
    from matplotlib.colors import BoundaryNorm

    return BoundaryNorm(levels.tolist(), ncolors=256)
