// The flat functions: status, what is written and what is thrown. A host in C (tests/package/c) runs every
// stage.
#include "primfit/flat.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <random>
#include <vector>

#include "api/entries.h"
#include "primfit/primfit.h"

namespace primfit::testing {
namespace {

std::vector<double> Plane(int n, double outliers) {
  std::mt19937_64 random(30);
  std::uniform_real_distribution<double> u(-1, 1);
  std::normal_distribution<double> noise(0, 0.002);
  std::vector<double> points;
  for (int i = 0; i < n; ++i) {
    points.insert(points.end(),
                  {700 + u(random), u(random), i < outliers * n ? u(random) : 5 + noise(random)});
  }
  return points;
}

TEST(FlatPlane, WritesNothingWhereItFails) {
  const auto points = Plane(100, 0);
  std::vector<double> holes(points);
  for (std::size_t i = 0; i < holes.size(); i += 3) holes[i] = std::nan("");
  double plane[6], quality[4];
  const struct {
    std::function<int()> call;
    int status;
  } rows[] = {
      {[&] { return IFitPlane(0, points.data(), plane, quality, 0.006); }, -1},
      {[&] { return IFitPlane(-3, nullptr, plane, quality, 0.006); }, -1},
      {[&] { return IFitPlane(100, nullptr, plane, quality, 0.006); }, 1},
      {[&] { return IFitPlane(100, points.data(), nullptr, quality, 0.006); }, 1},
      {[&] { return IFitPlane(100, points.data(), plane, nullptr, 0.006); }, 1},
      {[&] { return IFitPlane(100, holes.data(), plane, quality, 0.006); }, 1},
      {[&] { return IFitPlane(2, points.data(), plane, quality, 0.006); }, 1},
      {[&] { return IFitPlane(100, points.data(), plane, quality, 0); }, 1},  // poor quality
      {[&] { return OptimizePlane(0, points.data(), plane, 0.006); }, -1},
      {[&] { return OptimizePlane(100, nullptr, plane, 0.006); }, 1},
      {[&] { return OptimizePlane(100, points.data(), nullptr, 0.006); }, 1},
      {[&] { return OptimizePlane(100, points.data(), plane, 0.006); }, 1},  // a start of 77s is far off
      {[&] { return OptimizePlane(100, holes.data(), plane, 0.006); }, 1},
      {[&] { return QFitPlane(0, points.data(), plane); }, -1},
      {[&] { return QFitPlane(100, nullptr, plane); }, 1},
      {[&] { return RFitPlane(-1, points.data(), 3, 0.99, plane); }, -1},
      {[&] { return RFitPlane(100, points.data(), 3, 0.99, nullptr); }, 1},
  };
  for (const auto& row : rows) {
    std::fill(std::begin(plane), std::end(plane), 77);
    std::fill(std::begin(quality), std::end(quality), 77);
    const primfit::ScopedSeed seed(1);
    EXPECT_EQ(row.call(), row.status) << "row " << &row - rows;
    for (const double number : plane) EXPECT_EQ(number, 77) << "row " << &row - rows;
    for (const double number : quality) EXPECT_EQ(number, 77) << "row " << &row - rows;
  }
}

TEST(FlatPlane, StagesLetExceptionsOut) {
  const auto points = Plane(100, 0);
  double plane[6];
  EXPECT_THROW(QFitPlane(2, points.data(), plane), primfit::FitError);
  EXPECT_THROW(RFitPlane(2, points.data(), 3, 0.99, plane), primfit::FitError);
  // Three collinear points: whatever comes, it is a status.
  const double collinear[] = {0, 0, 0, 1, 1, 1, 2, 2, 2};
  double quality[4];
  const int status = IFitPlane(3, collinear, plane, quality, 0.006);
  EXPECT_TRUE(status == 0 || status == 1);
}

TEST(FlatPlane, FitsWhatTheEntryPointFits) {
  const auto numbers = Plane(500, 0.2);
  std::vector<Eigen::Vector3d> points;
  for (std::size_t i = 0; i < 500; ++i) points.emplace_back(numbers.data() + 3 * i);
  FitInputParams<FitConstraintsPlane> params;
  params.SetScannerError(0.004);
  double plane[6], quality[4];
  const auto flat = [&] {
    const primfit::ScopedSeed seed(3);
    return IFitPlane(500, numbers.data(), plane, quality, 0.004);
  };
  ASSERT_EQ(flat(), 0);
  const primfit::ScopedSeed seed(3);
  const auto fit = PlaneFromPoints(points.data(), 500, params, nullptr);
  const FitQuality& whole = fit.GetFitQuality();
  EXPECT_EQ(fit.GetFitShape().Origin(), Eigen::Vector3d(plane));
  EXPECT_EQ(fit.GetFitShape().Normal(), Eigen::Vector3d(plane + 3));
  const double expected[] = {whole.rmsDistance, whole.meanDistance, whole.meanSignedDistance,
                             whole.maxDistance};
  EXPECT_TRUE(std::equal(expected, expected + 4, quality));
}

/// The functions of a shape with parts to hold, its numbers, and the sizes of its parts.
struct Holdable {
  const char* name;
  decltype(&OptimizeCone) optimize;
  decltype(&IFitCone) fit;
  std::vector<double> shape;
  std::vector<int> sizes;
};
const Holdable kHoldable[] = {
    {"Cylinder", OptimizeCylinder, IFitCylinder, {0, 0, 0, 0.5, 0, 0, 1}, {3, 1, 3}},
    {"Cone", OptimizeCone, IFitCone, {0, 0, 0, 0.4, 0, 0, 1}, {3, 1, 3}},
    {"Torus", OptimizeTorus, IFitTorus, {0, 0, 0, 1, 0.3, 0, 0, 1}, {3, 1, 1, 3}}};

TEST(FlatHolds, ComeBackBitForBit) {
  for (const auto& row : kHoldable) {
    for (std::uint64_t run = 0; run < 20; ++run) {
      Random random(run);
      Pose pose = random.AnyPose(1);
      pose.translation += Eigen::Vector3d(500000, 4000000, 100);
      const auto points = EntryOf(row.name).scene(pose, 200, 0.002, 0, random);
      std::vector<double> truth = row.shape;
      std::copy_n(pose.translation.data(), 3, truth.begin());
      std::copy_n(pose.rotation.col(2).normalized().eval().data(), 3, truth.end() - 3);
      const auto parts = static_cast<unsigned>(row.sizes.size());
      for (unsigned mask = 1; mask + 1 < 1U << parts; ++mask) {
        int fix[4];
        for (unsigned part = 0; part < parts; ++part) fix[part] = static_cast<int>(mask >> part & 1U);
        std::vector<double> got = truth, values = truth;
        values[0] += 1e-4 / 3, values[3] += 1e-4 / 3;
        ASSERT_EQ(row.optimize(200, points[0].data(), fix, values.data(), got.data(), 0.006), 0);
        auto at = values.begin();
        for (unsigned part = 0; part < parts; at += row.sizes[part++]) {
          if (fix[part] == 0) continue;
          EXPECT_TRUE(std::equal(at, at + row.sizes[part], got.begin() + (at - values.begin())))
              << row.name << " held " << mask << " part " << part << " run " << run;
        }
      }
    }
  }
}

TEST(FlatHolds, RefusePartsThatNoShapeHas) {
  const double nan = std::nan("");
  for (const auto& row : kHoldable) {
    Random random;
    const auto points = EntryOf(row.name).scene(Pose(), 200, 0.002, 0, random);
    std::vector<double>::size_type at = 0;
    for (std::size_t part = 0; part < row.sizes.size(); at += static_cast<std::size_t>(row.sizes[part++])) {
      const bool isDirection = part > 0 && row.sizes[part] == 3;
      for (const double bad : {nan, double{INFINITY}, isDirection ? 0.0 : -1.0}) {
        if (part == 0 && bad == -1) continue;
        int fix[4] = {};
        fix[part] = 1;
        auto values = row.shape, shape = row.shape;
        std::fill_n(values.begin() + static_cast<std::ptrdiff_t>(at), row.sizes[part], bad);
        double quality[] = {7, 7, 7, 7};
        EXPECT_EQ(row.optimize(200, points[0].data(), fix, values.data(), shape.data(), 0.006), 1);
        EXPECT_EQ(row.fit(200, points[0].data(), fix, values.data(), shape.data(), quality, 0.006), 1);
        EXPECT_EQ(shape, row.shape) << row.name << " part " << part << " held at " << bad;
        EXPECT_EQ(quality[0], 7);
      }
    }
  }
}

}  // namespace
}  // namespace primfit::testing
