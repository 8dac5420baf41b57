// All eleven entry points by the same laws: exact clouds, noise, outliers, far coordinates, holds, checks.
#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <cmath>
#include <limits>
#include <set>

#include "api/entries.h"

namespace primfit::testing {
namespace {

using Eigen::Vector3d;

double RootMeanSquare(const OutputShape& shape, const Points& points) {
  double sum = 0;
  for (const Vector3d& p : points) sum += std::pow(shape.Distance(p), 2);
  return std::sqrt(sum / static_cast<double>(points.size()));
}

bool Is(const Entry& entry, const char* name) { return std::string(entry.name) == name; }

class EveryPrimitive : public ::testing::TestWithParam<std::size_t> {
 protected:
  const Entry& entry = Entries()[GetParam()];
};

TEST_P(EveryPrimitive, GivesExactCloudsBack) {
  for (std::uint64_t run = 0; run < 30; ++run) {
    Random random(run);
    const Pose pose = random.AnyPose(5);
    const Points points = entry.scene(pose, 300, 0, 0, random);
    const ScopedSeed seed(run);
    const Found found = entry.fit(points, 0.2, 0.006);
    EXPECT_LT(RootMeanSquare(*found.shape, points), 1e-9) << "run " << run;
    EXPECT_EQ(found.quality.GetInlierCount(), 300);
  }
}

TEST_P(EveryPrimitive, ErrorShrinksWithTheNumberOfPoints) {
  // Truth is measured by points without noise. A shape of q parameters fitted to n points is off by noise
  // sqrt(q / n); the solver may stop 3e-5 above the least root mean square, which leaves up to 4e-4 (see the
  // optimizers' tests). The selection about a candidate that hangs on a small sample can add to that where a
  // shape is not refined afterwards.
  constexpr double kNoise = 0.002;
  for (const int n : {500, 50000}) {
    double sum = 0;
    constexpr int kRuns = 10;
    for (std::uint64_t run = 0; run < kRuns; ++run) {
      Random random(run);
      const Pose pose = random.AnyPose(5);
      const Points exact = entry.scene(pose, 300, 0, 0, random);
      const Points points = entry.scene(pose, n, kNoise, 0, random);
      const ScopedSeed seed(run);
      const Found found = entry.fit(points, 0.2, 0.006);
      // A line is refined in one plane only and an arc keeps the plane of its candidate; see the next test.
      if (Is(entry, "line") || Is(entry, "arc")) return;
      sum += std::pow(RootMeanSquare(*found.shape, exact), 2);
    }
    const double statistical = kNoise * std::sqrt(7.0 / n);
    EXPECT_LT(std::sqrt(sum / kRuns), 2 * statistical + 4e-4) << n << " points";
  }
}

TEST_P(EveryPrimitive, IsFoundAmongOutliers) {
  // Found: the true inliers lie within twice the noise of the result, root mean square. The search misses a
  // clean sample in 0.6 to 1.4 of 100 runs; a torus sample of 13 noisy points gives no candidate in one of
  // four cases besides, which makes it 4 of 100. More misses than allowed here have odds below 1 in 1000.
  constexpr double kNoise = 0.002;
  constexpr std::uint64_t kRuns = 100;
  if (Is(entry, "line") || Is(entry, "arc")) return;  // measured within the plane that is refined, elsewhere
  const int allowed = Is(entry, "torus") || Is(entry, "elbow") ? 12 : 6;
  int found = 0;
  for (std::uint64_t run = 0; run < kRuns; ++run) {
    Random random(run);
    const Pose pose = random.AnyPose(5);
    const Points inliers = entry.scene(pose, 400, kNoise, 0, random);
    Points points = entry.scene(pose, 500, kNoise, 0.2, random);
    const ScopedSeed seed(run);
    try {
      found += RootMeanSquare(*entry.fit(points, 0.2, 0.006).shape, inliers) < 2 * kNoise ? 1 : 0;
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
    Points points = entry.scene(random.AnyPose(2), 2000, 0.002, Is(entry, "arc") ? 0 : 0.1, random);
    for (Vector3d& p : points) p = (p * 1024).array().round() / 1024;  // representable in both places
    Points shifted = points;
    for (Vector3d& p : shifted) p += shift;
    const auto fit = [&](const Points& cloud) {
      const ScopedSeed seed(run);
      return entry.fit(cloud, 0.2, 0.006);
    };
    const Found near = fit(points), far = fit(shifted);
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
      EXPECT_LT((near.ends[i] + shift - far.ends[i]).norm(), 1e-6);
    }
  }
}

TEST_P(EveryPrimitive, LeavesOutPointsThatAreNotFinite) {
  Random random;
  const Points clean = entry.scene(random.AnyPose(2), 600, 0.002, 0.1, random);
  Points holes;
  for (const Vector3d& p : clean) {
    holes.push_back({p.x(), std::numeric_limits<double>::quiet_NaN(), p.z()});
    holes.push_back(p);
  }
  const auto fit = [&](const Points& points) {
    const ScopedSeed seed(5);
    return entry.fit(points, 0.2, 0.006);
  };
  EXPECT_EQ(fit(clean).quality.rmsDistance, fit(holes).quality.rmsDistance);
  const Points none(50, Vector3d::Constant(std::numeric_limits<double>::infinity()));
  EXPECT_EQ(MessageOf([&] { fit(none); }), "Points are not provided");
  EXPECT_EQ(MessageOf([&] { fit({}); }), "Points are not provided");
}

INSTANTIATE_TEST_SUITE_P(Entries, EveryPrimitive, ::testing::Range<std::size_t>(0, Entries().size()),
                         [](const auto& param) {
                           std::string name = Entries()[param.param].name;
                           for (char& c : name) c = c == ' ' ? '_' : c;
                           return name;
                         });

/// Held parts come back bit for bit in every combination; all parts held is refused before anything is
/// searched.
template <class Record, class Constraints, class Entry, class Read>
void ExpectHolds(const Record& given, const Points& points, const std::vector<void (Constraints::*)()>& fix,
                 const Entry& fit, const Read& read) {
  const unsigned all = (1U << fix.size()) - 1;
  for (unsigned mask = 1; mask <= all; ++mask) {
    for (const bool once : {false, true}) {
      SCOPED_TRACE(::testing::Message() << "held " << mask << " once " << once);
      Constraints constraints(&given);
      for (std::size_t part = 0; part < fix.size(); ++part) {
        if (mask >> part & 1U) (constraints.*fix[part])();
      }
      FitInputParams<Constraints> params(&constraints, once, true);
      if (once) params.SetOptimizeOnce();
      const ScopedSeed seed(mask);
      if (mask == all) {
        EXPECT_EQ(MessageOf([&] { fit(points, params); }), "Over constrained");
        continue;
      }
      const auto record = fit(points, params).GetFitShape();
      const auto got = read(record), want = read(given);
      for (std::size_t part = 0; part < fix.size(); ++part) {
        if (mask >> part & 1U) {
          EXPECT_EQ(got[part], want[part]) << "part " << part;
        }
      }
    }
  }
}

std::vector<double> Numbers(const Vector3d& v) { return {v.x(), v.y(), v.z()}; }
using Parts = std::vector<std::vector<double>>;

TEST(Holds, ComeBackBitForBitInEveryCombination) {
  Random random;
  Pose pose = random.AnyPose(1);
  pose.translation += Vector3d(1000, -2000, 300);
  const auto scene = [&](const char* name) {
    for (const Entry& entry : Entries()) {
      if (Is(entry, name)) return entry.scene(pose, 500, 0.002, 0, random);
    }
    return Points();
  };
  const Vector3d o = pose.translation + Vector3d(1e-4, -2e-4, 1e-4);
  const Vector3d a = (pose.rotation.col(2) + Vector3d(1e-4, 1e-4, -1e-4)).normalized();
  const auto size = [](const Points& p) { return static_cast<int>(p.size()); };
  ExpectHolds<FitOutputParamsPlane, FitConstraintsPlane>(
      {o, a}, scene("plane"), {&FitConstraintsPlane::FixOrigin, &FitConstraintsPlane::FixNormal},
      [&](const Points& p, const auto& in) { return PlaneFromPoints(p.data(), size(p), in, nullptr); },
      [](const auto& r) {
        return Parts{Numbers(r.Origin()), Numbers(r.Normal())};
      });
  ExpectHolds<FitOutputParamsSphere, FitConstraintsSphere>(
      {o, 0.5003}, scene("sphere"), {&FitConstraintsSphere::FixCenter, &FitConstraintsSphere::FixRadius},
      [&](const Points& p, const auto& in) { return SphereFromPoints(p.data(), size(p), in, nullptr); },
      [](const auto& r) {
        return Parts{Numbers(r.Center()), {r.Radius()}};
      });
  ExpectHolds<FitOutputParamsCylinder, FitConstraintsCylinder>(
      {o, 0.5003, a}, scene("cylinder"),
      {&FitConstraintsCylinder::FixOrigin, &FitConstraintsCylinder::FixRadius,
       &FitConstraintsCylinder::FixAxis},
      [&](const Points& p, const auto& in) {
        return CylinderFromPoints(p.data(), size(p), in, nullptr, false);
      },
      [](const auto& r) {
        return Parts{Numbers(r.Origin()), {r.Radius()}, Numbers(r.Axis())};
      });
  ExpectHolds<FitOutputParamsCone, FitConstraintsCone>(
      {o, 0.4003, a}, scene("cone"),
      {&FitConstraintsCone::FixApex, &FitConstraintsCone::FixAngle, &FitConstraintsCone::FixAxis},
      [&](const Points& p, const auto& in) { return ConeFromPoints(p.data(), size(p), in, nullptr); },
      [](const auto& r) {
        return Parts{Numbers(r.Apex()), {r.Angle()}, Numbers(r.Axis())};
      });
  ExpectHolds<FitOutputParamsTorus, FitConstraintsTorus>(
      {o, 1.0003, 0.2998, a}, scene("torus"),
      {&FitConstraintsTorus::FixCenter, &FitConstraintsTorus::FixMajorRadius,
       &FitConstraintsTorus::FixMinorRadius, &FitConstraintsTorus::FixAxis},
      [&](const Points& p, const auto& in) { return TorusFromPoints(p.data(), size(p), in, nullptr); },
      [](const auto& r) {
        return Parts{Numbers(r.Center()), {r.MajorRadius()}, {r.MinorRadius()}, Numbers(r.Axis())};
      });
  ExpectHolds<FitOutputParamsArc, FitConstraintsArc>(
      {o, 0.5003, a}, scene("arc"), {&FitConstraintsArc::FixCenter, &FitConstraintsArc::FixRadius},
      [&](const Points& p, const auto& in) { return ArcFromPoints(p.data(), size(p), in, nullptr); },
      [](const auto& r) {
        return Parts{Numbers(r.Center()), {r.Radius()}};
      });
  // A held root says where the line passes; the record's root is the end of the segment.
  ExpectHolds<FitOutputParamsLine, FitConstraintsLine>(
      {o, a, 1}, scene("line"), {&FitConstraintsLine::FixRoot, &FitConstraintsLine::FixDirection},
      [&](const Points& p, const auto& in) { return LineFromPoints(p.data(), size(p), in, nullptr); },
      [&](const auto& r) {
        const double away = (o - r.Root()).cross(r.Direction()).norm();
        return Parts{{away < 1e-9 ? 0.0 : away}, Numbers(r.Direction())};
      });
}

/// The failures of one entry point, in the order of its checks.
template <class Record, class Constraints, class Fit>
void ExpectChecks(const std::string& name, const char* notProvided, int minimum, const Record& shape,
                  const std::vector<void (Constraints::*)()>& fix, const Fit& fit) {
  SCOPED_TRACE(name);
  const Points few(static_cast<std::size_t>(minimum), Vector3d(1, 2, 3));
  Random random;
  const Points noise = Clutter({-1, -1, -1}, {1, 1, 1}, 200, random);
  const Constraints none(nullptr);
  Constraints all(&shape);
  for (const auto part : fix) (all.*part)();
  using Params = FitInputParams<Constraints>;
  const auto message = [&](const Vector3d* points, int n, const Params& params) {
    const ScopedSeed seed(1);
    return MessageOf([&] { fit(points, n, params); });
  };
  EXPECT_EQ(message(nullptr, 10, Params(nullptr, true)), notProvided);
  EXPECT_EQ(message(nullptr, 10, Params(&none, true)), notProvided);
  EXPECT_EQ(message(nullptr, 200000, Params(&all)), "Points are not provided");
  EXPECT_EQ(message(few.data(), 0, Params(&all)), "Points are not provided");
  EXPECT_EQ(message(few.data(), -1, Params(&all)), "Points are not provided");
  EXPECT_EQ(message(few.data(), minimum - 1, Params(&all)), "Over constrained");
  EXPECT_EQ(message(few.data(), minimum - 1, Params()), "Not enough points");
  Params sure;
  sure.SetOutlierPercentage(0);
  EXPECT_EQ(message(noise.data(), 200, sure), "Fit" + name + " failed") << "no sample is drawn";
  if (name == "Line") return;  // two points within the tolerance make a perfect line
  Params strict;
  strict.SetScannerError(1e-5);
  const std::string last = message(noise.data(), 200, strict);
  EXPECT_TRUE(last == "Fit" + name + " produced a poor fit quality" || last == "Fit" + name + " failed")
      << last;
}

TEST(Checks, RunInOrderWithTheirTexts) {
  const Vector3d o(0, 0, 0), z(0, 0, 1);
  ExpectChecks<FitOutputParamsLine, FitConstraintsLine>(
      "Line", "FitOutputParamsLine is not provided", 2, {o, z, 1},
      {&FitConstraintsLine::FixRoot, &FitConstraintsLine::FixDirection},
      [](auto* p, int n, const auto& in) { LineFromPoints(p, n, in, nullptr); });
  ExpectChecks<FitOutputParamsArc, FitConstraintsArc>(
      "Arc", "FitOutputParamsArc is not provided", 3, {o, 1, z},
      {&FitConstraintsArc::FixCenter, &FitConstraintsArc::FixRadius},
      [](auto* p, int n, const auto& in) { ArcFromPoints(p, n, in, nullptr); });
  ExpectChecks<FitOutputParamsSphere, FitConstraintsSphere>(
      "Sphere", "FitOutputParamsSphere is not provided", 4, {o, 1},
      {&FitConstraintsSphere::FixCenter, &FitConstraintsSphere::FixRadius},
      [](auto* p, int n, const auto& in) { SphereFromPoints(p, n, in, nullptr); });
  ExpectChecks<FitOutputParamsPlane, FitConstraintsPlane>(
      "Plane", "FitOutputParamsPlane is not provided", 3, {o, z},
      {&FitConstraintsPlane::FixOrigin, &FitConstraintsPlane::FixNormal},
      [](auto* p, int n, const auto& in) { PatchFromPoints(p, n, in, nullptr); });
  ExpectChecks<FitOutputParamsCylinder, FitConstraintsCylinder>(
      "Cylinder", "FitOutputParamsCylinder is not provided", 6, {o, 1, z},
      {&FitConstraintsCylinder::FixOrigin, &FitConstraintsCylinder::FixRadius,
       &FitConstraintsCylinder::FixAxis},
      [](auto* p, int n, const auto& in) { BoundedCylinderFromPoints(p, n, in, nullptr, true); });
  ExpectChecks<FitOutputParamsCone, FitConstraintsCone>(
      "Cone", "FitOutputParamsCone is not provided", 6, {o, 0.5, z},
      {&FitConstraintsCone::FixApex, &FitConstraintsCone::FixAngle, &FitConstraintsCone::FixAxis},
      [](auto* p, int n, const auto& in) { BoundedConeFromPoints(p, n, in, nullptr); });
  ExpectChecks<FitOutputParamsTorus, FitConstraintsTorus>(
      "Torus", "FitOutputParamsTorus is not provieded", 15, {o, 1, 0.2, z},
      {&FitConstraintsTorus::FixCenter, &FitConstraintsTorus::FixMajorRadius,
       &FitConstraintsTorus::FixMinorRadius, &FitConstraintsTorus::FixAxis},
      [](auto* p, int n, const auto& in) { ElbowFromPoints(p, n, in, nullptr); });
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
  for (std::uint64_t run = 0; run < 5; ++run) {
    Random random(run);
    const Pose pose = random.AnyPose(10);
    const Vector3d z = pose.rotation.col(2);
    const auto entry = [&](const char* name) -> const Entry& {
      for (const Entry& e : Entries()) {
        if (Is(e, name)) return e;
      }
      throw std::logic_error(name);
    };
    const auto fit = [&](const char* name) {
      const Points points = entry(name).scene(pose, 3000, 0.001, 0, random);
      const ScopedSeed seed(run);
      return entry(name).fit(points, 0.2, 0.006);
    };
    EXPECT_NEAR(fit("line").extent[0], 2, 0.01);
    EXPECT_NEAR(fit("arc").extent[0], 3, 0.01);
    EXPECT_NEAR(fit("bounded cylinder").extent[0], 2, 0.01);
    EXPECT_NEAR(fit("elbow").extent[0], 2, 0.01);
    const Found cone = fit("bounded cone");
    EXPECT_NEAR(cone.extent[0], 0.5, 0.02);
    EXPECT_NEAR(cone.extent[1], 2, 0.02);
    // An end of each is the end of the scene; a square's outline has its four corners.
    for (const char* name : {"line", "bounded cylinder", "bounded cone"}) {
      const Found found = fit(name);
      const double end =
          std::max(z.dot(found.ends[0] - pose.translation), z.dot(found.ends[1] - pose.translation));
      EXPECT_NEAR(end, std::string(name) == "bounded cone" ? 2 : 1, 0.02) << name;
    }
    const Found patch = fit("patch");
    ASSERT_GE(patch.ends.size(), 4U);
    const Vector3d e1 = z.unitOrthogonal(), e2 = z.cross(e1);
    double area = 0;
    for (std::size_t i = 0; i < patch.ends.size(); ++i) {
      const Vector3d a = patch.ends[i] - pose.translation,
                     b = patch.ends[(i + 1) % patch.ends.size()] - pose.translation;
      area += 0.5 * (a.dot(e1) * b.dot(e2) - a.dot(e2) * b.dot(e1));
    }
    EXPECT_NEAR(std::abs(area), 4, 0.1);
  }
}

}  // namespace
}  // namespace primfit::testing
