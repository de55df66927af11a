// SPDX-License-Identifier: BSD-3-Clause
//
// cluster_weights: exact k-means in one dimension. Clusters of sorted numbers are
// intervals, so that dynamic programming over the cuts finds the partition with the least
// sum of squared deviations from the cluster means.
//
// H. Wang, M. Song, "Ckmeans.1d.dp: optimal k-means clustering in one dimension by dynamic
// programming", The R Journal 3/2 (2011); rows by divide and conquer after A. Grønlund et
// al., "Fast exact k-means, k-medians and Bregman divergence clustering in 1D" (2017),
// section 2.
#pragma once

#include "n_array/n_array.h"

namespace corvane::model::ridge_regression_detail {

// The cluster of each value, numbered from 0 on in the order of the values. Equal values
// share a cluster, so that there are as many clusters as distinct values, and at most `k`.
// Throws std::invalid_argument when k is below 1 or a value is not finite.
index_vector cluster_weights(const_vector_view values, index_t k);

}  // namespace corvane::model::ridge_regression_detail
