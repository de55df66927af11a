// SPDX-License-Identifier: BSD-3-Clause
#include "common/qr_factorization.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <vector>

#include "common/interface_only/qr_record.h"
#include "common/linear_algebra.h"
#include "support/padded_matrix.h"

namespace corvane {
namespace {

using test::expect_matrix;
using test::padded_matrix;
using test::product;
using test::random_matrix;

using padded = padded_matrix<double>;

matrix_block block(padded& a) { return {a.begin(), a.rows, a.cols, a.stride}; }

// A matrix, its factorization, and Q as an explicit matrix by H_1 H_2 ... of the reflectors
// H_k = I - tau_k v v', v = (0, ..., 1, factor(k + 1.., k)).
struct factored {
  factored(int m, int n)
      : a{random_matrix<double>(m, n, 8)},
        factor{a},
        tau(static_cast<std::size_t>(std::min(m, n))),
        q{m, m} {
    geqrf(block(factor), {tau.data(), static_cast<index_t>(tau.size())});
    for (int j = 0; j < m; ++j)
      for (int i = 0; i < m; ++i) q(i, j) = i == j ? 1.0 : 0.0;
    for (int k = 0; k < std::min(m, n); ++k) reflect(k);
  }

  qr_factorization record() { return {0, 0, block(factor), tau.data()}; }

  padded a;
  padded factor;
  std::vector<double> tau;
  padded q;

 private:
  // Q = Q H_k
  void reflect(int k) {
    const auto v = [&](int i) { return i < k ? 0.0 : i == k ? 1.0 : factor(i, k); };
    for (int row = 0; row < q.rows; ++row) {
      double along = 0.0;
      for (int i = 0; i < q.rows; ++i) along += q(row, i) * v(i);
      for (int i = 0; i < q.rows; ++i)
        q(row, i) -= tau[static_cast<std::size_t>(k)] * along * v(i);
    }
  }
};

// op(Q) C with op none for `turned` false.
auto q_times(const factored& made, bool turned, const padded& c) {
  return [&made, turned, &c](int i, int j) {
    return product(
        made.q.rows, i, j,
        [&](int r, int l) { return turned ? made.q(l, r) : made.q(r, l); },
        [&](int l, int s) { return c(l, s); });
  };
}

TEST(qr_factorization, apply_multiplies_a_matrix_by_q_or_its_transpose) {
  for (const int m : {1, 4, 7})
    for (const int n : {1, 4, 6}) {
      factored made(m, n);
      const padded before = random_matrix<double>(m, 3, 9);
      for (const bool turned : {false, true}) {
        padded c = before;
        apply(made.record(), turned ? transposed : plain, block(c));
        expect_matrix(c, before, q_times(made, turned, before));
      }
    }
}

TEST(qr_factorization, apply_multiplies_a_vector) {
  factored made(5, 3);
  const padded before = random_matrix<double>(5, 1, 9);
  padded c = before;
  apply(made.record(), transposed, vector_view{c.begin(), 5});
  expect_matrix(c, before, q_times(made, true, before));
}

TEST(qr_factorization, the_transposed_record_applies_the_other_of_q_and_its_transpose) {
  factored made(5, 3);
  const padded before = random_matrix<double>(5, 2, 9);
  for (const bool turned : {false, true}) {
    padded c = before;
    apply(transpose(made.record()), turned ? transposed : plain, block(c));
    expect_matrix(c, before, q_times(made, !turned, before));
  }
}

TEST(qr_factorization, transposing_swaps_0_and_1_and_keeps_the_rest) {
  factored made(5, 3);
  const qr_factorization once = transpose(made.record());
  const qr_factorization twice = transpose(once);
  EXPECT_EQ(once.transposition, 1);
  EXPECT_EQ(twice.transposition, 0);
  EXPECT_EQ(once.kind, 0);
  EXPECT_EQ(once.tau, made.tau.data());
  EXPECT_EQ(once.factor.data(), made.factor.begin());
  EXPECT_EQ(once.factor.stride(), made.factor.stride);
}

TEST(qr_factorization, apply_and_solve_reach_the_least_squares_solution) {
  factored made(7, 3);
  std::vector<double> residual = {1.0, -2.0, 0.5, 3.0, 1.0, 4.0, -1.0};
  std::vector<double> w = residual;
  apply(made.record(), transposed, vector_view{w.data(), 7});
  solve_r(made.record(), vector_view{w.data(), 3});
  for (int i = 0; i < 7; ++i)
    for (int j = 0; j < 3; ++j)
      residual[static_cast<std::size_t>(i)] -=
          made.a(i, j) * w[static_cast<std::size_t>(j)];
  // At the solution the residual is orthogonal to every column.
  for (int j = 0; j < 3; ++j) {
    double along = 0.0;
    for (int i = 0; i < 7; ++i)
      along += made.a(i, j) * residual[static_cast<std::size_t>(i)];
    EXPECT_NEAR(along, 0.0, 1e-13);
  }
}

// Ends a computation when it is asked for the last time.
class counted_interruption final : public interruption {
 public:
  struct ended {};
  explicit counted_interruption(int most) : most_{most} {}
  void check() override {
    if (++count_ == most_) throw ended{};
  }
  int count() const { return count_; }

