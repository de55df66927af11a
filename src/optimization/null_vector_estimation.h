// SPDX-License-Identifier: BSD-3-Clause
//
// What a Cholesky factorization of H + lambda I tells of the smallest eigenvalue of H: from
// a factorization that fails a bound, from one that succeeds the direction of a nearly
// singular vector.
//
// J. Moré, D. Sorensen, SIAM J. Sci. Stat. Comput. 4 (1983), pp. 559-563; A. Cline, C.
// Moler, G. Stewart, J. Wilkinson, "An estimate for the condition number of a matrix", SIAM
// J. Numer. Anal. 16 (1979).
#pragma once

#include "n_array/n_array_view.h"

namespace corvane {

// A lower bound on -lambda_min(H) when the factorization of H + lambda I in `factor` failed
// at position `pivot`: minus the Rayleigh quotient of (-w, 1, 0), w = L11^-T l, with L11
// the valid leading factor and l its row at the failing position.
double pivot_bound(index_t pivot, double lambda, const_symmetric_view H,
                   const_symmetric_view factor);

// Writes e, of entries plus or minus 1, chosen one by one so that the solution of L x = e
// grows.
void sign_vector(const_symmetric_view factor, vector_view e);

}  // namespace corvane
