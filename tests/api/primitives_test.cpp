// All eleven entry points by the same laws: exact clouds, noise, outliers, far coordinates, holds, checks.
#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <type_traits>

#include "api/entries.h"
#include "optimize/trust_region.h"
#include "support/constraints.h"
#include "support/gtest_support.h"
#include "support/memory.h"

namespace primfit::testing {
namespace {

using Eigen::Vector3d;

constexpr double kNoise = 0.002;
const double kNan = std::numeric_limits<double>::quiet_NaN();

double RootMeanSquare(const OutputShape& shape, const Points& points) {
  double sum = 0;
  for (const Vector3d& p : points) sum += std::pow(shape.Distance(p), 2);
  return std::sqrt(sum / static_cast<double>(points.size()));
}

class EveryPrimitive : public ::testing::TestWithParam<Entry> {
 protected:
  const Entry& entry = GetParam();
};
INSTANTIATE_TEST_SUITE_P(Entries, EveryPrimitive, ::testing::ValuesIn(Entries()), RowName());

TEST_P(EveryPrimitive, GivesExactCloudsBack) {
  for (std::uint64_t run = 0; run < 30; ++run) {
    Random random(run);
    const Points points = entry.scene(random.AnyPose(5), 300, 0, 0, random);
    const Found found = entry.Fit(points, run);
    EXPECT_LT(RootMeanSquare(*found.shape, points), 1e-9) << "run " << run;
    EXPECT_EQ(found.quality.GetInlierCount(), 300);
  }
}

// A line is refined in one plane only and an arc keeps the plane of its candidate: the next two laws do not
// hold for them in space.
TEST_P(EveryPrimitive, ErrorShrinksWithTheNumberOfPoints) {
  // Truth is measured by points without noise. A shape of q parameters fitted to n points is off by noise
  // sqrt(q / n); the solver may stop 3e-5 above the least root mean square, which leaves up to 4e-4 (see the
  // optimizers' tests). The selection about a candidate that hangs on a small sample can add to that where a
  // shape is not refined afterwards.
  if (entry.Is("Line") || entry.Is("Arc")) return;
  for (const int n : {500, 50000}) {
    double sum = 0;
    constexpr int kRuns = 10;
    for (std::uint64_t run = 0; run < kRuns; ++run) {
      Random random(run);
      const Pose pose = random.AnyPose(5);
      const Points exact = entry.scene(pose, 300, 0, 0, random);
      sum +=
          std::pow(RootMeanSquare(*entry.Fit(entry.scene(pose, n, kNoise, 0, random), run).shape, exact), 2);
    }
    EXPECT_LT(std::sqrt(sum / kRuns), 2 * kNoise * std::sqrt(7.0 / n) + 4e-4) << n << " points";
  }
}

TEST_P(EveryPrimitive, IsFoundAmongOutliers) {
  // Found: the true inliers lie within twice the noise of the result, root mean square. The search misses a
  // clean sample in 0.6 to 1.4 of 100 runs; a torus sample of 13 noisy points gives no candidate in one of
  // four cases besides, which makes it 4 of 100. More misses than allowed here have odds below 1 in 1000.
  if (entry.Is("Line") || entry.Is("Arc")) return;
  constexpr std::uint64_t kRuns = 100;
  const int allowed = entry.Is("Torus") || entry.Is("Elbow") ? 12 : 6;
  int found = 0;
  for (std::uint64_t run = 0; run < kRuns; ++run) {
    Random random(run);
    const Pose pose = random.AnyPose(5);
    const Points inliers = entry.scene(pose, 400, kNoise, 0, random);
    try {
      const Found fit = entry.Fit(entry.scene(pose, 500, kNoise, 0.2, random), run);
      found += RootMeanSquare(*fit.shape, inliers) < 2 * kNoise ? 1 : 0;
    } catch (const FitError&) {
    }
  }
  EXPECT_GE(found, static_cast<int>(kRuns) - allowed);
  RecordProperty("found", found);
}

TEST_P(EveryPrimitive, ShiftedCloudGivesTheShiftedFit) {
  const Vector3d shift(500000, 4000000, 100);
  for (std::uint64_t run = 0; run < 3; ++run) {
    Random random(run);
    Points points = entry.scene(random.AnyPose(2), 2000, kNoise, entry.Is("Arc") ? 0 : 0.1, random), shifted;
    for (Vector3d& p : points) {
      p = (p * 1024).array().round() / 1024;  // representable in both places
      shifted.push_back(p + shift);
    }
    const Found near = entry.Fit(points, run), far = entry.Fit(shifted, run);
    double worst = 0;
    for (std::size_t i = 0; i < points.size(); ++i) {
      worst = std::max(worst, std::abs(near.shape->Distance(points[i]) - far.shape->Distance(shifted[i])));
    }
    EXPECT_LT(worst, 1e-6);  // coordinates of 4e6 are multiples of 5e-10
    EXPECT_NEAR(near.quality.rmsDistance, far.quality.rmsDistance, 1e-9);
    EXPECT_EQ(near.quality.GetInlierCount(), far.quality.GetInlierCount());
    ASSERT_EQ(near.extent.size(), far.extent.size());
    for (std::size_t i = 0; i < near.extent.size(); ++i) EXPECT_NEAR(near.extent[i], far.extent[i], 1e-6);
    ASSERT_EQ(near.ends.size(), far.ends.size());
    for (std::size_t i = 0; i < near.ends.size(); ++i) {
      EXPECT_TRUE(Near(near.ends[i] + shift, far.ends[i], 1e-6));
    }
  }
}

TEST_P(EveryPrimitive, TakesItsMemoryInOneBlock) {
  const ScopedTrustRegion native(TrustRegionKind::kNative);  // oneMKL's stores a Jacobian
  Random random(5);
  const Pose pose = random.AnyPose(1);
  int fewest = 0;
  for (const int n : {2000, 20000, 120000}) {
    const Points points = entry.scene(pose, n, 0.002, 0.1, random);
    const int before = allocations, largeBefore = largeAllocations;
    entry.Fit(points, 3);
    EXPECT_EQ(largeAllocations - largeBefore, PRIMFIT_COUNTS_MEMORY) << n << " points";
    if (n == 2000) fewest = allocations - before;
    // As many as candidates, which depend on chance: two at most for each of the 22 samples.
    EXPECT_LE(allocations - before, fewest + 44) << n << " points";
  }
}

TEST_P(EveryPrimitive, LeavesOutPointsThatAreNotFinite) {
  Random random;
  const Points clean = entry.scene(random.AnyPose(2), 600, kNoise, 0.1, random);
  Points holes;
  for (const Vector3d& p : clean) {
    holes.push_back({p.x(), kNan, p.z()});
    holes.push_back(p);
  }
  EXPECT_EQ(entry.Fit(clean, 5).quality.rmsDistance, entry.Fit(holes, 5).quality.rmsDistance);
}

TEST_P(EveryPrimitive, IsNotMovedByStrayPointsHoweverFar) {
  Random random;
  Pose pose = random.AnyPose(1);
  pose.translation += Vector3d(500000, 4000000, 100);
  const Points clean = entry.scene(pose, 600, kNoise, 0, random);
  const Points exact = entry.scene(pose, 300, 0, 0, random);
  for (const double far : {0.0, 1e9, 1e14, 1e15, 1e16, 3.4e38, 1e160, 1.7e308}) {
    Points points = clean;
    for (const std::size_t i : {0, 1, 2, 100, 599}) points[i].setConstant(i == 1 ? -far : far);
    const Found found = entry.Fit(points, 6);
    EXPECT_LT(RootMeanSquare(*found.shape, exact), 2 * kNoise) << "strays at " << far;
    EXPECT_LT(found.quality.rmsDistance, 2 * kNoise) << "strays at " << far;
    EXPECT_TRUE(std::all_of(found.extent.begin(), found.extent.end(), [](double v) { return v < 10; }));
  }
}

TEST(Holds, ComeBackBitForBitInEveryCombination) {
  Random random;
  Pose pose = random.AnyPose(1);
  pose.translation += Vector3d(1000, -2000, 300);
  const Vector3d o = pose.translation + Vector3d(1e-4, -2e-4, 1e-4);
  const Vector3d a = (pose.rotation.col(2) + Vector3d(1e-4, 1e-4, -1e-4)).normalized();
  ForEachConstrained(
      o, a,
      [&]<class R, class C>(const char* name, int, const R& given, const PartsOf<C>& parts, auto... get) {
        const Points points = EntryOf(name).scene(pose, 500, kNoise, 0, random);
        for (unsigned mask = 1; mask < 1U << parts.size(); ++mask) {
          for (const bool once : {false, true}) {
            SCOPED_TRACE(::testing::Message() << name << " held " << mask << " once " << once);
            C constraints(&given);
            for (std::size_t part = 0; part < parts.size(); ++part) {
              if (mask >> part & 1U) (constraints.*parts[part].first)();
            }
            FitInputParams<C> params(&constraints, once, true);
            if (once) params.SetOptimizeOnce();
            const ScopedSeed seed(mask);
            if (mask == (1U << parts.size()) - 1) {
              EXPECT_EQ(MessageOf([&] { FitBy<R>(points.data(), 500, params); }), "Over constrained");
              continue;
            }
            const R got = FitBy<R>(points.data(), 500, params).GetFitShape();
            unsigned part = 0;
            EXPECT_TRUE(((!(mask >> part++ & 1U) || std::invoke(get, got) == std::invoke(get, given)) && ...))
                << "part " << part - 1;
          }
        }
      });
}

/// The other record that the same constraints serve.
template <class R>
struct OtherRecord : std::type_identity<R> {};
template <>
struct OtherRecord<FitOutputParamsPlane> : std::type_identity<FitOutputParamsPatch> {};
template <>
struct OtherRecord<FitOutputParamsCylinder> : std::type_identity<FitOutputParamsCylinderBounded> {};
template <>
struct OtherRecord<FitOutputParamsCone> : std::type_identity<FitOutputParamsConeBounded> {};
template <>
struct OtherRecord<FitOutputParamsTorus> : std::type_identity<FitOutputParamsElbow> {};

TEST(Checks, RunInOrderWithTheirTexts) {
  Random random;
  const Points noise = Clutter({-1, -1, -1}, {1, 1, 1}, 200, random), holes(50, {1, kNan, 0});
  ForEachConstrained(
      Vector3d::Zero(), Vector3d::UnitZ(),
      [&]<class R, class C>(const std::string& name, int minimum, const R& given, const PartsOf<C>& parts,
                            auto...) {
        SCOPED_TRACE(name);
        using Params = FitInputParams<C>;
        const Points few(static_cast<std::size_t>(minimum), Vector3d(1, 2, 3));
        const C none(nullptr);
        C all(&given), allOfNone(nullptr);
        for (const auto& part : parts) (all.*part.first)(), (allOfNone.*part.first)();
        Params sure, strict;
        sure.SetOutlierPercentage(0);
        strict.SetScannerError(1e-5);
        const auto message = [&](const Vector3d* points, int n, const Params& params) {
          const ScopedSeed seed(1);
          const std::string text = MessageOf([&] { FitBy<R>(points, n, params); });
          EXPECT_EQ(MessageOf([&] { FitBy<typename OtherRecord<R>::type>(points, n, params); }), text);
          return text;
        };
        const std::string provided =
            "FitOutputParams" + name + (name == "Torus" ? " is not provieded" : " is not provided");
        EXPECT_EQ(message(nullptr, 10, Params(nullptr, true)), provided);
        EXPECT_EQ(message(nullptr, 10, Params(&none, true)), provided);
        EXPECT_EQ(message(nullptr, 200000, Params(&all)), "Points are not provided");
        EXPECT_EQ(message(few.data(), 0, Params(&all)), "Points are not provided");
        EXPECT_EQ(message(few.data(), -1, Params(&all)), "Points are not provided");
        EXPECT_EQ(message(holes.data(), 50, Params(&all)), "Points are not provided");
        EXPECT_EQ(message(few.data(), minimum - 1, Params(&all)), "Over constrained");
        EXPECT_EQ(message(few.data(), minimum - 1, Params()), "Not enough points");
        EXPECT_EQ(message(few.data(), minimum - 1, Params(&allOfNone)), "Not enough points")
            << "flags of no shape";
        EXPECT_EQ(message(noise.data(), 200, sure), "Fit" + name + " failed") << "no sample is drawn";
        if (name == "Line") return;  // two points within the tolerance make a perfect line
        const std::string last = message(noise.data(), 200, strict);
        EXPECT_TRUE(last == "Fit" + name + " produced a poor fit quality" || last == "Fit" + name + " failed")
            << last;
      });
}

const char kHeldUnusable[] = "Held parts must be finite, with no zero direction and no negative size";

/// What the fits of R and of the record that shares its constraints say to one held part.
template <class R, class C>
std::string MessageOfHeld(const R& given, std::initializer_list<void (C::*)()> held) {
  static const Points points(30, Vector3d(1, 2, 3));
  C constraints(&given);
  for (const auto hold : held) (constraints.*hold)();
  const FitInputParams<C> params(&constraints, false, true);
  const ScopedSeed seed(1);
  const std::string text = MessageOf([&] { FitBy<R>(points.data(), 30, params); });
  EXPECT_EQ(MessageOf([&] { FitBy<typename OtherRecord<R>::type>(points.data(), 30, params); }), text);
  return text;
}

TEST(Checks, RefuseHeldPartsThatNoShapeHas) {
  const Vector3d o(1, 2, 3), up(0, 0, 1), nowhere(1, kNan, 0), infinite(0, 0, INFINITY);
  const auto visit = [](bool placeIsBad) {
    return [=]<class R, class C>(const std::string& name, int, const R& given, const PartsOf<C>& parts,
                                 auto...) {
      SCOPED_TRACE(name);
      const bool hasDirection = name != "Arc" && name != "Sphere";
      const auto refused = [&](const auto& part) {
        return MessageOfHeld<R, C>(given, {part.first}) == kHeldUnusable;
      };
      EXPECT_EQ(refused(parts.front()), placeIsBad);
      EXPECT_EQ(refused(parts.back()), !placeIsBad && hasDirection);
    };
  };
  ForEachConstrained(nowhere, up, visit(true));
  ForEachConstrained(infinite, up, visit(true));
  for (const Vector3d& direction : {Vector3d(0, 0, 0), nowhere, infinite})
    ForEachConstrained(o, direction, visit(false));
  for (const double size : {-1e-300, -1.0, kNan, double{INFINITY}}) {
    const FitOutputParamsCylinder cylinder(o, size, up);
    const std::string messages[] = {
        MessageOfHeld(FitOutputParamsArc(o, size, up), {&FitConstraintsArc::FixRadius}),
        MessageOfHeld(FitOutputParamsSphere(o, size), {&FitConstraintsSphere::FixRadius}),
        MessageOfHeld(cylinder, {&FitConstraintsCylinder::FixRadius, &FitConstraintsCylinder::FixAxis}),
        MessageOfHeld(FitOutputParamsCone(o, size, up), {&FitConstraintsCone::FixAngle}),
        MessageOfHeld(FitOutputParamsTorus(o, size, 1, up), {&FitConstraintsTorus::FixMajorRadius}),
        MessageOfHeld(FitOutputParamsTorus(o, 1, size, up), {&FitConstraintsTorus::FixMinorRadius})};
    for (const auto& message : messages) EXPECT_EQ(message, kHeldUnusable) << &message - messages;
    using C = FitConstraintsCylinder;
    EXPECT_NE(MessageOfHeld(cylinder, {&C::FixAxis}), kHeldUnusable) << "the radius is not held";
    EXPECT_EQ(MessageOfHeld(cylinder, {&C::FixOrigin, &C::FixAxis, &C::FixRadius}), "Over constrained");
  }
}

TEST(Checks, RefuseAnArcWithoutAPlaneWhereThatIsNeeded) {
  const Points points(30, Vector3d(1, 2, 3));
  const Vector3d o(0, 0, 0), x(1, 0, 0), y(0, 1, 0);
  const struct {
    FitOutputParamsArc arc;
    bool asStart, asSection;
  } rows[] = {{{o, 1, x, o, 1}, true, true},
              {{o, 1, x, -x, 1}, true, true},
              {{o, 1, o, y, 1}, true, true},
              {{o, 1, x, {kNan, 1, 0}, 1}, true, true},
              {{o, -1, x, y, 1}, false, true},
              {{{kNan, 0, 0}, 1, x, y, 1}, false, true},
              {{o, 1, x, x + 1e-3 * y, 1}, false, false}};
  for (const auto& row : rows) {
    const FitConstraintsArc constraints(&row.arc);
    const FitInputParams<FitConstraintsArc> params(&constraints), start(&constraints, true);
    const auto refuses = [&](auto type, const auto& with) {
      return MessageOf([&] { FitBy<decltype(type)>(points.data(), 30, with); }) == kHeldUnusable;
    };
    EXPECT_FALSE(refuses(FitOutputParamsArc(), params)) << &row - rows;
    EXPECT_EQ(refuses(FitOutputParamsArc(), start), row.asStart) << &row - rows;
    EXPECT_EQ(refuses(FitOutputParamsTorus(), params), row.asSection) << &row - rows;
    EXPECT_EQ(refuses(FitOutputParamsElbow(), params), row.asSection) << &row - rows;
  }
}

TEST(Cone, HasAnAcuteHalfAngleWhateverThePoints) {
  using Params = FitInputParams<FitConstraintsCone>;
  int found = 0;
  for (std::uint64_t run = 0; run < 300; ++run) {
    Random random(run);
    const double flat = run % 3 == 0 ? 1 : run % 3 == 1 ? 0.02 : 0;  // a cube, a slab, a square
    const Points points = Clutter({-1, -1, -flat}, {1, 1, flat}, 60, random);
    Params params(nullptr, false, true);
    if (run % 2 == 0) params.SetOptimizeOnce();
    if (run % 5 == 0) params.SetScannerError(0);
    const ScopedSeed seed(run);
    try {
      const double angle = ConeFromPoints(points.data(), 60, params, nullptr).GetFitShape().Angle();
      EXPECT_TRUE(angle > 0 && angle < std::numbers::pi / 2) << angle << " in run " << run;
      ++found;
    } catch (const FitError& error) {
      EXPECT_EQ(std::string(error.what()).substr(0, 7), "FitCone");
    }
  }
  EXPECT_GT(found, 50);
}

TEST(TorusThroughArc, NeedsItsArcAndIsFoundWithTheDefaults) {
  Random random;
  const Pose pose = random.AnyPose(3);
  const OutputTorus torus(pose.translation, 1, 0.3, pose.rotation.col(2));
  const Points points = PointsOn(torus, 1500, {0.2, 1.8}, kFullTurn, 0.002, random);
  const int n = static_cast<int>(points.size());
  const Vector3d toSection = pose.rotation.col(2).unitOrthogonal();
  const FitOutputParamsArc section(pose.translation + toSection, 0.3, pose.rotation.col(2).cross(toSection));
  const FitConstraintsArc none(nullptr), given(&section);
  using Params = FitInputParams<FitConstraintsArc>;
  EXPECT_EQ(MessageOf([&] { TorusFromPoints(nullptr, n, Params(), nullptr); }), "Constraint is not provided");
  EXPECT_EQ(MessageOf([&] { ElbowFromPoints(points.data(), n, Params(&none), nullptr); }),
            "Constraint is not provided");
  EXPECT_EQ(MessageOf([&] { ElbowFromPoints(nullptr, n, Params(&given), nullptr); }),
            "Points are not provided");
  for (const bool skip : {false, true}) {  // not read
    for (const bool once : {false, true}) {
      Params params(&given, skip);
      if (once) params.SetOptimizeOnce();
      const ScopedSeed seed(4);
      const auto elbow = ElbowFromPoints(points.data(), n, params, nullptr).GetFitShape();
      EXPECT_EQ(elbow.MinorRadius(), 0.3);
      // Refined once, the fifth of the points that lies farthest outside is screened out first, which draws
      // the bend in.
      const double allowed = once ? 0.05 : 0.01;
      EXPECT_NEAR(elbow.MajorRadius(), 1, allowed) << "once " << once;
      EXPECT_NEAR((elbow.Center() - pose.translation).norm(), 0, allowed);
      EXPECT_NEAR(elbow.Angle(), 1.6, 2 * allowed);
    }
  }
}

TEST(Extents, AreThoseOfThePoints) {
  const struct {
    const char* name;
    std::vector<double> extent;
    double end;  // the end of the scene along the axis; 0 where no end lies there
  } rows[] = {{"Line", {2}, 1},
              {"Arc", {3}, 0},
              {"BoundedCylinder", {2}, 1},
              {"BoundedCone", {0.5, 2}, 2},
              {"Elbow", {2}, 0}};
  for (std::uint64_t run = 0; run < 5; ++run) {
    Random random(run);
    const Pose pose = random.AnyPose(10);
    const Vector3d c = pose.translation, z = pose.rotation.col(2);
    for (const auto& row : rows) {
      const Found found = EntryOf(row.name).Fit(EntryOf(row.name).scene(pose, 3000, 0.001, 0, random), run);
      for (std::size_t i = 0; i < row.extent.size(); ++i)
        EXPECT_NEAR(found.extent.at(i), row.extent[i], 0.02);
      const double end = std::max(z.dot(found.ends[0] - c), z.dot(found.ends[1] - c));
      if (row.end > 0) {
        EXPECT_NEAR(end, row.end, 0.02) << row.name;
      }
    }
    // A square's outline has its four corners.
    const Points ends = EntryOf("Patch").Fit(EntryOf("Patch").scene(pose, 3000, 0.001, 0, random), run).ends;
    ASSERT_GE(ends.size(), 4U);
    double area = 0;
    for (std::size_t i = 0; i < ends.size(); ++i) {
      area += 0.5 * z.dot((ends[i] - c).cross(ends[(i + 1) % ends.size()] - c));
    }
    EXPECT_NEAR(std::abs(area), 4, 0.1);
  }
}

}  // namespace
}  // namespace primfit::testing
