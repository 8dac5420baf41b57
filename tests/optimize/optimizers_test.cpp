// Every optimizer with every combination of holds against the constrained optimum of an independent solver.
#include "optimize/optimizers.h"

#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <numeric>
#include <random>
#include <vector>

#include "fit/vector_math.h"
#include "optimize/optimum.h"

namespace {

using Eigen::Vector3d;
using Points = std::vector<Vector3d>;

constexpr double kNoise = 0.002;

/// A run stops when the next step promises to lower the root mean square by less than tolerance / 200, or a
/// step is shorter than tolerance / 100. So it ends within about that of the optimum, and, since squared
/// deviations add, the shapes differ at the points by at most sqrt(2 rms tolerance / 200).
double RmsSlack(double tolerance) { return tolerance / 200; }
double ShapeSlack(double tolerance) { return std::sqrt(3 * kNoise * RmsSlack(tolerance)); }

enum Part : unsigned { kPoint = 1, kFirst = 2, kSecond = 4, kDirection = 8 };

/// The numbers of any shape in space: each uses the parts that it has.
struct Numbers {
  Vector3d point = Vector3d::Zero();
  double first = 0;
  double second = 0;
  Vector3d direction = Vector3d::UnitZ();
};

/// The distances of a point written another way than in the library: by Pythagoras from the axial coordinate.
double Radial(const Vector3d& v, double s) { return std::sqrt(std::max(0.0, v.squaredNorm() - s * s)); }
double PlaneDistance(const Numbers& n, const Vector3d& p) {
  return p.dot(n.direction) - n.point.dot(n.direction);
}
double SphereDistance(const Numbers& n, const Vector3d& p) { return (p - n.point).norm() - n.first; }
double CylinderDistance(const Numbers& n, const Vector3d& p) {
  return Radial(p - n.point, (p - n.point).dot(n.direction)) - n.first;
}
double ConeDistance(const Numbers& n, const Vector3d& p) {
  const Vector3d v = p - n.point;
  const double s = std::abs(v.dot(n.direction));
  return std::hypot(Radial(v, s), s) * std::sin(std::atan2(Radial(v, s), s) - n.first);
}
double TorusDistance(const Numbers& n, const Vector3d& p) {
  const double s = (p - n.point).dot(n.direction);
  return std::hypot(Radial(p - n.point, s) - n.first, s) - n.second;
}

/// One kind of shape: its parts, a true shape, the part of the surface that is seen, and how the library
/// refines one.
struct Kind {
  const char* name;
  unsigned parts;
  Numbers truth;
  double u0, u1, v0, v1;
  double (*distance)(const Numbers&, const Vector3d&);
  std::unique_ptr<OutputSurface> (*make)(const Numbers&);
  std::unique_ptr<OutputShape> (*refine)(const OutputShape& start, unsigned held, const Numbers& at,
                                         const Points&, double);
  Numbers (*read)(const OutputShape&);
};

using Surface = std::unique_ptr<OutputSurface>;

/// Refines with what Hold(optimizer, held parts, values) holds.
template <class Optimizer, auto kHold>
std::unique_ptr<OutputShape> Refine(const OutputShape& start, unsigned held, const Numbers& at,
                                    const Points& points, double tolerance) {
  Optimizer optimizer(tolerance, false, nullptr);
  kHold(optimizer, held, at);
  return std::unique_ptr<OutputShape>(
      optimizer.Optimize(static_cast<int>(points.size()), points.data(), &start));
}

// clang-format off
void HoldPlane(PlaneOptimizer& o, unsigned held, const Numbers& at) {
  if (held & kPoint) o.FixOrigin(at.point);
  if (held & kDirection) o.FixNormal(at.direction);
}
void HoldSphere(SphereOptimizer& o, unsigned held, const Numbers& at) {
  if (held & kPoint) o.FixCenter(at.point);
  if (held & kFirst) o.FixRadius(at.first);
}
void HoldCylinder(CylinderOptimizer& o, unsigned held, const Numbers& at) {
  if (held & kPoint) o.FixOrigin(at.point);
  if (held & kFirst) o.FixRadius(at.first);
  if (held & kDirection) o.FixAxis(at.direction);
}
void HoldCone(ConeOptimizer& o, unsigned held, const Numbers& at) {
  if (held & kPoint) o.FixApex(at.point);
  if (held & kFirst) o.FixAngle(at.first);
  if (held & kDirection) o.FixAxis(at.direction);
}
void HoldTorus(TorusOptimizer& o, unsigned held, const Numbers& at) {
  if (held & kPoint) o.FixCenter(at.point);
  if (held & kFirst) o.FixMajorRadius(at.first);
  if (held & kSecond) o.FixMinorRadius(at.second);
  if (held & kDirection) o.FixAxis(at.direction);
}

Numbers ReadPlane(const OutputShape& s) { auto& p = dynamic_cast<const OutputPlane&>(s); return {p.Center(), 0, 0, p.Normal()}; }
Numbers ReadSphere(const OutputShape& s) { auto& p = dynamic_cast<const OutputSphere&>(s); return {p.Center(), p.Radius(), 0, {}}; }
Numbers ReadCylinder(const OutputShape& s) { auto& p = dynamic_cast<const OutputCylinder&>(s); return {p.Center(), p.Radius(), 0, p.Axis()}; }
Numbers ReadCone(const OutputShape& s) { auto& p = dynamic_cast<const OutputCone&>(s); return {p.Apex(), p.Angle(), 0, p.Axis()}; }
Numbers ReadTorus(const OutputShape& s) { auto& p = dynamic_cast<const OutputTorus&>(s); return {p.Center(), p.MajorRadius(), p.MinorRadius(), p.Axis()}; }

const Vector3d kAt(0.3, -0.2, 0.5);
const Kind kKinds[] = {
    {"plane", kPoint | kDirection, {kAt, 0, 0, {}}, -1, 1, -1, 1, PlaneDistance,
     [](const Numbers& n) -> Surface { return std::make_unique<OutputPlane>(n.point, n.direction); }, Refine<PlaneOptimizer, HoldPlane>, ReadPlane},
    {"sphere", kPoint | kFirst, {kAt, 0.4, 0, {}}, 0.1, 1.5, 0, 5, SphereDistance,
     [](const Numbers& n) -> Surface { return std::make_unique<OutputSphere>(n.point, n.first); }, Refine<SphereOptimizer, HoldSphere>, ReadSphere},
    {"cylinder", kPoint | kFirst | kDirection, {kAt, 0.25, 0, {}}, 0, 3.5, -1, 1, CylinderDistance,
     [](const Numbers& n) -> Surface { return std::make_unique<OutputCylinder>(n.point, n.first, n.direction); }, Refine<CylinderOptimizer, HoldCylinder>, ReadCylinder},
    {"cone", kPoint | kFirst | kDirection, {kAt, 0.5, 0, {}}, 0, 4, 0.4, 1.4, ConeDistance,
     [](const Numbers& n) -> Surface { return std::make_unique<OutputCone>(n.point, n.first, n.direction); }, Refine<ConeOptimizer, HoldCone>, ReadCone},
    {"torus", kPoint | kFirst | kSecond | kDirection, {kAt, 0.6, 0.15, {}}, 0, 3, 0, 5, TorusDistance,
     [](const Numbers& n) -> Surface { return std::make_unique<OutputTorus>(n.point, n.first, n.second, n.direction); }, Refine<TorusOptimizer, HoldTorus>, ReadTorus},
};
// clang-format on

/// The shape whose free parts differ from `base` by x: 3 numbers for a point, 1 for a length or angle, 2 for
/// a direction (in its tangent plane, so that nothing is special about a pole).
Numbers Moved(const Numbers& base, unsigned free, const Eigen::VectorXd& x) {
  Numbers moved = base;
  int at = 0;
  if (free & kPoint) {
    moved.point += x.segment<3>(at);
    at += 3;
  }
  if (free & kFirst) moved.first += x[at++];
  if (free & kSecond) moved.second += x[at++];
  if (free & kDirection) {
    const Vector3d e1 = base.direction.unitOrthogonal();
    moved.direction = (base.direction + x[at] * e1 + x[at + 1] * base.direction.cross(e1)).normalized();
  }
  return moved;
}

Numbers Optimum(const Kind& kind, const Numbers& start, unsigned free, const Points& points) {
  const int parameters = (free & kPoint ? 3 : 0) + (free & kFirst ? 1 : 0) + (free & kSecond ? 1 : 0) +
                         (free & kDirection ? 2 : 0);
  return Moved(start, free,
               primfit::testing::Minimise(
                   {parameters, static_cast<int>(points.size()), [&](const Eigen::VectorXd& x, int i) {
                      return kind.distance(Moved(start, free, x), points[i]);
                    }}));
}

Points Scene(const Kind& kind, const Numbers& truth, int n, std::mt19937_64& random) {
  std::uniform_real_distribution<double> u(kind.u0, kind.u1), v(kind.v0, kind.v1);
  std::normal_distribution<double> noise(0, kNoise);
  const auto surface = kind.make(truth);
  Points points;
  for (int i = 0; i < n; ++i) {
    points.push_back(surface->Eval(u(random), v(random)) +
                     Vector3d(noise(random), noise(random), noise(random)));
  }
  return points;
}

Numbers WithHeld(Numbers numbers, unsigned held, const Numbers& at) {
  if (held & kPoint) numbers.point = at.point;
  if (held & kFirst) numbers.first = at.first;
  if (held & kSecond) numbers.second = at.second;
  if (held & kDirection) numbers.direction = at.direction;
  return numbers;
}

using Deviation = std::function<double(const Vector3d&)>;

double RootMeanSquare(const Points& points, const Deviation& deviation) {
  double sum = 0;
  for (const Vector3d& p : points) sum += std::pow(deviation(p), 2);
  return std::sqrt(sum / static_cast<double>(points.size()));
}

/// What a refinement gave and what an independent solver finds, as deviations of points: they differ little
/// where the points are, which does not depend on the choice of an axis point.
void ExpectOptimum(const Points& points, const Deviation& result, const Deviation& optimum,
                   double tolerance) {
  EXPECT_LT(RootMeanSquare(points, result), RootMeanSquare(points, optimum) + RmsSlack(tolerance));
  EXPECT_LT(RootMeanSquare(points, [&](const Vector3d& p) { return result(p) - optimum(p); }),
            ShapeSlack(tolerance));
}

const Vector3d kDirections[] = {{0, 0, 1},  {0, 0, -1},         {1, 0, 0},
                                {0, -1, 0}, {0.48, -0.6, 0.64}, {-0.36, 0.48, -0.8}};

class EveryKind : public ::testing::TestWithParam<int> {};

TEST_P(EveryKind, ReachesTheConstrainedOptimumUnderEveryHold) {
  const Kind& kind = kKinds[GetParam()];
  std::mt19937_64 random(20 + static_cast<unsigned>(GetParam()));
  std::uniform_real_distribution<double> shift(-0.01, 0.01);
  const auto shifts = [&](double scale) -> Eigen::VectorXd {
    return scale * Eigen::VectorXd::NullaryExpr(7, [&] { return shift(random); });
  };
  for (const Vector3d& direction : kDirections) {
    Numbers truth = kind.truth;
    truth.direction = direction;
    const Points points = Scene(kind, truth, 400, random);
    for (unsigned held = 0; held < kind.parts; ++held) {
      if ((held & ~kind.parts) != 0) continue;
      SCOPED_TRACE(::testing::Message()
                   << kind.name << " held " << held << " direction " << direction.transpose());
      // What is held is off the truth, so that holding it changes the optimum; the start is off by more, and
      // 0.022 rad.
      const Numbers at = Moved(truth, kind.parts, shifts(0.1));
      Numbers start = Moved(truth, kind.parts & ~kDirection, shifts(1));
      start.direction = Eigen::AngleAxisd(0.022, direction.unitOrthogonal()) * direction;
      const Numbers optimum = Optimum(kind, WithHeld(start, held, at), kind.parts & ~held, points);
      for (const double tolerance : {0.006, 0.0006}) {
        const auto shape = kind.refine(*kind.make(start), held, at, points, tolerance);
        ASSERT_NE(shape, nullptr);
        const Numbers result = kind.read(*shape);
        const double sign =
            result.direction.dot(optimum.direction) < 0 && kind.distance == PlaneDistance ? -1 : 1;
        ExpectOptimum(
            points, [&](const Vector3d& p) { return kind.distance(result, p); },
            [&](const Vector3d& p) { return sign * kind.distance(optimum, p); }, tolerance);
        EXPECT_TRUE((held & kPoint) == 0 || result.point == at.point);
        EXPECT_TRUE((held & kFirst) == 0 || result.first == at.first);
        EXPECT_TRUE((held & kSecond) == 0 || result.second == at.second);
        EXPECT_TRUE((held & kDirection) == 0 || (result.direction - at.direction).norm() < 1e-15);
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Optimizers, EveryKind, ::testing::Range(0, 5),
                         [](const auto& param) { return std::string(kKinds[param.param].name); });

/// Points near a curve of the plane (e1, e2) at `origin`, scattered off the plane as well.
Points PlanarScene(const Vector3d& origin, const Vector3d& e1, const Vector3d& e2, std::mt19937_64& random,
                   const std::function<Vector3d(double)>& curve) {
  std::uniform_real_distribution<double> t(0, 1);
  std::normal_distribution<double> noise(0, kNoise);
  Points points;
  for (int i = 0; i < 300; ++i) {
    const Vector3d local = curve(t(random)) + Vector3d(noise(random), noise(random), 3 * noise(random));
    points.push_back(origin + local.x() * e1 + local.y() * e2 + local.z() * e1.cross(e2));
  }
  return points;
}

TEST(LineOptimizer, ReachesTheOptimumWithinItsPlane) {
  std::mt19937_64 random(30);
  for (const Vector3d& normal : kDirections) {
    const Vector3d e1 = normal.unitOrthogonal(), e2 = normal.cross(e1), origin(2, -1, 0.5);
    const Points points =
        PlanarScene(origin, e1, e2, random, [](double t) { return Vector3d(3 * t - 1, 0.1 * t, 0); });
    const OutputLine start(origin - 0.02 * e2, e1 + 0.01 * e2, normal);
    const Vector3d heldRoot = origin + 0.5 * e1 + 0.048 * e2;
    const Vector3d heldDirection =
        (e1 + 0.03 * e2 + 0.01 * normal).normalized();  // not perpendicular to the normal
    for (const int held : {0, 1, 2}) {
      SCOPED_TRACE(::testing::Message() << "held " << held << " normal " << normal.transpose());
      const Vector3d along = held == 2 ? heldDirection : start.Direction();
      const Vector3d across = start.Normal().cross(along).normalized();
      const Vector3d base = held == 1 ? heldRoot : start.Root();
      const auto deviation = [&](const Eigen::VectorXd& x, const Vector3d& p) {
        const double rho = held == 1 ? 0 : x[0], theta = held == 2 ? 0 : x[held == 0 ? 1 : 0];
        return (p - base).dot(across) * std::cos(theta) - (p - base).dot(along) * std::sin(theta) - rho;
      };
      const auto x = primfit::testing::Minimise(
          {held == 0 ? 2 : 1, 300, [&](const Eigen::VectorXd& v, int i) { return deviation(v, points[i]); }});
      LineOptimizer optimizer(0.006, false, nullptr);
      if (held == 1) optimizer.FixRoot(heldRoot);
      if (held == 2) optimizer.FixDirection(heldDirection);
      const std::unique_ptr<OutputShape> shape(optimizer.Optimize(300, points.data(), &start));
      ASSERT_NE(shape, nullptr);
      const auto& line = dynamic_cast<const OutputLine&>(*shape);
      EXPECT_NEAR(line.Normal().dot(line.Direction()), 0, 1e-14);  // the in-plane normal
      ExpectOptimum(
          points, [&](const Vector3d& p) { return (p - line.Root()).dot(line.Normal()); },
          [&](const Vector3d& p) { return deviation(x, p); }, 0.006);
      EXPECT_TRUE(held != 1 || (line.Root() - heldRoot).norm() < 1e-15);
      EXPECT_TRUE(held != 2 || (line.Direction() - heldDirection).norm() < 1e-15);
    }
  }
}

TEST(CircleOptimizer, ReachesTheOptimumWithinItsPlane) {
  std::mt19937_64 random(31);
  for (const Vector3d& normal : kDirections) {
    const Vector3d e1 = normal.unitOrthogonal(), e2 = normal.cross(e1), origin(2, -1, 0.5);
    const Points points = PlanarScene(origin, e1, e2, random, [](double t) {
      return Vector3d(0.3 * std::cos(2 * t), 0.3 * std::sin(2 * t), 0);
    });
    const OutputCircle start(origin + 0.01 * e1 - 0.008 * e2, 0.31, normal);
    for (const int held : {0, 1, 2}) {
      SCOPED_TRACE(::testing::Message() << "held " << held << " normal " << normal.transpose());
      const Vector3d base = held == 1 ? Vector3d(origin + 0.002 * e1) : start.Center();
      const auto deviation = [&](const Eigen::VectorXd& x, const Vector3d& p) {
        const double cx = held == 1 ? 0 : x[0], cy = held == 1 ? 0 : x[1];
        const double r = held == 2 ? 0.302 : 0.3 + x[held == 1 ? 0 : 2];
        return std::hypot((p - base).dot(e1) - cx, (p - base).dot(e2) - cy) - r;
      };
      const auto x = primfit::testing::Minimise(
          {held == 0   ? 3
           : held == 1 ? 1
                       : 2,
           300, [&](const Eigen::VectorXd& v, int i) { return deviation(v, points[i]); }});
      CircleOptimizer optimizer(0.006, false, nullptr);
      if (held == 1) optimizer.FixCenter(base);
      if (held == 2) optimizer.FixRadius(0.302);
      const std::unique_ptr<OutputShape> shape(optimizer.Optimize(300, points.data(), &start));
      ASSERT_NE(shape, nullptr);
      const auto& circle = dynamic_cast<const OutputCircle&>(*shape);
      EXPECT_NEAR((circle.Axis() - normal).norm(), 0, 1e-15);
      EXPECT_NEAR((circle.Center() - base).dot(normal), 0, 1e-14);
      const Deviation result = [&](const Vector3d& p) {
        return std::hypot((p - circle.Center()).dot(e1), (p - circle.Center()).dot(e2)) - circle.Radius();
      };
      ExpectOptimum(
          points, result, [&](const Vector3d& p) { return deviation(x, p); }, 0.006);
    }
  }
}

TEST(TorusProfileOptimizer, FindsBendRadiusAndTurnThroughTheGivenSection) {
  std::mt19937_64 random(32);
  std::uniform_real_distribution<double> along(0.3, 1.6), around(0, 6.28);
  std::normal_distribution<double> noise(0, kNoise);
  for (const Vector3d& axis : kDirections) {
    const OutputTorus truth({1, 2, 3}, 0.8, 0.1, axis);
    Points points;
    for (int i = 0; i < 400; ++i) {
      points.push_back(truth.Eval(along(random), around(random)) +
                       Vector3d(noise(random), noise(random), noise(random)));
    }
    const Vector3d section = truth.Center() + 0.8 * axis.unitOrthogonal();
    const Vector3d tube = axis.cross(axis.unitOrthogonal());
    const TorusProfileOptimizer optimizer(0.006, false, section, 0.1, tube);
    const OutputTorus start(truth.Center() + 0.03 * axis, 0.7, 0.12, axis);
    const std::unique_ptr<OutputShape> shape(optimizer.Optimize(400, points.data(), &start));
    ASSERT_NE(shape, nullptr);
    const auto& torus = dynamic_cast<const OutputTorus&>(*shape);
    EXPECT_EQ(torus.MinorRadius(), 0.1);
    EXPECT_NEAR((section - torus.Center()).norm(), torus.MajorRadius(), 1e-12);
    EXPECT_NEAR((section - torus.Center()).dot(torus.Axis()), 0, 1e-12);
    EXPECT_NEAR(tube.dot(torus.Axis()), 0, 1e-12);
    // 400 points determine bend radius and turn to about 2e-4 (one sigma); 2e-3 is ten of them.
    EXPECT_NEAR(torus.MajorRadius(), 0.8, 2e-3);
    EXPECT_NEAR((torus.Center() - truth.Center()).norm(), 0, 2e-3);

    // Degenerate sections: on the start's centre, or with the tube pointing away from it.
    EXPECT_EQ(
        TorusProfileOptimizer(0.006, false, start.Center(), 0.1, tube).Optimize(400, points.data(), &start),
        nullptr);
    EXPECT_EQ(TorusProfileOptimizer(0.006, false, section, 0.1, section - start.Center())
                  .Optimize(400, points.data(), &start),
              nullptr);
  }
}

TEST(Optimizer, ReturnsNullWhereThereIsNothingToRefine) {
  const Points points = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 0.001}};
  const OutputPlane start({0, 0, 0}, {0.01, 0, 1});
  const OutputSphere sphere({0, 0, 0}, 1);
  const auto refined = [&](const TROptimizer& optimizer, int n, const Vector3d* p, const OutputShape* s) {
    return std::unique_ptr<OutputShape>(optimizer.Optimize(n, p, s)) != nullptr;
  };
  const PlaneOptimizer optimizer(0.006, false, nullptr);
  EXPECT_TRUE(refined(optimizer, 4, points.data(), &start));
  EXPECT_FALSE(refined(optimizer, 4, points.data(), nullptr)) << "no start shape";
  EXPECT_TRUE(refined(PlaneOptimizer(0.006, false, &start), 4, points.data(), nullptr))
      << "its own start shape";
  EXPECT_FALSE(refined(optimizer, 4, points.data(), &sphere)) << "a shape of another class";
  EXPECT_FALSE(refined(optimizer, 2, points.data(), &start)) << "fewer points than parameters";
  EXPECT_FALSE(refined(optimizer, 0, points.data(), &start));
  EXPECT_FALSE(refined(optimizer, 4, nullptr, &start));
  EXPECT_FALSE(refined(PlaneOptimizer(0, false, nullptr), 4, points.data(), &start)) << "tolerance 0";
  Points broken = points;
  broken[2].y() = std::nan("");
  EXPECT_FALSE(refined(optimizer, 4, broken.data(), &start)) << "a NaN must not reach the solver";
}

TEST(Screening, KeepsFourFifthsBySignedDeviation) {
  const OutputPlane plane({0, 0, 0}, {0, 0, 1});
  const auto kept = [&](int n, bool screen, double farZ, double lastZ) {
    Points points;
    for (int i = 0; i < n; ++i) points.push_back({0.1 * i, 0, i < 10 && n == 100 ? farZ : 1e-3 * i});
    points.back().z() = lastZ;
    const Vector3d** pointers = nullptr;
    const int count = screen_samples(screen, n, points.data(), &plane, pointers);
    const std::unique_ptr<const Vector3d*[]> owner(pointers);
    std::vector<int> indices;
    for (int i = 0; i < count; ++i) indices.push_back(static_cast<int>(pointers[i] - points.data()));
    std::sort(indices.begin(), indices.end());
    return indices;
  };
  const auto range = [](int first, int last) {
    std::vector<int> indices(static_cast<std::size_t>(last - first + 1));
    std::iota(indices.begin(), indices.end(), first);
    return indices;
  };
  EXPECT_EQ(kept(20, true, 0, 5), range(0, 19)) << "20 points are never screened";
  EXPECT_EQ(kept(21, false, 0, 5), range(0, 20));
  EXPECT_EQ(kept(21, true, 0, 5), range(0, 15));
  EXPECT_EQ(kept(21, true, 0, std::nan("")), range(0, 15)) << "what is not a number goes first";
  EXPECT_EQ(kept(100, true, 10, 0.1), range(10, 89)) << "far on the positive side";
  EXPECT_EQ(kept(100, true, -10, 0.1), range(0, 79)) << "far on the negative side: they stay";
}

TEST(Screening, ReachesTheRefinement) {
  std::mt19937_64 random(33);
  std::uniform_real_distribution<double> u(-1, 1);
  Points points;
  for (int i = 0; i < 500; ++i) points.push_back({u(random), u(random), i % 6 == 0 ? 0.05 : 0});
  const OutputPlane start({0, 0, 0.004}, {0.002, 0, 1});
  const std::unique_ptr<OutputShape> screened(
      PlaneOptimizer(0.006, true, &start).Optimize(500, points.data(), nullptr));
  const std::unique_ptr<OutputShape> all(
      PlaneOptimizer(0.006, false, &start).Optimize(500, points.data(), nullptr));
  EXPECT_NEAR(screened->Distance({0, 0, 0}), 0, 1e-6);
  EXPECT_LT(all->Distance({0, 0, 0}), -0.005);
}

}  // namespace
