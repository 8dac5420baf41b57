// The adaptive fit as C calls it: the same numbers as primfit::fit, and errors that come back as text.
#include "primfit/fit_c.h"

#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <cmath>
#include <functional>
#include <limits>
#include <memory>
#include <numbers>
#include <stdexcept>
#include <string>
#include <utility>
#include <variant>

#include "primfit/fit.h"
#include "support/memory.h"
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
      numbers.insert(numbers.end(), part.data(), part.data() + part.size());
    }
  };
  (add(parts), ...);
  return numbers;
}

/// The outline and the direction of u.
std::pair<std::vector<double>, Vector3d> LoopOf(const FitOutputParamsPatch& patch) {
  const double* loop = nullptr;
  Vector3d u;
  const int count = patch.Loop(loop, u);
  return {{loop, loop + 2 * static_cast<std::ptrdiff_t>(count)}, u};
}

std::vector<double> Report(const primfit_result& r) {
  return Numbers(r.draws, r.refinements, r.inlier_share, r.noise, r.tolerance, r.stop_reason, r.converged,
                 r.verdict, r.least_deviation, r.largest_deviation, r.seen_from);
}
std::vector<double> Report(const FitReport& r) {
  return Numbers(r.draws, r.refinements, r.inlierShare, r.noise, r.tolerance, static_cast<int>(r.stopReason),
                 r.converged, static_cast<int>(r.verdict), r.leastDeviation, r.largestDeviation,
                 static_cast<int>(r.seenFrom));
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
  const FitQuality& q = a.quality;
  EXPECT_EQ(Numbers(b->rms, b->mean, b->mean_signed, b->largest, b->histogram_scale),
            Numbers(q.rmsDistance, q.meanDistance, q.meanSignedDistance, q.maxDistance, 2 * a.report.noise));
  for (int k = 0; k < 10; ++k) EXPECT_EQ(b->histogram[k], q.histogram.CountOnSlot(k)) << k;
  ASSERT_EQ(b->parameter_count, static_cast<int>(a.covariance.parameters.size()));
  for (int i = 0; i < b->parameter_count; ++i) {
    const FitParameter& p = a.covariance.parameters[static_cast<std::size_t>(i)];
    const primfit_parameter& same = b->parameters[i];
    EXPECT_STREQ(same.name, p.Name());
    EXPECT_EQ(Numbers(same.is_angle, Vector3d(same.direction), same.standard_deviation),
              Numbers(p.IsAngle(), p.direction, p.standardDeviation));
    EXPECT_EQ(b->covariance[i], a.covariance.matrix(0, i));
  }
  EXPECT_EQ(Vector3d(b->position), a.covariance.position);
  EXPECT_EQ(Report(*b), Report(a.report));
  EXPECT_EQ(b->verdict, PRIMFIT_GOOD);
  EXPECT_EQ(b->reason, a.report.reason);
  EXPECT_EQ(std::vector<double>(b->extents, b->extents + b->extent_count), a.extents.sizes);
  EXPECT_EQ(b->start_deviation, a.extents.start);
  EXPECT_EQ(b->simpler, nullptr);
  const std::vector<double> outline(b->outline, b->outline + 2 * b->outline_count);
  if constexpr (std::is_same_v<Shape, Patch>) {
    EXPECT_EQ(outline, LoopOf(a.shape).first);
  } else {
    EXPECT_TRUE(outline.empty());
  }
}

/// The options as they were in each version of the header. A version that is published is never changed
/// again.
struct OptionsOfVersion1 {
  int version;
  double noise, tolerance, outlier_share;
  const double* weights;
  double confidence;
  int most_draws;
  double time_limit;
  int has_seed;
  std::uint64_t seed;
  double radius[2], minor_radius[2], half_angle[2], axis_near[3], axis_within, passes[3], passes_within;
  const double* start;
  const int* fix;
  int (*progress)(double share, void* user);
  void* user;
};

