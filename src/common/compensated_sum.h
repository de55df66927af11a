// SPDX-License-Identifier: BSD-3-Clause
//
// Compensated summation after A. Neumaier, "Rundungsfehleranalyse einiger Verfahren zur
// Summation endlicher Summen", ZAMM 54 (1974): the part that each addition loses is kept in
// a correction, which is added once at the end. A compensated sum depends on the order of
// its terms by a unit in the last place at most.
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

// The sum of all values, compensated.
double compensated_total(const_vector_view values);

// The compensated sum divided by the count, 0 of no values. The mean of equal values is
// that value, which the rounded division may miss by an ulp.
double mean_of(const_vector_view values);

// sum_i (x_i - center)^2, plain and compensated.
double sum_squares_about(double center, const_vector_view values);
double compensated_squares_about(double center, const_vector_view values);

}  // namespace corvane
