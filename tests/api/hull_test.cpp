// The planar hull against exact integer arithmetic, and the ordering and thinning of a boundary loop.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <numeric>
#include <random>
#include <vector>

#include "outline/convex_hull.h"
#include "outline/loop.h"

namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

using Coordinates = std::vector<double>;
using Place = std::pair<std::int64_t, std::int64_t>;
__extension__ typedef __int128 Wide;

/// The points as multiples of 2^-bits, which must be exact.
std::vector<Place> Places(const Coordinates& points, int bits) {
  std::vector<Place> places;
  for (std::size_t i = 0; i < points.size(); i += 2) {
    const double x = std::ldexp(points[i], bits), y = std::ldexp(points[i + 1], bits);
    EXPECT_TRUE(x == std::rint(x) && y == std::rint(y) && std::abs(x) < 9e18 && std::abs(y) < 9e18);
    places.emplace_back(static_cast<std::int64_t>(x), static_cast<std::int64_t>(y));
  }
  return places;
}

int Sign(Wide v) { return (v > 0) - (v < 0); }
Wide Dot(Place a, Place b, Place c) {
  return (Wide{b.first} - a.first) * (Wide{c.first} - a.first) +
         (Wide{b.second} - a.second) * (Wide{c.second} - a.second);
}
int Turn(Place a, Place b, Place c) {
  return Sign((Wide{b.first} - a.first) * (Wide{c.second} - a.second) -
              (Wide{b.second} - a.second) * (Wide{c.first} - a.first));
}

std::vector<int> HullOf(const Coordinates& points) {
  int count = -1;
  int* indices = nullptr;
  EXPECT_EQ(QuickConvexHull2d(static_cast<int>(points.size() / 2), points.data(), &count, &indices), 0);
  std::vector<int> hull(indices, indices + count);
  QHullFree(indices);
  return hull;
}

/// Strictly convex, once round, counter-clockwise, nothing outside: that is the hull. One place or two are
/// the hull of what lies on them or between them.
void ExpectHullOf(const std::vector<Place>& places, const std::vector<int>& indices) {
  std::vector<Place> hull;
  for (const int i : indices) hull.push_back(places.at(static_cast<std::size_t>(i)));
  const std::size_t h = hull.size();
  ASSERT_GE(h, 1U);
  if (h < 3) {
    ASSERT_TRUE(h == 1 || hull[0] != hull[1]);
    for (const Place& p : places) {
      ASSERT_EQ(Turn(hull[0], hull[h - 1], p), 0);
      ASSERT_TRUE(p == hull[0] || (h == 2 && Dot(p, hull[0], hull[1]) <= 0));
    }
    return;
  }
  int leftmost = 0;
  for (std::size_t i = 0; i < h; ++i) {
    const Place &before = hull[(i + h - 1) % h], &next = hull[(i + 1) % h];
    ASSERT_EQ(Turn(before, hull[i], next), 1);
    leftmost += hull[i] < before && hull[i] < next;
  }
  ASSERT_EQ(leftmost, 1) << "winds once";
  for (const Place& p : places) {
    // In the fan about vertex 0: the last spoke that p is not to the right of, then the edge behind it.
    std::size_t low = 1, high = h - 1;
    ASSERT_GE(Turn(hull[0], hull[1], p), 0);
    ASSERT_LE(Turn(hull[0], hull[h - 1], p), 0);
    while (high - low > 1) {
      const std::size_t middle = (low + high) / 2;
      (Turn(hull[0], hull[middle], p) >= 0 ? low : high) = middle;
    }
    ASSERT_GE(Turn(hull[low], hull[high], p), 0);
  }
}

void ExpectHullOf(const Coordinates& points, int bits) {
  ASSERT_NO_FATAL_FAILURE(ExpectHullOf(Places(points, bits), HullOf(points)));
}

TEST(ConvexHull, IsExactOnGrids) {
  std::mt19937_64 engine(1);
  // side of the grid, spacing 2^-bits, offset; 1e6 with a spacing of 2^-33 = 1.2e-10 uses all 53 bits
  const struct {
    int side, bits;
    double offset;
  } rows[] = {{1, 0, 0},  {2, 0, 0},    {3, 0, 0},    {5, 0, -2},
              {40, 0, 0}, {5, 10, 1e6}, {5, 33, 1e6}, {1000, 33, -1e6}};
  for (const auto& row : rows) {
    std::uniform_int_distribution<int> cell(0, row.side - 1);
    for (int round = 0; round < 150; ++round) {
      Coordinates points;
      for (int i = 0; i < 2 * (1 + round % 25); ++i) {
        points.push_back(row.offset + std::ldexp(cell(engine), -row.bits));
      }
      ExpectHullOf(points, row.bits);
    }
  }
}