TEST(FitC, GivesTheSimplerShape) {
  Random random;
  const Points wall =
      PointsOn(OutputPlane({1, 2, 3}, Vector3d::UnitY()), 2000, {-1, 1}, {-1, 1}, 0.002, random);
  FitOptions<Sphere> options;
  options.seed = 7;
  const FitReport a = fit<Sphere>(wall, options).report;
  const Found b = FitC(PRIMFIT_SPHERE, wall, Options());
  ASSERT_TRUE(a.simpler && b && b->simpler != nullptr);
  const primfit_simpler& c = *b->simpler;
  ASSERT_EQ(c.shape, PRIMFIT_PLANE);
  const auto& plane = *a.simpler->As<FitOutputParamsPlane>();
  EXPECT_EQ(std::vector<double>(c.numbers, c.numbers + c.number_count),
            Numbers(plane.Origin(), plane.Normal()));
  EXPECT_EQ(c.rms, a.simpler->rms);
  ASSERT_EQ(c.parameter_count, 3);
  for (int i = 0; i < 9; ++i) EXPECT_EQ(c.covariance[i], a.simpler->covariance.matrix.data()[i]);
  EXPECT_STREQ(c.parameters[0].name, "position");
  EXPECT_EQ(Vector3d(c.position), a.simpler->covariance.position);
}

