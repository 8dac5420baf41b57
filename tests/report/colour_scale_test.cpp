#include "report/colour_scale.h"

#include <gtest/gtest.h>

namespace primfit::report {

namespace {

TEST(ColourScale, IsThatOfItsPublication) {
  // Rows of the table that Moreland publishes with the scale.
  const std::pair<double, Colour> rows[] = {
      {-1, {59, 76, 192}},    {-0.9375, {68, 90, 204}}, {-0.5, {141, 176, 254}}, {0, {221, 221, 221}},
      {0.5, {244, 154, 123}}, {1, {180, 4, 38}},        {-7, {59, 76, 192}},     {7, {180, 4, 38}}};
  for (const auto& [value, colour] : rows) EXPECT_EQ(DivergingColour(value), colour) << value;
}

}  // namespace

}  // namespace primfit::report