TEST(ConvexHull, IsExactWhereRoundingDecides) {
  // Points a few last places away from the line through far ones: plain double arithmetic calls left right
  // here (Kettner et al., Classroom examples of robustness problems in geometric computations, 2008).
  std::mt19937_64 engine(2);
  std::uniform_int_distribution<int> step(0, 31), fewSteps(0, 3);
  for (int round = 0; round < 300; ++round) {
    Coordinates kettner = {12, 12, 24, 24}, survey = {0, 0, 1e6, 1e6 / 4};
    for (int i = 0; i < 12; ++i) {
      kettner.push_back(0.5 + std::ldexp(step(engine), -53));
      kettner.push_back(0.5 + std::ldexp(step(engine), -53));
      const double along =
          std::ldexp(std::floor(std::ldexp(0.08 * i, 20)), -18);  // quarter and whole are exact
      survey.push_back(1e6 * along);
      survey.push_back(1e6 / 4 * along + std::ldexp(fewSteps(engine), -33));
    }
    ExpectHullOf(kettner, 53);
    ExpectHullOf(survey, 35);
  }
}

TEST(ConvexHull, IsExactForLargeClouds) {
  std::mt19937_64 engine(3);
  std::normal_distribution<double> normal;
  std::uniform_real_distribution<double> angle(0, 2 * M_PI);
  const auto snapped = [](double v) { return std::ldexp(std::rint(std::ldexp(v, 30)), -30); };
  for (const int kind : {0, 1, 2}) {
    Coordinates points;
    for (int i = 0; i < 100000; ++i) {
      const double a = angle(engine);  // nearly all points of the circle are extreme
      points.push_back(snapped(kind == 0 ? normal(engine) : kind == 1 ? std::cos(a) : a));
      points.push_back(snapped(kind == 0 ? normal(engine) : kind == 1 ? std::sin(a) : 0.37 * a));
    }
    ExpectHullOf(points, 30);
  }
}

TEST(ConvexHull, TakesDegenerateInputAndRefusesBadInput) {
  const struct {
    Coordinates points;
    std::vector<int> hull;
  } rows[] = {{{}, {}},
              {{7, -3}, {0}},
              {{7, -3, 7, -3, 7, -3}, {0}},
              {{0, 1, 0, 0}, {1, 0}},
              {{0, 0, 1, 1, 3, 3, 2, 2, 3, 3}, {0, 2}},
              {{0, 0, 2, 0, 1, 0, 0, 2, 0, 1, 0, 0, 0.5, 0.5}, {0, 1, 3}},
              {{1, 1e-200, 0, -1e-300, 2, 0}, {1, 2}},                 // what is next to nothing is 0
              {{0.0, -0.0, -0.0, 0.0, 1, 0}, {0, 2}},                  // the zeros are one place
              {{-1e150, 0, 1e150, -1e150, 1e150, 1e150}, {0, 1, 2}}};  // largest coordinates: no overflow
  for (const auto& row : rows) EXPECT_EQ(HullOf(row.points), row.hull);

  const double fine[] = {0, 0, 1, 0, 0, 1};
  const auto refusal = [](int n, const double* points) {
    int count = 5, *indices = &count;
    const int status = QuickConvexHull2d(n, points, &count, &indices);
    EXPECT_TRUE(count == 0 && indices == nullptr);
    return status;
  };
  EXPECT_EQ(refusal(-1, fine), 1);
  EXPECT_EQ(refusal(3, nullptr), 2);
  for (const double bad : {kNan, kInfinity, -kInfinity, 1.01e150}) {
    for (std::size_t at = 0; at < 6; ++at) {
      Coordinates points(fine, fine + 6);
      points[at] = bad;
      EXPECT_EQ(refusal(3, points.data()), 3);
    }
  }
  int count = 0, *indices = nullptr;
  EXPECT_EQ(QuickConvexHull2d(3, fine, nullptr, &indices), 2);
  EXPECT_EQ(QuickConvexHull2d(3, fine, &count, nullptr), 2);
  QHullFree(nullptr);
}

Coordinates Sorted(const Coordinates& vertices) {
  int count = static_cast<int>(vertices.size() / 2);
  double* loop = new double[vertices.size()];
  std::copy(vertices.begin(), vertices.end(), loop);
  SortLoopVertices(count, loop);
  const std::unique_ptr<double[]> owner(loop);
  return {loop, loop + 2 * count};
}

Coordinates RegularPolygon(int sides) {
  Coordinates vertices;
  for (int k = 0; k < sides; ++k) {
    const double angle = 2 * M_PI * (k + 0.25) / sides;
    vertices.insert(vertices.end(), {std::cos(angle), std::sin(angle)});
  }
  return vertices;
}

