// Statistics of point sets and comparisons of shapes.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <list>
#include <string>
#include <vector>

#include "primfit/primfit.h"
#include "support/gtest_support.h"
#include "support/kinds.h"

namespace primfit::testing {
namespace {

using Eigen::Vector3d;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

void ExpectEmpty(const FitQuality& q) {
  EXPECT_EQ(q.rmsDistance + q.meanDistance + q.meanSignedDistance + q.maxDistance + q.GetInlierCount(), 0);
  EXPECT_EQ(q.histogram.Sigma(), -1);
}

/// The quality of points in the shape's own frame, by plain sums in long double.
void ExpectQuality(const FitQuality& quality, const Kind& kind, const Points& local, double sigma) {
  long double squares = 0, magnitudes = 0, values = 0, largest = 0;
  std::vector<double> sizes;
  for (const Vector3d& p : local) {
    const long double d = kind.Distance(p);
    squares += d * d;
    magnitudes += std::abs(d);
    values += d;
    largest = std::max(largest, std::abs(d));
    sizes.push_back(static_cast<double>(std::abs(d)));
  }
  const auto n = static_cast<long double>(local.size());
  EXPECT_NEAR(quality.rmsDistance, static_cast<double>(std::sqrt(squares / n)), 1e-12);
  EXPECT_NEAR(quality.meanDistance, static_cast<double>(magnitudes / n), 1e-12);
  EXPECT_NEAR(quality.meanSignedDistance, static_cast<double>(values / n), 1e-12);
  EXPECT_NEAR(quality.maxDistance, static_cast<double>(largest), 1e-12);
  EXPECT_EQ(quality.GetInlierCount(), static_cast<int>(local.size()));
  const FitHistogram histogram(sigma, sizes.data(), static_cast<int>(sizes.size()));
  EXPECT_EQ(quality.histogram.Sigma(), sigma);
  for (int k = 0; k < 10; ++k) EXPECT_EQ(quality.histogram.CountOnSlot(k), histogram.CountOnSlot(k)) << k;
}

/// Points about the shape, most of them within a few centimetres, in its own frame.
Points Around(const Kind& kind, int n, Random& random) {
  Points points;
  for (int i = 0; i < n; ++i) {
    const double spread = i % 10 == 0 ? 1 : 0.005;
    points.push_back(kind.at(random.Uniform(kind.u), random.Uniform(kind.v)) + spread * random.InCube(1));
  }
  return points;
}

TEST_P(EveryShape, QualityEqualsPlainSums) {
  const Pose pose = random.AnyPose(10);
  const auto shape = kind.make(pose, 1);
  for (const int n : {1, 2, 3, 7, 1000, 100001}) {  // fewer points than processors included
    const Points local = Around(kind, n, random);
    ExpectQuality(shape->CalculateQuality(0.003, n, (pose * local).data()), kind, local, 0.003);
  }
  const Points none{pose.translation};
  ExpectEmpty(shape->CalculateQuality(0.003, 0, none.data()));
  ExpectEmpty(shape->CalculateQuality(0.003, -1, none.data()));
  ExpectEmpty(shape->CalculateQuality(0.003, 5, nullptr));
}

// Every record measures the shape that it describes, at the scale 0.006; bounds, angles and loops take no
// part.
TEST(RecordQuality, MeasuresTheDescribedShape) {
  Random random;
  const Pose pose = random.AnyPose(10);
  const Vector3d c = pose.translation, x = pose.rotation.col(0), y = pose.rotation.col(1),
                 z = pose.rotation.col(2);
  const auto expect = [&](KindIndex index, auto record) {
    const Kind& kind = Kinds()[index];
    const Points local = Around(kind, 500, random);
    ExpectQuality(record.CalculateQuality(500, (pose * local).data()), kind, local, 0.006);
    ExpectEmpty(record.CalculateQuality(0, local.data()));
    ExpectEmpty(record.CalculateQuality(500, nullptr));
  };
  expect(kLine, FitOutputParamsLine(c, z, 1));
  expect(kCircle, FitOutputParamsArc(c, kRadius, x, y, 1));
  expect(kPlane, FitOutputParamsPlane(c, z));
  expect(kPlane, FitOutputParamsPatch(c, z, 1, new double[2]{5, 6}, x));
  expect(kSphere, FitOutputParamsSphere(c, kRadius));
  expect(kCylinder, FitOutputParamsCylinder(c, kRadius, z));
  expect(kCylinder, FitOutputParamsCylinderBounded(c, kRadius, z, 1));
  expect(kCone, FitOutputParamsCone(c, kHalfAngle, z));
  expect(kCone, FitOutputParamsConeBounded(c, kHalfAngle, z, 1, 2));
  expect(kTorus, FitOutputParamsTorus(c, kMajor, kMinor, z));
  expect(kTorus, FitOutputParamsElbow(c, kMajor, kMinor, z, 1, x));
}

/// Points at these heights above the plane z = 0.
Points AtHeights(std::initializer_list<double> heights) {
  Points points;
  for (const double h : heights) points.emplace_back(h * h, -h, h);
  return points;
}

TEST(Check, IsTheRootMeanSquareAndMinusOneWithoutPoints) {
  OutputPlane plane({0, 0, 0}, {0, 0, 1});
  OutputLine line({0, 0, 0}, {0, 0, 1});
  Points points{{3, 4, 1}, {0, 0, -7}};
  std::list<Vector3d> list(points.begin(), points.end()), none;
  EXPECT_DOUBLE_EQ(plane.Check(2, points.data()), 5);
  EXPECT_DOUBLE_EQ(plane.Check(list), 5);
  EXPECT_DOUBLE_EQ(line.Check(2, points.data()), std::sqrt(12.5));
  EXPECT_DOUBLE_EQ(line.Check(list), std::sqrt(12.5));
  EXPECT_EQ(plane.Check(none) + plane.Check(0, points.data()) + plane.Check(2, nullptr), -3);
  EXPECT_EQ(line.Check(none) + line.Check(-3, points.data()) + line.Check(2, nullptr), -3);
}

TEST(GoodFit, CountsSignedDistancesAgainstTheBudget) {
  OutputPlane plane({0, 0, 0}, {0, 0, 1});
  Points points = AtHeights({2, 0, 0, 0, 0, 0, 0, 0, 0, 1});
  struct {
    int n;
    double fraction, tolerance;
    bool good;
  } const rows[] = {
      {10, 0.9, 1, true},     // one above, one on the tolerance, budget 1
      {10, 0.9, 0.5, false},  // two above
      {10, 0.8, 0.5, true},   // budget 2
      {10, 0.89, 0.5, true},  // 10 - trunc(8.9) = 2
      {10, 1, 1.5, false},    // budget 0
      {10, 1.5, 1.5, false},  // a negative budget is 0
      {10, 1.5, 2, true},    {10, 0, 0, true}, {10, -1, -9, true}, {0, 0, 9, false}, {-1, 0, 9, false},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(plane.GoodFit(row.n, points.data(), row.fraction, row.tolerance), row.good)
        << row.n << ' ' << row.fraction << ' ' << row.tolerance;
  }
  EXPECT_FALSE(plane.GoodFit(10, nullptr, 0, 9));
  for (Vector3d& p : points) p.z() = -100;  // far behind the plane is no outlier
  EXPECT_TRUE(plane.GoodFit(10, points.data(), 1, 0));
}

TEST(Median, IsTheQuantileOfSignedDistances) {
  OutputPlane plane({0, 0, 0}, {0, 0, 1});
  Points points = AtHeights({3, -5, 1, 4, -2});
  struct {
    double q, distance;
  } const rows[] = {{-1, -5}, {0, -5}, {0.24, -5}, {0.25, -2}, {0.5, 1}, {0.99, 3}, {1, 4}, {2, 4}};
  for (const auto& row : rows) EXPECT_EQ(plane.Median(5, points.data(), row.q), row.distance) << row.q;
  EXPECT_EQ(plane.Median(4, points.data(), 0.5), 1) << "the lower of the two in the middle";
  EXPECT_EQ(plane.Median(0, points.data(), 0.5), -1);
  EXPECT_EQ(plane.Median(5, nullptr, 0.5), -1);
  points[1].z() = kNan;
  EXPECT_EQ(plane.Median(5, points.data(), 0), -2);
  EXPECT_EQ(plane.Median(5, points.data(), 1), std::numeric_limits<double>::infinity())
      << "NaN counts as farthest";
}

/// A subclass takes part in comparisons as what it derives from, but has no name.
struct NamelessPlane : OutputPlane {
  using OutputPlane::OutputPlane;
};
struct NamelessLine : OutputLine {};

TEST(Compare, OtherKindsAndNullAreNotAlike) {
  const double largest = 1.7976931348623157e308;
  const OutputPlane plane({0, 0, 0}, {0, 0, 1});
  const Points points{{0, 0, 0.5}};
  for (const Kind& one : Kinds()) {
    const auto shape = one.make({}, 1);
    const auto* surface = dynamic_cast<const OutputSurface*>(shape.get());
    const auto difference = [&](const OutputShape* other) {
      return surface->Difference(dynamic_cast<const OutputSurface*>(other), 1, points.data());
    };
    EXPECT_EQ(shape->Similarity(nullptr), 0) << one;
    EXPECT_TRUE(surface == nullptr || difference(nullptr) == largest) << one;
    for (const Kind& two : Kinds()) {
      const auto other = two.make({}, 1);
      const bool same = one.name == two.name;
      EXPECT_EQ(shape->Similarity(other.get()) > 0, same) << one << ' ' << two;
      EXPECT_TRUE(surface == nullptr || (difference(other.get()) < largest) == same) << one << ' ' << two;
    }
  }
  const NamelessPlane nameless({0, 0, 0}, {0, 0, -1});
  EXPECT_EQ(plane.Similarity(&nameless), 1);
  EXPECT_EQ(plane.Difference(&nameless, 1, points.data()), 0.5);
}

TEST(Similarity, FollowsEachShapesFormula) {
  const Vector3d o(0, 0, 0), z(0, 0, 1), tilted(0.6, 0, -0.8);
  const auto similarity = [](const auto& a, const auto& b) {
    EXPECT_DOUBLE_EQ(a.Similarity(&b), b.Similarity(&a));
    return a.Similarity(&b);
  };
  EXPECT_DOUBLE_EQ(similarity(OutputLine(o, z), OutputLine(z, tilted)), 0.8);
  EXPECT_DOUBLE_EQ(similarity(OutputPlane(o, z), OutputPlane(z, tilted)), 0.8);
  EXPECT_DOUBLE_EQ(similarity(OutputCone(o, 1, z), OutputCone(z, 0.5, tilted)), 0.8);
  EXPECT_DOUBLE_EQ(similarity(OutputTorus(o, 3, 1, z), OutputTorus(z, 5, 2, tilted)), 0.8);
  EXPECT_DOUBLE_EQ(similarity(OutputCircle(o, 3, z), OutputCircle({0, 0.6, 0}, 1, tilted)), 0.8);
  EXPECT_DOUBLE_EQ(similarity(OutputSphere(o, 3), OutputSphere({0, 0, 0.6}, 1)), 0.8);
  EXPECT_EQ(similarity(OutputSphere(o, 3), OutputSphere({0, 0, 1.5}, 3)), 0);
  EXPECT_EQ(similarity(OutputCircle(o, 3, z), OutputCircle({1, 0, 0}, 3, z)), 0);
  const OutputCylinder cylinder({9, 9, 2}, 3,
                                tilted);  // not symmetric: the offset runs along the caller's axis
  EXPECT_DOUBLE_EQ(OutputCylinder(o, 1, z).Similarity(&cylinder), 0.8 * 4 + 2 + 2);
}

// Apart from the torus, whose measure is its own, Difference is the largest distance from the mean surface.
TEST(Difference, IsTheLargestDistanceFromTheMeanSurface) {
  Random random;
  for (int round = 0; round < 50; ++round) {
    const Pose pose = random.AnyPose(10);
    const Vector3d c = pose.translation, a = pose.rotation.col(2);
    const Vector3d shift = 0.3 * random.InCube(1);
    const Vector3d a2 = (round % 2 == 0 ? 1 : -1) * (a + 0.2 * random.InCube(1)).normalized();
    const Vector3d meanAxis = a + (round % 2 == 0 ? a2 : Vector3d(-a2));
    const Points points = pose * Clutter(Vector3d::Constant(-4), Vector3d::Constant(4), 100, random);
    const auto expectFarthest = [&](const OutputSurface& one, const OutputSurface& two,
                                    const OutputSurface& mean) {
      double farthest = 0;
      for (const Vector3d& p : points) farthest = std::max(farthest, std::abs(mean.Distance(p)));
      EXPECT_NEAR(one.Difference(&two, 100, points.data()), farthest, 1e-12);
    };
    const Vector3d c2 = c + shift, mid = c + shift / 2;
    expectFarthest(OutputPlane(c, a), OutputPlane(c2, a2), OutputPlane(mid, meanAxis));
    expectFarthest(OutputSphere(c, 2), OutputSphere(c2, 2.5), OutputSphere(mid, 2.25));
    expectFarthest(OutputCylinder(c, 2, a), OutputCylinder(c2, 2.5, a2), OutputCylinder(mid, 2.25, meanAxis));
    expectFarthest(OutputCone(c, 0.4, a), OutputCone(c2, 0.6, a2), OutputCone(mid, 0.5, meanAxis));
  }
  // Perpendicular normals: the difference of the two is taken, (1, 0, -1) / sqrt 2 here.
  const OutputPlane x({0, 0, 0}, {1, 0, 0}), z({0, 0, 0}, {0, 0, 1});
  const Points onMean{{1, 5, 1}}, off{{1, 5, -1}};
  EXPECT_NEAR(x.Difference(&z, 1, onMean.data()), 0, 1e-15);
  EXPECT_NEAR(x.Difference(&z, 1, off.data()), std::sqrt(2), 1e-15);
}

TEST(Difference, OfToriComparesTheMinorRadiusWithItsOwnMeasure) {
  // The mean of the two has its centre in the origin, the axis z and the minor radius 2.
  const OutputTorus one({0, 0, 1}, 3, 1, {0, 0, 1}), two({0, 0, -1}, 7, 3, {0, 0, -1});
  // d = (3, 0, 4): (25 - 16) * 16 / 25 = 2.4^2; d = (0, 8, 6): (100 - 36) * 36 / 100 = 4.8^2; the origin is
  // left out.
  const Points points{{3, 0, 4}, {1e-5, 0, 0}, {0, 8, 6}};
  EXPECT_NEAR(one.Difference(&two, 2, points.data()), 0.4, 1e-15);
  EXPECT_NEAR(one.Difference(&two, 3, points.data()), 2.8, 1e-14);
  const Points onAxis{{0, 0, 4}, {3, 0, 4}};
  EXPECT_NEAR(two.Difference(&one, 2, onAxis.data()), 2, 1e-15) << "the smallest measure counts as well";
}

std::string Printed(const OutputShape& shape) {
  char text[256] = {};
  std::FILE* file = fmemopen(text, sizeof text, "w");
  shape.Printout(file);
  std::fclose(file);
  return text;
}

TEST(Printout, IsOneLineOfParameters) {
  const Vector3d c(1, -2.5, 1e6), a(0, 0, 2);
  const std::string at = "(1.000000, -2.500000, 1000000.000000)", axis = "(0.000000, 0.000000, 1.000000)\n";
  EXPECT_EQ(Printed(OutputLine(c, a)), "root" + at + ", dir" + axis);
  EXPECT_EQ(Printed(OutputCircle(c, 0.125, a)), "ctr" + at + ", radius = 0.125000\n");
  EXPECT_EQ(Printed(OutputPlane(c, a)), "ctr" + at + ", normal" + axis);
  EXPECT_EQ(Printed(OutputSphere(c, 0.125)), "ctr" + at + ", radius = 0.125000\n");
  EXPECT_EQ(Printed(OutputCylinder(c, 0.125, a)), "ctr" + at + ", radius = 0.125000, axis" + axis);
  EXPECT_EQ(Printed(OutputCone(c, 0.125, a)), "apex" + at + ", angle = 0.125000, axis" + axis);
  EXPECT_EQ(Printed(OutputTorus(c, 3, 0.125, a)), "ctr" + at + ", radii(3.000000, 0.125000), axis" + axis);
}

template <class Base>
std::string NameOf(const Base& shape) {
  char buffer[9];
  std::fill(std::begin(buffer), std::end(buffer), '#');
  shape.Name(buffer);
  return buffer;
}

TEST(Name, IsThatOfTheExactClass) {
  for (const Kind& kind : Kinds()) {
    const auto shape = kind.make({}, 1);
    const auto* surface = dynamic_cast<const OutputSurface*>(shape.get());
    EXPECT_EQ(surface != nullptr ? NameOf(*surface) : NameOf(dynamic_cast<const OutputCurve&>(*shape)),
              kind.name);
  }
  EXPECT_EQ(NameOf(NamelessPlane({0, 0, 0}, {0, 0, 1})), "Unknown");
  EXPECT_EQ(NameOf(NamelessLine()), "Unknown");
}

}  // namespace
}  // namespace primfit::testing
