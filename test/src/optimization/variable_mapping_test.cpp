// SPDX-License-Identifier: BSD-3-Clause
#include "optimization/variable_mapping.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <type_traits>
#include <vector>

namespace corvane {
namespace {

using entries = std::vector<variable_mapping::entry>;
using positions = std::vector<index_t>;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

variable_mapping::entry group(index_t index) { return index; }

std::vector<double> expanded(const variable_mapping& mapping,
                             const std::vector<double>& x) {
  std::vector<double> out(static_cast<std::size_t>(mapping.size()), nan);
  mapping.expand({x.data(), static_cast<index_t>(x.size())}, {out.data(), mapping.size()});
  return out;
}

TEST(variable_mapping, collects_the_positions_of_groups_and_of_fixed_values_ascending) {
  const variable_mapping mapping{
      entries{group(1), 2.5, group(0), group(1), -1.0, 2.5, group(2)}};
  EXPECT_EQ(mapping.size(), 7);
  EXPECT_EQ(mapping.num_fixed(), 3);
  EXPECT_EQ(mapping.groups(),
            (std::vector<positions>{positions{2}, positions{0, 3}, positions{6}}));
  ASSERT_EQ(mapping.fixed().size(), 2U);
  EXPECT_EQ(mapping.fixed()[0].value, -1.0);
  EXPECT_EQ(mapping.fixed()[0].positions, positions{4});
  EXPECT_EQ(mapping.fixed()[1].value, 2.5);
  EXPECT_EQ(mapping.fixed()[1].positions, (positions{1, 5}));
}

TEST(variable_mapping, expands_variables_and_fixed_values) {
  const variable_mapping mapping{
      entries{group(1), 2.5, group(0), group(1), -1.0, 2.5, group(2)}};
  EXPECT_EQ(expanded(mapping, {10.0, 11.0, 12.0}),
            (std::vector<double>{11.0, 2.5, 10.0, 11.0, -1.0, 2.5, 12.0}));
}

TEST(variable_mapping, a_list_with_groups_0_and_2_is_refused) {
  EXPECT_THROW(variable_mapping(entries{group(0), group(2)}),
               model::invalid_variable_mapping);
}

TEST(variable_mapping, groups_that_do_not_start_at_0_are_refused) {
  EXPECT_THROW(variable_mapping(entries{group(1), 0.0}), model::invalid_variable_mapping);
  EXPECT_THROW(variable_mapping(entries{group(-1), group(0)}),
               model::invalid_variable_mapping);
}

TEST(variable_mapping, the_refusal_has_its_name_as_text) {
  EXPECT_EQ(std::string{model::invalid_variable_mapping{}.what()},
            "invalid_variable_mapping");
  static_assert(std::is_base_of_v<std::exception, model::invalid_variable_mapping>);
}

TEST(variable_mapping, only_fixed_entries_give_no_groups_and_every_position_is_written) {
  const variable_mapping mapping{entries{0.0, 1.0, 0.0}};
  EXPECT_TRUE(mapping.groups().empty());
  EXPECT_EQ(mapping.num_fixed(), 3);
  EXPECT_EQ(expanded(mapping, {}), (std::vector<double>{0.0, 1.0, 0.0}));
}

TEST(variable_mapping, of_nothing_is_empty) {
  const variable_mapping mapping{entries{}};
  EXPECT_EQ(mapping.size(), 0);
  EXPECT_TRUE(mapping.groups().empty());
  EXPECT_TRUE(mapping.fixed().empty());
}

TEST(variable_mapping, a_fixed_nan_is_kept_apart_from_the_numbers) {
  const variable_mapping mapping{entries{1.0, nan, 2.0, nan}};
  const std::vector<double> out = expanded(mapping, {});
  EXPECT_EQ(out[0], 1.0);
  EXPECT_EQ(out[2], 2.0);
  EXPECT_NE(out[1], out[1]);
  EXPECT_NE(out[3], out[3]);
  EXPECT_EQ(mapping.fixed().size(), 3U);
}

}  // namespace
}  // namespace corvane
