// SPDX-License-Identifier: BSD-3-Clause
//
// What stands on the diagonal of a triangular matrix.
#pragma once

namespace corvane {

// `not_served` exists and ends the process where it is used.
enum class diagonal_kind : int { general = 0, unit = 1, not_served = 2 };

}  // namespace corvane