 private:
  int most_;
  int count_ = 0;
};

double largest_difference(const padded& a, const padded& b) {
  double largest = 0.0;
  for (int j = 0; j < a.cols; ++j)
    for (int i = 0; i < a.rows; ++i)
      largest = std::max(largest, std::abs(a(i, j) - b(i, j)));
  return largest;
}

// So much work that it is done in pieces.
TEST(qr_factorization, an_interruptible_factorization_is_the_same_and_ends_when_told_to) {
  constexpr int rows = 3000;
  constexpr int columns = 430;
  const padded a = random_matrix<double>(rows, columns, 10);
  std::vector<double> tau(columns), other_tau(columns);
  padded whole = a;
  geqrf(block(whole), {tau.data(), columns});
  padded pieces = a;
  counted_interruption never{-1};
  factor(block(pieces), {other_tau.data(), columns}, &never);
  EXPECT_GT(never.count(), columns / 20);
  EXPECT_LT(largest_difference(whole, pieces), 1e-11);

  const qr_factorization qr{0, 0, block(pieces), other_tau.data()};
  const padded c = random_matrix<double>(rows, columns, 11);
  for (const auto op : {plain, transposed}) {
    padded expected = c;
    padded found = c;
    counted_interruption asked{-1};
    apply(qr, op, block(expected));
    apply(qr, op, block(found), &asked);
    EXPECT_GT(asked.count(), columns / 20);
    EXPECT_LT(largest_difference(expected, found), 1e-12);
  }

  counted_interruption soon{3};
  EXPECT_THROW(factor(block(pieces), {other_tau.data(), columns}, &soon),
               counted_interruption::ended);
}

TEST(qr_factorization, solve_leaves_the_rows_below_r_as_they_are) {
  factored made(7, 3);
  const padded before = random_matrix<double>(7, 2, 9);
  padded b = before;
  solve_r(made.record(), block(b));
  for (int j = 0; j < 2; ++j) {
    for (int i = 0; i < 3; ++i) {
      double back = 0.0;
      for (int l = i; l < 3; ++l) back += made.factor(i, l) * b(l, j);
      EXPECT_NEAR(back, before(i, j), 1e-13);
    }
    for (int i = 3; i < 7; ++i) EXPECT_EQ(b(i, j), before(i, j));
  }
}

TEST(qr_factorization, transposing_a_record_of_another_transposition_ends_the_process) {
  factored made(2, 2);
  for (const int other : {2, -1}) {
    qr_factorization record = made.record();
    record.transposition = other;
    EXPECT_EXIT(transpose(record), testing::KilledBySignal(SIGABRT), "^can't tranpose\n");
  }
}

TEST(qr_factorization, applying_a_record_of_another_kind_ends_the_process) {
  factored made(2, 2);
  qr_factorization record = made.record();
  record.kind = 1;
  padded c = random_matrix<double>(2, 1, 9);
  EXPECT_EXIT(apply(record, plain, block(c)), testing::KilledBySignal(SIGABRT),
              "^not supported yet\n");
}

}  // namespace
}  // namespace corvane
