# SPDX-License-Identifier: BSD-3-Clause
"""Set before anything imports scipy: with it scikit-learn checks estimators on array-API
input too, instead of skipping that check."""

import os

os.environ.setdefault("SCIPY_ARRAY_API", "1")
