// How far inliers reach over their shape, stray ones left out.
#include "adaptive/evidence/reach.h"

#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

#include "outline/azimuth.h"
#include "primfit/fit.h"
#include "support/scenes.h"

namespace primfit::testing {
namespace {

using adaptive::Reach;
using Eigen::Vector3d;
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

/// Two coordinates of each corner of a patch in space.
std::vector<double> Corners(const FitOutputParamsPatch& patch) {
  const double* loop = nullptr;
  Vector3d u;
  const int count = patch.Loop(loop, u);
  std::vector<double> corners;
  for (std::ptrdiff_t i = 0; i < count; ++i) {
    const Vector3d p = patch.Origin() + loop[2 * i] * u + loop[2 * i + 1] * patch.Normal().cross(u);
    corners.insert(corners.end(), {p.y() - 4000000, p.z() - 100});
  }
  return corners;
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
      {"a value three spacings from the end stays", With(one, {1.003}), 0, 1.003},
      {"one of twenty is a stray", With(one, {1.02}), 0, 1},
      {"a gap in the middle is no end", Spread(500, {{0, 0.4}, {0.6, 1}}), 0, 1},
      {"a far part with as many is no stray", Spread(500, {{0, 0.4}, {3, 3.4}}), 0, 3.4},
      {"a stray beside a hundred", With(Spread(100, {{0, 1}}), {9}), 0, 1},
      {"too few to tell", With(Spread(9, {{0, 1}}), {1.6}), 0, 1.6},
      {"all at one place", std::vector<double>(500, 2.5), 2.5, 2.5},
      {"one", {4}, 4, 4},
  };
  for (const Row& row : rows) {
    const Reach reach = adaptive::ReachAlong(row.values);
    EXPECT_EQ(reach.low.at, row.low) << row.what;
    EXPECT_EQ(reach.high.at, row.high) << row.what;
    EXPECT_EQ(row.values[reach.high.index], reach.high.at) << row.what;
  }
}

TEST(Extent, AroundAnAxisItIsTheTurnLessItsLargestGap) {
  struct Row {
    const char* what;
    std::vector<double> azimuths;
    double low, high;
  };
  const std::vector<Row> rows = {
      {"an arc", Spread(2000, {{0.5, 2.5}}), 0.5, 2.5},
      {"across zero", Spread(2000, {{5.5, 7.5}}), 5.5, 7.5},
      {"strays in the gap", With(Spread(2000, {{0.5, 2.5}}), {4, 4.5, 5}), 0.5, 2.5},
      {"few points with one in the gap", With(Spread(200, {{0.5, 2.5}}), {4}), 0.5, 2.5},
      {"two arcs: the larger gap is outside", Spread(1000, {{1, 1.5}, {2, 2.5}}), 1, 2.5},
      {"two arcs: the larger gap is between them", Spread(1000, {{1, 1.5}, {5, 5.5}}), 5, 1.5 + 2 * pi},
      {"one point", {3}, 3, 3},
  };
  for (const Row& row : rows) {
    std::vector<double> square;
    for (const double a : row.azimuths) square.push_back(SquareAzimuth(std::cos(a), std::sin(a)));
    const Reach reach = adaptive::ReachAround(square);
    EXPECT_NEAR(reach.low.at, row.low, 1e-9) << row.what;
    EXPECT_NEAR(reach.high.at, row.high, 1e-9) << row.what;
  }
  std::vector<double> turn;
  for (const double a : Spread(20000, {{0, 2 * pi}})) turn.push_back(SquareAzimuth(std::cos(a), std::sin(a)));
  EXPECT_NEAR(adaptive::ReachAround(turn).Length(), 2 * pi, 2 * pi / 4000);
}

/// A bounded shape, the true values of its bounds, and what a fit gives for them.
template <class S>
struct Bounded {
  using Shape = S;
  const char* name;
  Points (*points)(int n, Random& random);
  std::vector<double> truth;
  std::vector<double> (*bounds)(const typename S::Record&);
};

template <class Body>
void ForEachBounded(const Body& body) {
  static const Vector3d o(500000, 4000000, 100), a = Vector3d(1, 2, -2) / 3;
  constexpr double kNoise = 0.002;
  body(Bounded<Line>{"line",
                     [](int n, Random& r) {
                       return PointsOn(OutputLine(o, a), n, {-1, 1}, kNoise, r);
                     },
                     {2},
                     [](const auto& s) { return std::vector{s.Length()}; }});
  body(Bounded<Arc>{"arc",
                    [](int n, Random& r) {
                      return PointsOn(OutputCircle(o, 0.5, a), n, {0, 2}, kNoise, r);
                    },
                    {2},
                    [](const auto& s) { return std::vector{s.Angle()}; }});
  body(Bounded<BoundedCylinder>{"cylinder",
                                [](int n, Random& r) {
                                  return PointsOn(OutputCylinder(o, 0.5, a), n, {0, 4}, {-1, 1}, kNoise, r);
                                },
                                {2},
                                [](const auto& s) { return std::vector{s.Height()}; }});
  body(Bounded<BoundedCone>{"cone",
                            [](int n, Random& r) {
                              return PointsOn(OutputCone(o, 0.4, a), n, kFullTurn, {0.5, 1.5}, kNoise, r);
                            },
                            {0.5, 1.5},
                            [](const auto& s) {
                              return std::vector{s.Height0(), s.Height1()};
                            }});
  body(Bounded<Elbow>{"elbow",
                      [](int n, Random& r) {
                        return PointsOn(OutputTorus(o, 1, 0.3, a), n, {0, 1.5}, kFullTurn, kNoise, r);
                      },
                      {1.5},
                      [](const auto& s) { return std::vector{s.Angle()}; }});
  body(Bounded<Patch>{"patch",
                      [](int n, Random& r) {
                        return PointsOn(OutputPlane(o, a), n, {-1, 1}, {-0.5, 0.5}, kNoise, r);
                      },
                      {},
                      [](const auto& s) { return Corners(s); }});
}

TEST(Extent, BoundsAreAsExactAsTheySay) {
  // Errors of ends have a heavier tail than normal ones: of 80 clouds the mean square is 1 within 0.6, four
  // of its standard deviations.
  constexpr int kRuns = 80;
  ForEachBounded([](const auto& kind) {
    using Shape = typename std::decay_t<decltype(kind)>::Shape;
    SCOPED_TRACE(kind.name);
    Random random;
    std::vector<double> squares(kind.truth.size());
    int within = 0;
    for (int run = 0; run < kRuns; ++run) {
      const Points points = WithClutter(kind.points(800, random), 0.2, random);
      FitOptions<Shape> options;
      options.seed = 1;
      const auto fit = primfit::fit<Shape>(points, options);
      const std::vector<double> got = kind.bounds(fit.shape);
      EXPECT_EQ(fit.extents.sizes.size(), kind.truth.empty() ? got.size() / 2 : got.size());
      for (std::size_t i = 0; i < kind.truth.size(); ++i) {
        const double off = (got[i] - kind.truth[i]) / fit.extents.sizes[i];
        squares[i] += off * off / kRuns;
        within += std::abs(off) <= 3 ? 1 : 0;
      }
    }
    for (const double square : squares) EXPECT_NEAR(square, 1, 0.6);
    EXPECT_GE(within, 0.94 * kRuns * static_cast<double>(kind.truth.size()));
  });
}

TEST(Extent, BoundsDoNotDependOnTheSeed) {
  ForEachBounded([](const auto& kind) {
    using Shape = typename std::decay_t<decltype(kind)>::Shape;
    for (const double clutter : {0.0, 0.5}) {
      SCOPED_TRACE(kind.name);
      Random random;
      const Points points = WithClutter(kind.points(2000, random), clutter, random);
      std::vector<double> first;
      for (std::uint64_t seed = 0; seed < 12; ++seed) {
        FitOptions<Shape> options;
        options.seed = seed;
        const auto fit = primfit::fit<Shape>(points, options);
        std::vector<double> bounds = kind.bounds(fit.shape);
        std::sort(bounds.begin(), bounds.end());  // an outline may begin at another corner
        if (seed == 0) first = bounds;
        ASSERT_EQ(bounds.size(), first.size());
        const double allowed = 0.1 * *std::min_element(fit.extents.sizes.begin(), fit.extents.sizes.end());
        for (std::size_t i = 0; i < bounds.size(); ++i) EXPECT_NEAR(bounds[i], first[i], allowed) << seed;
      }
    }
  });
}

}  // namespace
}  // namespace primfit::testing
