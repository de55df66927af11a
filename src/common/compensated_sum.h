// SPDX-License-Identifier: BSD-3-Clause
//
// Compensated summation after A. Neumaier, "Rundungsfehleranalyse einiger Verfahren zur
// Summation endlicher Summen", ZAMM 54 (1974): the part that each addition loses is kept in
// a correction, which is added once at the end.
#pragma once

#include <cmath>

#include "n_array/n_array_view.h"

namespace corvane {

class compensated_sum {
 public:
  void add(double term) {
    const double next = sum_ + term;
    correction_ +=
        std::abs(sum_) >= std::abs(term) ? (sum_ - next) + term : (term - next) + sum_;
    sum_ = next;
  }
  double total() const { return sum_ + correction_; }

 private:
  double sum_ = 0.0;
  double correction_ = 0.0;
};

inline double compensated_total(const_vector_view terms) {
  compensated_sum sum;
  for (const double term : terms) sum.add(term);
  return sum.total();
}

// The sum divided by the count.
inline double compensated_mean(const_vector_view terms) {
  return compensated_total(terms) / static_cast<double>(terms.size());
}

}  // namespace corvane
