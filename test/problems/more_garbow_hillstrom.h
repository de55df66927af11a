// SPDX-License-Identifier: BSD-3-Clause
//
// Problems of J. Moré, B. Garbow, K. Hillstrom, "Testing unconstrained optimization
// software", ACM Transactions on Mathematical Software 7 (1981), pp. 17-41: formula,
// standard start and published minima, as numbered in section 3 there.
#pragma once

#include <vector>

#include "problems/least_squares_problem.h"

namespace corvane::testing {

std::vector<least_squares_problem>
problems_with_closed_residuals();                         // few variables, no data
std::vector<least_squares_problem> problems_with_data();  // curve fits
std::vector<least_squares_problem> problems_of_any_dimension();

// All three.
const std::vector<least_squares_problem>& more_garbow_hillstrom_problems();

}  // namespace corvane::testing
