// The adaptive fit as C calls it: the same numbers as primfit::fit, and errors that come back as text.
#include "primfit/fit_c.h"

#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <cmath>
#include <functional>
#include <limits>
#include <memory>
#include <numbers>
#include <string>

#include "primfit/fit.h"
#include "support/scenes.h"

namespace primfit::testing {
namespace {

using Eigen::Vector3d;

struct Free {
  void operator()(primfit_result* r) const { primfit_free(r); }
};
using Found = std::unique_ptr<primfit_result, Free>;

primfit_options Options() {
  primfit_options options;
  EXPECT_EQ(primfit_default_options(&options, PRIMFIT_OPTIONS_VERSION), 0);
  options.has_seed = 1;
  options.seed = 7;
  return options;
}
Found FitC(primfit_shape shape, const Points& points, const primfit_options& options) {
  primfit_result* found = nullptr;
  char message[PRIMFIT_MESSAGE_SIZE] = "";
  EXPECT_EQ(primfit_fit(shape, points.size(), points[0].data(), 3, &options, &found, message), 0) << message;
  return Found(found);
}

Points Bent(Random& random) {
  return Joined(
      PointsOn(OutputTorus({1, 2, 3}, 1, 0.3, Vector3d::UnitZ()), 1500, {0, 1.5}, kFullTurn, 0.002, random),
      Clutter({0, 0, 0}, {3, 4, 5}, 200, random));
}
Points Straight(Random& random) {
  return PointsOn(OutputLine({1, 2, 3}, Vector3d::UnitX()), 500, {0, 2}, 0.002, random);
}

/// The numbers of a record in the order that the header gives.
template <class... Parts>
std::vector<double> Numbers(const Parts&... parts) {
  std::vector<double> numbers;
  const auto add = [&](const auto& part) {
    if constexpr (std::is_convertible_v<decltype(part), double>) {
      numbers.push_back(part);
    } else {
      numbers.insert(numbers.end(), part.data(), part.data() + 3);
    }
  };
  (add(parts), ...);
  return numbers;
}

template <class Shape, class NumbersOf>
void IsTheSame(primfit_shape shape, const Points& points, const NumbersOf& numbersOf) {
  SCOPED_TRACE(shape);
  FitOptions<Shape> options;
  options.seed = 7;
  const FitResult<Shape> a = fit<Shape>(points, options);
  const Found b = FitC(shape, points, Options());
  ASSERT_TRUE(b);
  EXPECT_EQ(std::vector<double>(b->numbers, b->numbers + b->number_count), numbersOf(a.shape));
  EXPECT_EQ(std::vector<std::uint32_t>(b->inliers, b->inliers + b->inlier_count), a.inliers);
  EXPECT_EQ(b->rms, a.quality.rmsDistance);
  EXPECT_EQ(b->largest, a.quality.maxDistance);
  EXPECT_EQ(b->histogram[2], a.quality.histogram.CountOnSlot(2));
  EXPECT_EQ(b->histogram_scale, 2 * a.report.noise);
  ASSERT_EQ(b->parameter_count, static_cast<int>(a.covariance.parameters.size()));
  for (int i = 0; i < b->parameter_count; ++i) {
    const FitParameter& p = a.covariance.parameters[static_cast<std::size_t>(i)];
    EXPECT_STREQ(b->parameters[i].name, p.name);
    EXPECT_EQ(Vector3d(b->parameters[i].direction), p.direction);
    EXPECT_EQ(b->parameters[i].standard_deviation, p.standardDeviation);
    EXPECT_EQ(b->covariance[i * b->parameter_count], a.covariance.matrix(i, 0));
  }
  EXPECT_EQ(Vector3d(b->position), a.covariance.position);
  EXPECT_EQ(b->draws, a.report.draws);
  EXPECT_EQ(b->noise, a.report.noise);
  EXPECT_EQ(b->tolerance, a.report.tolerance);
  EXPECT_EQ(b->verdict, PRIMFIT_GOOD);
  EXPECT_EQ(b->reason, a.report.reason);
  EXPECT_EQ(b->outline_count > 0, shape == PRIMFIT_PATCH);
}

TEST(FitC, GivesWhatTheFitGives) {
  Random random;
  const Vector3d o(1, 2, 3), z = Vector3d::UnitZ();
  const Points bent = Bent(random), arc = PointsOn(OutputCircle(o, 1, z), 500, {0, 2}, 0.002, random),
               flat = PointsOn(OutputPlane(o, z), 800, {0, 1}, {0, 2}, 0.002, random),
               round = PointsOn(OutputSphere(o, 1), 800, {0, 1}, kFullTurn, 0.002, random),
               pipe = PointsOn(OutputCylinder(o, 1, z), 800, kFullTurn, {0, 2}, 0.002, random),
               cone = PointsOn(OutputCone(o, 0.4, z), 800, kFullTurn, {1, 2}, 0.002, random);
  IsTheSame<Line>(PRIMFIT_LINE, Straight(random),
                  [](const auto& s) { return Numbers(s.Root(), s.Direction(), s.Length()); });
  IsTheSame<Arc>(PRIMFIT_ARC, arc, [](const auto& s) {
    return Numbers(s.Center(), s.Radius(), s.XAxis(), s.YAxis(), s.Angle());
  });
  IsTheSame<Plane>(PRIMFIT_PLANE, flat, [](const auto& s) { return Numbers(s.Origin(), s.Normal()); });
  IsTheSame<Patch>(PRIMFIT_PATCH, flat, [](const auto& s) {
    const double* loop = nullptr;
    Vector3d u;
    s.Loop(loop, u);
    return Numbers(s.Origin(), s.Normal(), u);
  });
  IsTheSame<Sphere>(PRIMFIT_SPHERE, round, [](const auto& s) { return Numbers(s.Center(), s.Radius()); });
  const auto cylinder = [](const auto& s) { return Numbers(s.Origin(), s.Radius(), s.Axis()); };
  IsTheSame<Cylinder>(PRIMFIT_CYLINDER, pipe, cylinder);
  IsTheSame<BoundedCylinder>(PRIMFIT_BOUNDED_CYLINDER, pipe, [](const auto& s) {
    return Numbers(s.Origin(), s.Radius(), s.Axis(), s.Height());
  });
  IsTheSame<Cone>(PRIMFIT_CONE, cone, [](const auto& s) { return Numbers(s.Apex(), s.Angle(), s.Axis()); });
  IsTheSame<BoundedCone>(PRIMFIT_BOUNDED_CONE, cone, [](const auto& s) {
    return Numbers(s.Apex(), s.Angle(), s.Axis(), s.Height0(), s.Height1());
  });
  IsTheSame<Torus>(PRIMFIT_TORUS, bent, [](const auto& s) {
    return Numbers(s.Center(), s.MajorRadius(), s.MinorRadius(), s.Axis());
  });
  IsTheSame<Elbow>(PRIMFIT_ELBOW, bent, [](const auto& s) {
    return Numbers(s.Center(), s.MajorRadius(), s.MinorRadius(), s.Axis(), s.Angle(), s.XAxis());
  });
}

TEST(FitC, DoesWhatTheOptionsSay) {
  Random random;
  const Points points = Bent(random);
  const double start[] = {1, 2, 3, 1, 0.29, 0, 0, 1};
  const int fix[] = {0, 0, 1, 1};
  primfit_options options = Options();
  options.start = start;
  options.fix = fix;
  const Found held = FitC(PRIMFIT_TORUS, points, options);
  EXPECT_EQ(held->numbers[4], 0.29);
  EXPECT_EQ(Vector3d(held->numbers + 5), Vector3d::UnitZ());
  EXPECT_EQ(held->parameter_count, 4);  // a centre and the major radius

  const std::pair<const char*, std::function<void(primfit_options&)>> kLimits[] = {
      {"minor radius", [](auto& o) { o.minor_radius[1] = 0.29; }},
      {"major radius", [](auto& o) { o.radius[0] = 1.02; }},
      {"direction", [](auto& o) { o.axis_near[2] = 1, o.axis_near[1] = 0.05, o.axis_within = 0.02; }}};
  for (const auto& [name, limit] : kLimits) {
    options = Options();
    options.noise = 0.01;
    limit(options);
    const Found at = FitC(PRIMFIT_TORUS, points, options);
    EXPECT_EQ(at->verdict, PRIMFIT_AT_LIMIT) << name;
    EXPECT_NE(std::string(at->reason).find(name), std::string::npos) << at->reason;
    for (int i = 0; i < at->parameter_count; ++i) EXPECT_STRNE(at->parameters[i].name, name);
  }

  // The host stops the search at its third question, long before it would end.
  int calls = 0;
  options = Options();
  options.user = &calls;
  options.progress = [](double, void* user) { return ++*static_cast<int*>(user) < 3 ? 0 : 1; };
  const Found stopped = FitC(PRIMFIT_TORUS, points, options);
  EXPECT_EQ(stopped->stop_reason, PRIMFIT_STOPPED);
  EXPECT_EQ(stopped->draws, 32);
}

TEST(FitC, SaysWhyThereIsNoResult) {
  Random random;
  const Points points = Straight(random);
  const std::vector<double> weights(points.size(), -1);
  const int fix[] = {1, 1};
  const double start[] = {1, 2, 3, 1, 0, 0, 1};
  constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
  struct Case {
    const char* message;
    std::function<void(primfit_options&)> change;
    primfit_shape shape = PRIMFIT_LINE;
    std::size_t n = 500, stride = 3;
    bool missing = false;
  };
  const Case cases[] = {
      {"Points are not provided", [](auto&) {}, PRIMFIT_LINE, 500, 3, true},
      {"Points are not provided", [](auto&) {}, PRIMFIT_LINE, 0},
      {"Not enough points", [](auto&) {}, PRIMFIT_LINE, 3},
      {"The stride must be at least 3", [](auto&) {}, PRIMFIT_LINE, 500, 2},
      {"There is no such shape", [](auto&) {}, static_cast<primfit_shape>(11)},
      {"Options are of an unknown version", [](auto& o) { o.version = 2; }},
      {"Option noise must be positive", [](auto& o) { o.noise = 0; }},
      {"Option outlier_share must be in [0, 1)", [](auto& o) { o.outlier_share = 1; }},
      {"Option most_draws must be positive", [](auto& o) { o.most_draws = 0; }},
      {"Option near must be a finite point", [](auto& o) { o.near_point[1] = 0; }},
      {"Option weights must hold finite numbers, zero or positive",
       [&](auto& o) { o.weights = weights.data(); }},
      {"Option fix needs start", [&](auto& o) { o.fix = fix; }},
      {"The search was stopped before it found a shape",
       [](auto& o) { o.progress = [](double, void*) { return 1; }; }},
      {"The time limit ended the search before it found a shape", [](auto& o) { o.time_limit = 1e-12; }},
      {"Over constrained", [&](auto& o) { o.fix = fix, o.start = start; }},
      {"Option minor_radius must be a range of lengths, zero or positive",
       [](auto& o) { o.minor_radius[0] = kNan; }},
  };
  for (const Case& c : cases) {
    primfit_options options = Options();
    c.change(options);
    primfit_result untouched{};
    primfit_result* found = &untouched;
    char message[PRIMFIT_MESSAGE_SIZE] = "";
    const double* data = c.missing ? nullptr : points[0].data();
    EXPECT_EQ(primfit_fit(c.shape, c.n, data, c.stride, &options, &found, message), 1);
    EXPECT_STREQ(message, c.message);
    EXPECT_EQ(found, &untouched);
    EXPECT_EQ(primfit_fit(c.shape, c.n, data, c.stride, &options, &found, nullptr), 1);
  }
  EXPECT_EQ(primfit_fit(PRIMFIT_LINE, points.size(), points[0].data(), 3, nullptr, nullptr, nullptr), 1);
  primfit_options options;
  EXPECT_EQ(primfit_default_options(&options, PRIMFIT_OPTIONS_VERSION + 1), 1);
  EXPECT_EQ(primfit_default_options(nullptr, PRIMFIT_OPTIONS_VERSION), 1);
  primfit_free(nullptr);
}

}  // namespace
}  // namespace primfit::testing
