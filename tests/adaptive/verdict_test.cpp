// Whether the verdict tells right shapes from those that are least-squares optima and yet not what is there.
#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <cmath>
#include <functional>
#include <string>
#include <variant>
#include <vector>

#include "adaptive/evidence/residuals.h"
#include "primfit/fit.h"
#include "support/scenes.h"

namespace primfit::testing {
namespace {

using Eigen::Vector3d;

const Vector3d kZ = Vector3d::UnitZ();

template <class Shape>
FitReport ReportOf(const Points& points) {
  FitOptions<Shape> options;
  options.seed = 5;
  return fit<Shape>(points, options).report;
}

Points Wall(double z, int n, Random& random) {
  return PointsOn(OutputPlane({0, 0, z}, kZ), n, {-2, 2}, {-2, 2}, 0.002, random);
}
Points Pipe(double radius, int n, Random& random) {
  return PointsOn(OutputCylinder({0, 0, 0}, radius, kZ), n, kFullTurn, {0, 2}, 0.002, random);
}
Points Squeezed(Points points, double factor) {
  for (Vector3d& p : points) p.x() *= factor;
  return points;
}
/// A dent over the whole of a wall.
Points Sinking(Points points, double depth) {
  for (Vector3d& p : points) p.z() -= depth * std::exp(-p.head<2>().squaredNorm());
  return points;
}
/// About y, as a slab between two walls.
Points Bent(Points points, double depth) {
  for (Vector3d& p : points) p.z() += depth * p.x() * p.x() / 4;
  return points;
}
Points Waving(Points points, double height, double length) {
  for (Vector3d& p : points) p.z() += height * std::sin(p.x() / length) * std::cos(p.y() / length);
  return points;
}

struct Case {
  const char* name;
  Verdict verdict;
  std::function<Points(Random&)> points;
  FitReport (*report)(const Points&);
};

TEST(Verdict, TellsRightShapesFromOthersAmongFixedScenes) {
  const std::vector<Case> cases = {
      {"wall", Verdict::kGood, [](Random& r) { return Wall(0, 4000, r); }, ReportOf<Plane>},
      {"wall whose waves are half its noise", Verdict::kGood,
       [](Random& r) { return Waving(Wall(0, 4000, r), 0.001, 0.5); }, ReportOf<Plane>},
      {"floor that sinks to a drain by more than its noise", Verdict::kGood,
       [](Random& r) { return Sinking(Wall(0, 6000, r), 0.008); }, ReportOf<Plane>},
      {"pole no thicker than its noise", Verdict::kGood,
       [](Random& r) {
         return PointsOn(OutputCylinder({0, 0, 0}, 0.04, kZ), 1500, kFullTurn, {0, 5}, 0.012, r);
       },
       ReportOf<Cylinder>},
      {"slab that sags by many times its noise", Verdict::kMisfit,
       [](Random& r) { return Bent(Wall(0, 6000, r), 0.03); }, ReportOf<Plane>},
      {"wall with a part that stands out", Verdict::kMisfit,
       [](Random& r) {
         Points points = Wall(0, 6000, r);
         for (Vector3d& p : points) p.z() += p.x() > 0.7 ? 0.03 : 0;
         return points;
       },
       ReportOf<Plane>},
      {"pipe with clutter", Verdict::kGood,
       [](Random& r) {
         return Joined(Pipe(0.1, 2000, r), Clutter({-1, -1, 0}, {1, 1, 2}, 2000, r));
       },
       ReportOf<Cylinder>},
      {"sixth of a tank of 20 m", Verdict::kGood,
       [](Random& r) {
         return PointsOn(OutputCylinder({0, 0, 0}, 20, kZ), 3000, {0, 1.05}, {0, 5}, 0.005, r);
       },
       ReportOf<Cylinder>},
      {"shallow dish", Verdict::kGood,
       [](Random& r) {
         return PointsOn(OutputSphere({0, 0, 0}, 5), 4000, {1.3, 1.57}, kFullTurn, 0.002, r);
       },
       ReportOf<Sphere>},
      {"two walls", Verdict::kMisfit, [](Random& r) { return Joined(Wall(0, 2000, r), Wall(0.01, 2000, r)); },
       ReportOf<Plane>},
      {"oval tube", Verdict::kMisfit, [](Random& r) { return Squeezed(Pipe(0.1, 3000, r), 0.8); },
       ReportOf<Cylinder>},
      {"waves of more than the noise", Verdict::kMisfit,
       [](Random& r) { return Waving(Wall(0, 6000, r), 0.015, 0.3); }, ReportOf<Plane>},
      {"wall asked for a cone", Verdict::kSimpler, [](Random& r) { return Wall(0, 4000, r); },
       ReportOf<Cone>},
  };
  for (const Case& c : cases) {
    for (std::uint64_t seed = 0; seed < 3; ++seed) {
      SCOPED_TRACE(::testing::Message() << c.name << ", " << seed);
      Random random(seed);
      const FitReport report = c.report(c.points(random));
      // What a flat scene makes of a cone is hardly determined at times.
      if (c.verdict == Verdict::kSimpler && report.verdict == Verdict::kAmbiguous) continue;
      EXPECT_EQ(report.verdict, c.verdict) << report.reason;
    }
  }
}

// A slab that sags by many times its noise is no plane, unless the caller expects errors as large.
TEST(Verdict, AcceptsAFormWithinTheNoiseTold) {
  Random random;
  const Points points = Bent(Wall(0, 6000, random), 0.03);
  FitOptions<Plane> options;
  options.seed = 5;
  EXPECT_EQ(fit<Plane>(points, options).report.verdict, Verdict::kMisfit);
  options.noise = 0.01;
  const FitReport report = fit<Plane>(points, options).report;
  EXPECT_EQ(report.verdict, Verdict::kGood) << report.reason;
}

TEST(Verdict, CarriesTheSimplerShape) {
  Random random;
  const Vector3d far(400000, 5000000, 100);
  Points points = Wall(0, 4000, random);
  for (Vector3d& p : points) p += far;
  const FitReport report = ReportOf<Sphere>(points);
  ASSERT_TRUE(report.simpler) << report.reason;
  const auto* plane = report.simpler->As<FitOutputParamsPlane>();
  ASSERT_NE(plane, nullptr);
  EXPECT_NEAR(std::abs(plane->Normal().dot(kZ)), 1, 1e-7);
  EXPECT_NEAR(plane->Origin().z(), far.z(), 0.0003);
  EXPECT_NEAR(report.simpler->rms, 0.002, 0.0002);
  EXPECT_EQ(report.simpler->covariance.position, plane->Origin());
  ASSERT_EQ(report.simpler->covariance.parameters.size(), 3U);  // height and two tilts
  EXPECT_NEAR(report.simpler->covariance.parameters[0].standardDeviation, 0.002 / std::sqrt(4000), 2e-6);
}

// Of 1000 samples of n normal distances the statistic exceeds d = 1.5 / sqrt(n) in 11 (exp(-2 n d^2)); with
// probability 1e-6 in 30 or more.
TEST(Residuals, ShortfallOfNoiseIsThatOfKolmogorovAndSmirnov) {
  Random random;
  constexpr int kPoints = 400;
  const adaptive::NoiseModel noise{.noise = 1, .tolerance = 3};
  int beyond = 0;
  for (int sample = 0; sample < 1000; ++sample) {
    std::vector<double> distances;
    while (distances.size() < kPoints) {
      if (const double d = random.Gauss(1); std::abs(d) <= noise.tolerance) distances.push_back(d);
    }
    beyond += adaptive::ShortfallNearShape(distances, noise) * std::sqrt(kPoints) > 1.5 ? 1 : 0;
  }
  EXPECT_LT(beyond, 30);
}

// Slots of half a standard deviation: between two sheets five of them apart the valley is nearly empty, one
// sheet has none that counting alone does not make.
TEST(Residuals, FindsTheValleyBetweenTwoSheets) {
  Random random;
  std::vector<double> one, two;
  for (int i = 0; i < 4000; ++i) {
    one.push_back(random.Gauss(1));
    two.push_back(random.Gauss(1) + (i % 4 == 0 ? 5 : 0));
  }
  const adaptive::Valley none = adaptive::DeepestValley(one, 0.5), deep = adaptive::DeepestValley(two, 0.5);
  EXPECT_LT(none.significance, 4);
  EXPECT_GT(deep.significance, 8);
  EXPECT_GT(deep.depth, 0.7);
  one.push_back(1e300);
  EXPECT_EQ(adaptive::DeepestValley(one, 0.5).significance, 0) << "no slots for what is far beyond";
}

TEST(Residuals, TellsFormAndCorrelationApart) {
  Random random;
  adaptive::Residuals residuals;
  for (int i = 0; i < 4000; ++i) {
    const Vector3d foot(random.Uniform(-1, 1), random.Uniform(-1, 1), 0);
    residuals.feet.push_back(foot);
    residuals.distances.push_back(foot.x() * foot.x() * foot.y() + random.Gauss(0.1));
  }
  const adaptive::SmoothForm form = adaptive::SmoothFormOf(residuals);
  EXPECT_EQ(form.terms, 15) << "of degree 4 in two variables";
  EXPECT_NEAR(form.form, std::sqrt(1 / 15.0), 0.01);  // mean of x^4 y^2 over the square
  EXPECT_NEAR(form.rest, 0.1, 0.005);
  EXPECT_LT(adaptive::CorrelationInCells(residuals.feet, form.distances, 40), 0.02);
  // One error for each cell of a tenth and as much noise: half the variance is common.
  std::vector<double> common(400);
  for (double& c : common) c = random.Gauss(1);
  for (std::size_t i = 0; i < residuals.Count(); ++i) {
    const Eigen::Array2i cell = ((residuals.feet[i].head<2>().array() + 1) * 10).cast<int>().min(19);
    residuals.distances[i] = common[static_cast<std::size_t>(cell.x() * 20 + cell.y())] + random.Gauss(1);
  }
  EXPECT_NEAR(adaptive::CorrelationInCells(residuals.feet, residuals.distances, 1.5), 0.5, 0.15);
}

}  // namespace
}  // namespace primfit::testing
