# SPDX-License-Identifier: BSD-3-Clause
"""Arrays of every layout in which doubles may lie in memory, and of every other type."""

import numpy as np

BASE = np.random.default_rng(11).normal(size=(35, 41))
BASE[3, 5], BASE[0, 0], BASE[20, 7], BASE[34, 40] = np.nan, -0.0, np.inf, 5e-324
# Packed, so that the doubles lie at odd addresses 17 bytes apart.
RECORDS = np.zeros((5, 6), dtype=[("flag", "i1"), ("x", "f8"), ("y", "f8")])
RECORDS["x"] = BASE[:5, :6]
READ_ONLY = BASE.copy()
READ_ONLY.flags.writeable = False

MATRICES = {
    "row-major": BASE,
    "column-major": np.asfortranarray(BASE),
    "transposed": BASE.T,
    "rows reversed": BASE[::-1],
    "columns reversed": BASE[:, ::-1],
    "both reversed": BASE[::-1, ::-1],
    "every other row, every third column": BASE[::2, ::3],
    "every third row backwards, of the transpose": BASE.T[::-3, ::2],
    "inner part": BASE[3:30, 2:19],
    "inner part, column-major": np.asfortranarray(BASE)[3:30, 2:19],
    "exactly one tile": BASE[:16, :16],
    "one more than a tile": BASE[:17, :17],
    "one row": BASE[:1],
    "one column": BASE[:, 3:4],
    "one element": BASE[3:4, 5:6],
    "a row repeated": np.broadcast_to(BASE[0], (6, 41)),
    "a column repeated": np.broadcast_to(BASE[:, :1], (35, 6)),
    "an element repeated": np.broadcast_to(BASE[1, 1], (20, 3)),
    "windows that overlap": np.lib.stride_tricks.sliding_window_view(BASE[:, 0], 5),
    "read-only": READ_ONLY,
    "no rows": BASE[:0],
    "no columns": BASE[:, :0],
    "nothing": BASE[:0, :0],
    "field of packed records": RECORDS["x"],
    "field of packed records, reversed": RECORDS["x"][::-1, ::-2],
    "at an odd address": np.frombuffer(b"." + BASE.tobytes(), "f8", offset=1).reshape(
        35, 41
    ),
    "real parts": (BASE + 1j).real,
    "over a bytearray": np.frombuffer(bytearray(BASE.tobytes())).reshape(35, 41),
    "the other byte order": BASE.astype(BASE.dtype.newbyteorder()),
    "float32": BASE.astype("f4"),
    "integers": np.arange(12).reshape(3, 4),
    "objects": np.array([[1.5, 2], [True, np.float32(0.1)]], dtype=object),
    "objects that are no numbers": np.array([["x", None]], dtype=object),
    "complex": np.zeros((2, 2), dtype="c16"),
    "dates": np.zeros((2, 2), dtype="M8[D]"),
    "text": np.full((2, 2), "1.5"),
    "vector": BASE[0],
    "three dimensions": np.zeros((2, 2, 2)),
    "scalar": np.array(1.5),
}