TEST(FitC, TakesTheOptionsOfEveryVersion) {
  Random random;
  const Points points = Straight(random);
  const Found now = FitC(PRIMFIT_LINE, points, Options());
  // In memory of their own size, so that a sanitizer sees a byte too much.
  const auto old = std::make_unique<OptionsOfVersion1>();
  auto* const options = reinterpret_cast<primfit_options*>(old.get());
  ASSERT_EQ(primfit_default_options(options, 1), 0);
  old->has_seed = 1;
  old->seed = 7;
  primfit_result* found = nullptr;
  char message[PRIMFIT_MESSAGE_SIZE] = "";
  ASSERT_EQ(primfit_fit(PRIMFIT_LINE, points.size(), points[0].data(), 3, options, &found, message), 0)
      << message;
  const Found then(found);
  EXPECT_EQ(then->numbers[0], now->numbers[0]);
  EXPECT_EQ(then->inlier_count, now->inlier_count);
  for (const int version : {0, -1, PRIMFIT_OPTIONS_VERSION + 1}) {
    EXPECT_EQ(primfit_default_options(options, version), 100) << version;
    old->version = version;
    EXPECT_NE(primfit_fit(PRIMFIT_LINE, points.size(), points[0].data(), 3, options, &found, message), 0);
    EXPECT_STREQ(message, "Options are of an unknown version");
  }
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
  IsTheSame<Patch>(PRIMFIT_PATCH, flat,
                   [](const auto& s) { return Numbers(s.Origin(), s.Normal(), LoopOf(s).second); });
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

TEST(FitC, TakesFloatsWithoutACopyInDouble) {
  Random random;
  const Points pipe = Joined(
      PointsOn(OutputCylinder({1, 2, 3}, 0.5, random.Direction()), 20000, {0, 4}, {0, 2}, 0.002, random),
      Clutter({0, 1, 2}, {2, 3, 4}, 5000, random));
  constexpr std::size_t kStride = 5;  // another width than that of the doubles
  std::vector<float> floats;
  Points same;
  for (const Vector3d& p : pipe) {
    for (const double c : {p.x(), p.y(), p.z(), 7.0, 8.0}) floats.push_back(static_cast<float>(c));
    same.emplace_back(floats.end()[-5], floats.end()[-4], floats.end()[-3]);
  }
  floats[3 * kStride + 1] = std::numeric_limits<float>::quiet_NaN();
  same[3].y() = std::numeric_limits<double>::quiet_NaN();
  const auto largeBuffersOf = [](const auto& call) {
    const int before = largeAllocations;
    call();
    return largeAllocations - before;
  };
  const primfit_options options = Options();
  Found ofFloats, ofDoubles;
  const int less = largeBuffersOf([&] {
    primfit_result* found = nullptr;
    ASSERT_EQ(
        primfit_fit_float(PRIMFIT_CYLINDER, same.size(), floats.data(), kStride, &options, &found, nullptr),
        0);
    ofFloats.reset(found);
  });
  const int usual = largeBuffersOf([&] { ofDoubles = FitC(PRIMFIT_CYLINDER, same, options); });
  EXPECT_EQ(less, usual);
  EXPECT_EQ(std::vector<double>(ofFloats->numbers, ofFloats->numbers + 7),
            std::vector<double>(ofDoubles->numbers, ofDoubles->numbers + 7));
  EXPECT_EQ(Report(*ofFloats), Report(*ofDoubles));
  EXPECT_EQ(std::vector<std::uint32_t>(ofFloats->inliers, ofFloats->inliers + ofFloats->inlier_count),
            std::vector<std::uint32_t>(ofDoubles->inliers, ofDoubles->inliers + ofDoubles->inlier_count));
}

/// An option that changes the fit, the same way in both.
template <class Shape, class Set>
void PassesOn(primfit_shape shape, const char* name, const Points& points, const Set& set) {
  SCOPED_TRACE(name);
  primfit_options options = Options();
  const Found plain = FitC(shape, points, options);
  FitOptions<Shape> same;
  same.seed = 7;
  set(options, same);
  const Found changed = FitC(shape, points, options);
  ASSERT_TRUE(plain && changed);
  EXPECT_EQ(Report(*changed), Report(fit<Shape>(points, same).report));
  EXPECT_NE(Report(*changed), Report(*plain)) << "it changes nothing";
}

TEST(FitC, PassesOptionsOn) {
  Random random;
  const Vector3d o(1, 2, 3), a(0, 0.6, 0.8);
  const auto seen = [&](const auto& shape, Range u, Range v) {
    return Joined(PointsOn(shape, 1000, u, v, 0.002, random), Clutter({0, 1, 2}, {2, 3, 4}, 600, random));
  };
  const Points pipe = seen(OutputCylinder(o, 0.5, a), {0, 4}, {0, 2}),
               bent = seen(OutputTorus(o, 1, 0.3, a), {0, 1.5}, kFullTurn),
               cone = seen(OutputCone(o, 0.4, a), {0, 4}, {0.5, 1.5});
  static const std::vector<double> kWeights = [] {
    std::vector<double> uneven(1600, 1);
    std::fill(uneven.begin(), uneven.begin() + 500, 3);
    return uneven;
  }();
  const std::pair<const char*, void (*)(primfit_options&, FitOptionsBase&)> rows[] = {
      {"noise", [](auto& c, auto& own) { own.noise = c.noise = 0.004; }},
      {"tolerance", [](auto& c, auto& own) { own.tolerance = c.tolerance = 0.01; }},
      {"outlier share", [](auto& c, auto& own) { own.outlierShare = c.outlier_share = 0.8; }},
      {"weights", [](auto& c, auto& own) { c.weights = kWeights.data(), own.weights = kWeights; }},
      {"confidence", [](auto& c, auto& own) { own.confidence = c.confidence = 0.01; }},
      {"draws", [](auto& c, auto& own) { own.mostDraws = c.most_draws = 9; }},
      {"seed", [](auto& c, auto& own) { own.seed = c.seed = 6; }},
      {"smallest radius", [](auto& c, auto& own) { own.radius.low = c.radius[0] = 0.501; }},
      {"largest radius", [](auto& c, auto& own) { own.radius.high = c.radius[1] = 0.499; }},
      {"axis",
       [](auto& c, auto& own) {
         own.axisNear = Vector3d(c.axis_near[0] = 0, c.axis_near[1] = 6, c.axis_near[2] = 8.04);
         own.axisWithin = c.axis_within = 0.001;
       }},
      {"place",
       [](auto& c, auto& own) {
         own.passes = Vector3d(c.passes[0] = 1, c.passes[1] = 2, c.passes[2] = 3);
         own.passesWithin = c.passes_within = 0.51;
       }},
  };
  for (const auto& [name, set] : rows) PassesOn<Cylinder>(PRIMFIT_CYLINDER, name, pipe, set);
  PassesOn<Cylinder>(PRIMFIT_CYLINDER, "all points", pipe, [](auto& c, auto& own) {
    c.all_points = 1;
    own.allPoints = true;
  });
  static const Vector3d kStations[] = {{7, 0, 0}, {-5, 0, 0}};
  PassesOn<Cylinder>(PRIMFIT_CYLINDER, "stations", pipe, [](auto& c, auto& own) {
    c.stations = kStations[0].data();
    c.station_count = 2;
    own.stations = kStations;
  });
  PassesOn<Torus>(PRIMFIT_TORUS, "minor radius", bent,
                  [](auto& c, auto& own) { own.minorRadius.high = c.minor_radius[1] = 0.299; });
  PassesOn<Cone>(PRIMFIT_CONE, "half-angle", cone,
                 [](auto& c, auto& own) { own.halfAngle.high = c.half_angle[1] = 0.399; });
}

TEST(FitC, HoldsEachPartBesideUnknownOnes) {
  Random random;
  const Vector3d o(1, 2, 3), z = Vector3d::UnitZ();
  const struct {
    primfit_shape shape;
    Points points;
    std::vector<double> start;
    std::vector<int> sizes;  // of the parts
  } rows[] = {
      {PRIMFIT_ARC, PointsOn(OutputCircle(o, 1, z), 500, {0, 2}, 0.002, random), {1, 2, 3, 1.003}, {3, 1}},
      {PRIMFIT_PATCH,
       PointsOn(OutputPlane(o, z), 800, {0, 1}, {0, 2}, 0.002, random),
       {1, 2, 3, 0, 0, 1},
       {3, 3}},
      {PRIMFIT_SPHERE,
       PointsOn(OutputSphere(o, 1), 800, {0, 1}, kFullTurn, 0.002, random),
       {1, 2, 3, 1.003},
       {3, 1}},
      {PRIMFIT_CYLINDER,
       PointsOn(OutputCylinder(o, 1, z), 800, {0, 4}, {0, 2}, 0.002, random),
       {1, 2, 3, 1.003, 0, 0, 1},
       {3, 1, 3}},
      {PRIMFIT_BOUNDED_CONE,
       PointsOn(OutputCone(o, 0.4, z), 800, {0, 4}, {1, 2}, 0.002, random),
       {1, 2, 3, 0.403, 0, 0, 1},
       {3, 1, 3}},
      {PRIMFIT_ELBOW, Bent(random), {1, 2, 3, 1.003, 0.303, 0, 0, 1}, {3, 1, 1, 3}},
  };
  for (const auto& row : rows) {
    std::ptrdiff_t at = 0;
    for (std::size_t part = 0; part < row.sizes.size(); at += row.sizes[part++]) {
      SCOPED_TRACE(std::to_string(row.shape) + ", part " + std::to_string(part));
      const double* given = row.start.data() + at;
      double start[10];
      std::fill(start, start + 10, std::numeric_limits<double>::quiet_NaN());
      std::copy_n(given, row.sizes[part], start + at);
      int fix[4] = {};
      fix[part] = 1;
      primfit_options options = Options();
      options.tolerance = 0.02;
      options.start = start;
      options.fix = fix;
      const Found held = FitC(row.shape, row.points, options);
      ASSERT_TRUE(held);
      for (int i = 0; i < row.sizes[part]; ++i) EXPECT_EQ(held->numbers[at + i], given[i]) << i;
      EXPECT_EQ(held->numbers[1] == 2, part == 0) << "what is not held moves";
    }
  }
}

TEST(FitC, DoesWhatTheOptionsSay) {
  Random random;
  const Points points = Bent(random);
  primfit_options options;
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

  // The host stops the search at its fifth question, long before it would end. A wall passes for a cylinder,
  // so there would be another search, beside it.
  int calls = 0;
  options = Options();
  options.user = &calls;
  options.progress = [](double, void* user) { return ++*static_cast<int*>(user) == 5 ? 1 : 0; };
  const Points wall =
      Joined(PointsOn(OutputPlane({1, 2, 3}, Vector3d::UnitZ()), 1000, {-1, 1}, {0, 1}, 0.002, random),
             Clutter({0, 1, 2}, {2, 3, 4}, 300, random));
  const Found stopped = FitC(PRIMFIT_CYLINDER, wall, options);
  ASSERT_TRUE(stopped);
  EXPECT_EQ(stopped->stop_reason, PRIMFIT_STOPPED);
  EXPECT_EQ(calls, 5);
}

TEST(FitC, SaysWhyThereIsNoResult) {
  Random random;
  const Points points = Straight(random);
  const std::vector<double> weights(points.size(), -1);
  constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
  const int fix[] = {1, 1, 0, 1};
  const double start[] = {1, 2, 3, 1, 0, 0, 1}, hole[] = {1, kNan, 3, kNan, 0, 0, 1},
               flat[] = {1, 2, 3, 0, 0, 0, 1}, negative[] = {1, 2, 3, -1};
  const char* const kUnusable = "Held parts must be finite, with no zero direction and no negative size";
  struct Case {
    int code;  // stable numbers
    const char* message;
    std::function<void(primfit_options&)> change;
    int shape = PRIMFIT_LINE;
    bool missing = false;
    std::size_t n = 500, stride = 3;
  };
  const Case cases[] = {
      {1, "Points are not provided", [](auto&) {}, PRIMFIT_LINE, true},
      {1, "Points are not provided", [](auto&) {}, PRIMFIT_LINE, false, 0},
      {3, "Not enough points", [](auto&) {}, PRIMFIT_LINE, false, 3},
      {2, "More points than 2147483647", [](auto&) {}, PRIMFIT_LINE, false, std::size_t{1} << 61},
      {62, "The stride must be at least 3", [](auto&) {}, PRIMFIT_LINE, false, 500, 2},
      {60, "There is no such shape", [](auto&) {}, 11},
      {100, "Options are of an unknown version", [](auto& o) { o.version = PRIMFIT_OPTIONS_VERSION + 1; }},
      {101, "Option noise must be positive", [](auto& o) { o.noise = 0; }},
      {103, "Option outlier_share must be in [0, 1)", [](auto& o) { o.outlier_share = 1; }},
      {106, "Option most_draws must be positive", [](auto& o) { o.most_draws = 0; }},
      {113, "Option passes must be a finite point", [](auto& o) { o.passes[1] = 0; }},
      {104, "Option weights must hold finite numbers, zero or positive",
       [&](auto& o) { o.weights = weights.data(); }},
      {63, "Option fix needs start", [&](auto& o) { o.fix = fix; }},
      {22, "The search was stopped before it found a shape",
       [](auto& o) { o.progress = [](double, void*) { return 1; }; }},
      {21, "The time limit ended the search before it found a shape", [](auto& o) { o.time_limit = 1e-12; }},
      {115, "Option stations must hold finite points", [](auto& o) { o.station_count = 1; }},
      {115, "Option stations must hold finite points",
       [&](auto& o) { o.stations = hole, o.station_count = 1; }},
      {4, "Over constrained", [&](auto& o) { o.fix = fix, o.start = start; }},
      {3, "Not enough points", [](auto& o) { o.all_points = 1; }, PRIMFIT_LINE, false, 1},
      {5, kUnusable, [&](auto& o) { o.fix = fix + 1, o.start = hole; }},
      {5, kUnusable, [&](auto& o) { o.fix = fix + 2, o.start = flat; }},
      {5, kUnusable, [&](auto& o) { o.fix = fix + 2, o.start = hole; }, PRIMFIT_SPHERE},
      {5, kUnusable, [&](auto& o) { o.fix = fix + 2, o.start = negative; }, PRIMFIT_SPHERE},
      {42, "Lost",
       [](auto& o) { o.progress = [](double, void*) -> int { throw std::runtime_error("Lost"); }; }},
      {109, "Option minor_radius must be a range of lengths, zero or positive",
       [](auto& o) { o.minor_radius[0] = kNan; }},
  };
  for (const Case& c : cases) {
    primfit_options options = Options();
    c.change(options);
    primfit_result untouched{};
    primfit_result* found = &untouched;
    char message[PRIMFIT_MESSAGE_SIZE] = "";
    const double* data = c.missing ? nullptr : points[0].data();
    EXPECT_EQ(primfit_fit(c.shape, c.n, data, c.stride, &options, &found, message), c.code);
    EXPECT_STREQ(message, c.message);
    EXPECT_EQ(found, &untouched);
    EXPECT_EQ(primfit_fit(c.shape, c.n, data, c.stride, &options, &found, nullptr), c.code);
  }
  EXPECT_EQ(primfit_fit(PRIMFIT_LINE, points.size(), points[0].data(), 3, nullptr, nullptr, nullptr), 61);
  EXPECT_EQ(primfit_default_options(nullptr, PRIMFIT_OPTIONS_VERSION), 61);
  primfit_free(nullptr);
}

}  // namespace
}  // namespace primfit::testing
