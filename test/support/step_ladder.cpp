// SPDX-License-Identifier: BSD-3-Clause
#include "support/step_ladder.h"

#include <algorithm>
#include <cmath>
#include <string>

namespace corvane::testing {

namespace {

using ::testing::AssertionFailure;
using ::testing::AssertionResult;
using ::testing::AssertionSuccess;

AssertionResult judge(const std::vector<rung>& ladder, expected_fall expected) {
  for (const rung& r : ladder)
    if (!std::isfinite(r.error))
      return AssertionFailure() << "the error is not finite at h = " << r.step;
  // Above four times its rounding an error is truncation, whose law is known.
  const auto is_truncation = [](const rung& r) { return r.error > 4.0 * r.rounding; };
  // The finest pair of such rungs is the nearest to the limit of small steps.
  for (std::size_t k = ladder.size() - 1; k > 0; --k) {
    if (!is_truncation(ladder[k]) || !is_truncation(ladder[k - 1])) continue;
    const double fall = ladder[k - 1].error / ladder[k].error;
    if (fall > 2.8 && (fall < 5.7 || expected == expected_fall::square_or_faster))
      return AssertionSuccess();
    return AssertionFailure() << "the error falls by " << fall
                              << " where it should by 4, at h = " << ladder[k].step;
  }
  // A polynomial of low degree: no truncation is seen, so every rung must be within
  // rounding or the finest of them must be.
  const auto best = std::min_element(ladder.begin(), ladder.end(), [](auto& a, auto& b) {
    return a.error - 4.0 * a.rounding < b.error - 4.0 * b.rounding;
  });
  if (!is_truncation(*best)) return AssertionSuccess();
  return AssertionFailure() << "no rung agrees: the error is " << best->error
                            << " where rounding allows " << 4.0 * best->rounding;
}

std::string printed(const std::vector<rung>& ladder) {
  ::testing::Message text;
  for (const rung& r : ladder)
    text << "\n  h = " << r.step << "  error = " << r.error
         << "  rounding = " << r.rounding;
  return text.GetString();
}

// The values from which the difference with the step h is made, and what multiplies them.
struct stencil {
  std::vector<std::vector<double>> values;
  std::vector<double> weights;

  double derivative(std::size_t i) const {
    double sum = 0.0;
    for (std::size_t j = 0; j < values.size(); ++j) sum += weights[j] * values[j][i];
    return sum;
  }
  double largest_value(std::size_t i) const {
    double largest = 0.0;
    for (const auto& value : values) largest = std::max(largest, std::abs(value[i]));
    return largest;
  }
};

// One-sided: (-3 f(0) + 4 f(h) - f(2h)) / 2h, and its mirror image.
stencil take(const std::function<std::vector<double>(double t)>& f, difference kind,
             double h) {
  if (kind == difference::central) return {{f(h), f(-h)}, {0.5 / h, -0.5 / h}};
  const double toward = kind == difference::forward ? h : -h;
  return {{f(0.0), f(toward), f(2.0 * toward)},
          {-1.5 / toward, 2.0 / toward, -0.5 / toward}};
}

}  // namespace

AssertionResult falls_as_square_of_step(const std::vector<rung>& ladder,
                                        expected_fall expected) {
  const AssertionResult result = judge(ladder, expected);
  if (result) return result;
  return AssertionFailure() << result.message() << printed(ladder);
}

AssertionResult is_derivative_of(const std::function<std::vector<double>(double t)>& f,
                                 const std::vector<double>& claimed,
                                 const ladder_options& options) {
  std::vector<std::vector<rung>> ladders(claimed.size());
  double step = options.first_step;
  for (int k = 0; k < options.rungs; ++k, step *= 0.5) {
    const stencil seen = take(f, options.kind, step);
    for (std::size_t i = 0; i < claimed.size(); ++i) {
      const double rounding =
          options.noise * seen.largest_value(i) / step + 1e-15 * std::abs(claimed[i]);
      ladders[i].push_back({step, std::abs(seen.derivative(i) - claimed[i]), rounding});
    }
  }
  for (std::size_t i = 0; i < claimed.size(); ++i)
    if (auto ok = falls_as_square_of_step(ladders[i], options.fall); !ok)
      return AssertionFailure()
             << "entry " << i << ", claimed " << claimed[i] << ": " << ok.message();
  return AssertionSuccess();
}

}  // namespace corvane::testing