TEST(SortLoopVertices, OrdersAndThins) {
  const double w = std::tan(10 * M_PI / 180), slight = std::tan(4.9 * M_PI / 180),
               more = std::tan(5.1 * M_PI / 180);
  const struct {
    const char* name;
    Coordinates loop, expected;
  } rows[] = {
      {"square, from the corner of smallest angle", {0, 0, 1, 1, 1, 0, 0, 1}, {1, 1, 0, 1, 0, 0, 1, 0}},
      {"a vertex in the middle of an edge goes", {0, 0, 2, 0, 4, 0, 4, 4, 0, 4}, {4, 4, 0, 4, 0, 0, 4, 0}},
      {"a turn of 10 degrees stays",
       {-2, 0, -2, 3, 2, 3, 2, 0, 0, -2 * std::tan(5 * M_PI / 180)},
       {2, 3, -2, 3, -2, 0, 0, -2 * std::tan(5 * M_PI / 180), 2, 0}},
      {"a turn of 4.9 degrees goes",
       {4, 2, 0, 2, -4, 2 - 4 * slight, -4, -3, 4, -3},
       {4, 2, -4, 2 - 4 * slight, -4, -3, 4, -3}},
      {"a turn of 5.1 degrees stays",
       {4, 2, 0, 2, -4, 2 - 4 * more, -4, -3, 4, -3},
       {4, 2, 0, 2, -4, 2 - 4 * more, -4, -3, 4, -3}},
      {"three vertices are only ordered", {0, 0, 1, w, 2, 0}, {1, w, 0, 0, 2, 0}},
      {"never below three", {0, 1e-3, 1, 0, -1, 0, 0, -1e-3}, {1, 0, -1, 0, 0, -1e-3}},
      {"the first vertex stays, straight or not",
       {3, 0, 3, 3, -3, 3, -3, -3, 3, -3},
       {3, 0.0, 3, 3, -3, 3, -3, -3, 3, -3}},
      {"of two vertices 1e-6 apart one goes",
       {1, 1, -1, 1, -1, 1 - 1e-6, -1, -1, 1, -1},
       {1, 1, -1, 1 - 1e-6, -1, -1, 1, -1}},
      {"a vertex at the centroid has the angle 0",
       {1, 1, -1, 1, 0, 0, -1, -1, 1, -1},
       {0, 0, 1, 1, -1, 1, -1, -1, 1, -1}},
      {"one place only", {2, 3, 2, 3}, {2, 3, 2, 3}},
      {"one vertex", {2, 3}, {2, 3}},
  };
  for (const auto& row : rows) EXPECT_EQ(Sorted(row.loop), row.expected) << row.name;

  EXPECT_EQ(Sorted(RegularPolygon(71)).size() / 2, 71U) << "turns of 5.07 degrees";
  // Finer polygons lose vertices until the turns, taken between the vertices that stay, reach 5 degrees.
  for (const int sides : {73, 360, 100000}) {
    const Coordinates thinned = Sorted(RegularPolygon(sides));
    EXPECT_GE(thinned.size() / 2, 36U) << sides;
    EXPECT_LE(thinned.size() / 2, 72U) << sides;
  }
}

TEST(SortLoopVertices, SurvivesWhatIsNoLoop) {
  for (const double bad : {kNan, kInfinity, 1e300}) {
    for (std::size_t at = 0; at < 12; ++at) {
      Coordinates points = RegularPolygon(6);
      points[at] = bad;
      EXPECT_GE(Sorted(points).size(), 6U);
    }
  }
  double one[] = {1, 2};
  for (double* const given : {one, static_cast<double*>(nullptr)}) {
    int count = given == nullptr ? 1 : 0;
    double* loop = given;
    SortLoopVertices(count, loop);
    EXPECT_EQ(loop, given) << "nothing to do";
  }
}

TEST(SortLoopVertices, GivesTheHullBackInWhateverOrderItCame) {
  std::mt19937_64 engine(5);
  std::normal_distribution<double> normal;
  for (int round = 0; round < 200; ++round) {
    Coordinates points, loop;
    for (int i = 0; i < 40; ++i) points.push_back(std::ldexp(std::rint(std::ldexp(normal(engine), 20)), -20));
    std::vector<int> hull = HullOf(points);
    std::shuffle(hull.begin(), hull.end(), engine);
    for (const int i : hull) loop.insert(loop.end(), &points[2 * i], &points[2 * i] + 2);
    const std::vector<Place> sorted = Places(Sorted(loop), 20);
    std::vector<int> all(sorted.size());
    std::iota(all.begin(), all.end(), 0);
    ASSERT_NO_FATAL_FAILURE(ExpectHullOf(sorted, all)) << "counter-clockwise and convex";
  }
}

}  // namespace
