// How far inliers reach over their shape, stray ones left out.
#include "adaptive/evidence/extent.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

#include "outline/azimuth.h"
#include "support/scenes.h"

namespace primfit::testing {
namespace {

using adaptive::Reach;
using std::numbers::pi;

/// n values spread evenly over each of some ranges.
std::vector<double> Spread(int n, const std::vector<Range>& ranges) {
  std::vector<double> values;
  for (const Range& range : ranges) {
    for (int i = 0; i < n; ++i) values.push_back(range.low + (range.high - range.low) * i / (n - 1));
  }
  return values;
}
std::vector<double> With(std::vector<double> values, const std::vector<double>& strays) {
  values.insert(values.end(), strays.begin(), strays.end());
  return values;
}

TEST(Extent, AlongAnAxisStraysAtTheEndsAreCut) {
  struct Row {
    const char* what;
    std::vector<double> values;
    double low, high;
  };
  const std::vector<double> one = Spread(1000, {{0, 1}});
  const std::vector<Row> rows = {
      {"evenly", one, 0, 1},
      {"strays at both ends", With(one, {-2, -1.9, 3, 3.1}), 0, 1},
      {"a stray next to the end stays", With(one, {1.01}), 0, 1.01},
      {"a gap in the middle is no end", Spread(500, {{0, 0.4}, {0.6, 1}}), 0, 1},
      {"a far part with as many is no stray", Spread(500, {{0, 0.4}, {3, 3.4}}), 0, 3.4},
      {"too few to tell", With(Spread(100, {{0, 1}}), {9}), 0, 9},
      {"all at one place", std::vector<double>(500, 2.5), 2.5, 2.5},
      {"one", {4}, 4, 4},
  };
  for (const Row& row : rows) {
    const Reach reach = adaptive::ReachAlong(row.values);
    EXPECT_EQ(reach.low, row.low) << row.what;
    EXPECT_EQ(reach.high, row.high) << row.what;
  }
}

TEST(Extent, AroundAnAxisItIsTheTurnLessItsLargestGap) {
  constexpr double kBin = 2 * pi / 256;  // one that an end hardly fills is taken for strays
  struct Row {
    const char* what;
    std::vector<double> azimuths;
    double low, high;
  };
  const std::vector<Row> rows = {
      {"an arc", Spread(2000, {{0.5, 2.5}}), 0.5, 2.5},
      {"across zero", Spread(2000, {{5.5, 7.5}}), 5.5, 7.5},
      {"strays in the gap", With(Spread(2000, {{0.5, 2.5}}), {4, 4.5, 5}), 0.5, 2.5},
      {"few points with one in the gap", With(Spread(200, {{0.5, 2.5}}), {4}), 0.5, 4},
      {"two arcs: the larger gap is outside", Spread(1000, {{1, 1.5}, {2, 2.5}}), 1, 2.5},
      {"two arcs: the larger gap is between them", Spread(1000, {{1, 1.5}, {5, 5.5}}), 5, 1.5 + 2 * pi},
      {"one point", {3}, 3, 3},
  };
  for (const Row& row : rows) {
    std::vector<double> square;
    for (const double a : row.azimuths) square.push_back(SquareAzimuth(std::cos(a), std::sin(a)));
    const Reach reach = adaptive::ReachAround(square);
    EXPECT_NEAR(reach.low, row.low, kBin) << row.what;
    EXPECT_NEAR(reach.high, row.high, kBin) << row.what;
  }
  std::vector<double> turn;
  for (const double a : Spread(20000, {{0, 2 * pi}})) turn.push_back(SquareAzimuth(std::cos(a), std::sin(a)));
  EXPECT_NEAR(adaptive::ReachAround(turn).Length(), 2 * pi, 2 * pi / 4000);
}

}  // namespace
}  // namespace primfit::testing
