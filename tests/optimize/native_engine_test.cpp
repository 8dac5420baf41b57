// What the native trust-region engine promises: the least-squares optimum of the points it is given, whatever
// the coverage and the noise, without storing anything for each point.
#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <Eigen/SVD>
#include <memory>
#include <vector>

#include "optimize/optimizers.h"
#include "support/memory.h"
#include "support/scenes.h"

namespace primfit::testing {
namespace {

using Eigen::Vector3d;
using Real = long double;
using Vector = Eigen::Matrix<Real, 3, 1>;
using Jacobian = Eigen::Matrix<Real, Eigen::Dynamic, Eigen::Dynamic>;

/// A shape by its numbers, in long double: what the result of a refinement is judged by.
struct Numbers {
  Vector point{0, 0, 0};
  Real first = 0, second = 0;
  Vector axis{0, 0, 1};
};

enum Shape { kIsPlane, kIsSphere, kIsCylinder, kIsCone, kIsTorus };

Real Distance(Shape shape, const Numbers& n, const Vector& p) {
  const Vector q = p - n.point;
  const Vector d = n.axis / n.axis.norm();
  const Real h = q.dot(d), rho = (q - h * d).norm();
  switch (shape) {
    case kIsPlane:
      return h;
    case kIsSphere:
      return q.norm() - n.first;
    case kIsCylinder:
      return rho - n.first;
    case kIsCone:
      return rho * std::cos(n.first) - std::abs(h) * std::sin(n.first);
    default:
      return std::hypot(rho - n.first, h) - n.second;
  }
}

/// The numbers moved by x along everything that is free.
Numbers Moved(Shape shape, Numbers n, const Eigen::Matrix<Real, Eigen::Dynamic, 1>& x) {
  const Vector side = n.axis.unitOrthogonal();
  n.point += x.head<3>();
  int next = 3;
  if (shape != kIsPlane) n.first += x[next++];
  if (shape == kIsTorus) n.second += x[next++];
  if (shape != kIsSphere) n.axis += x[next] * side + x[next + 1] * n.axis.cross(side);
  return n;
}

/// The largest change of a number by the next Gauss-Newton step, taken as the shortest of all least-squares
/// solutions.
Real NextStep(Shape shape, const Numbers& n, const Points& points) {
  constexpr int kParameters[] = {5, 4, 6, 6, 7};
  constexpr Real kDelta = 1e-7L;
  const int parameters = kParameters[shape];
  const auto m = static_cast<Eigen::Index>(points.size());
  Jacobian jacobian(m, parameters);
  Eigen::Matrix<Real, Eigen::Dynamic, 1> f(m), x(parameters);
  for (Eigen::Index i = 0; i < m; ++i) {
    const Vector p = points[static_cast<std::size_t>(i)].cast<Real>();
    f[i] = Distance(shape, n, p);
    for (int j = 0; j < parameters; ++j) {
      x.setZero();
      x[j] = kDelta;
      const Real ahead = Distance(shape, Moved(shape, n, x), p);
      x[j] = -kDelta;
      jacobian(i, j) = (ahead - Distance(shape, Moved(shape, n, x), p)) / (2 * kDelta);
    }
  }
  // The square matrix has the singular values of the tall one, squared.
  const Jacobian normal = jacobian.transpose() * jacobian;
  Eigen::JacobiSVD<Jacobian> svd(normal, Eigen::ComputeFullU | Eigen::ComputeFullV);
  svd.setThreshold(1e-14L);
  return svd.solve(jacobian.transpose() * f).cwiseAbs().maxCoeff();
}

std::unique_ptr<OutputSurface> Make(Shape shape, const Numbers& n) {
  const Vector3d point = n.point.cast<double>(), axis = n.axis.normalized().cast<double>();
  const auto first = static_cast<double>(n.first), second = static_cast<double>(n.second);
  switch (shape) {
    case kIsPlane:
      return std::make_unique<OutputPlane>(point, axis);
    case kIsSphere:
      return std::make_unique<OutputSphere>(point, first);
    case kIsCylinder:
      return std::make_unique<OutputCylinder>(point, first, axis);
    case kIsCone:
      return std::make_unique<OutputCone>(point, first, axis);
    default:
      return std::make_unique<OutputTorus>(point, first, second, axis);
  }
}

Numbers Read(const OutputShape& shape) {
  Numbers n;
  const auto take = [&](const Vector3d& point, double first, double second, const Vector3d& axis) {
    n = {point.cast<Real>(), first, second, axis.cast<Real>()};
  };
  if (const auto* plane = dynamic_cast<const OutputPlane*>(&shape))
    take(plane->Center(), 0, 0, plane->Normal());
  if (const auto* s = dynamic_cast<const OutputSphere*>(&shape)) take(s->Center(), s->Radius(), 0, {0, 0, 1});
  if (const auto* c = dynamic_cast<const OutputCylinder*>(&shape))
    take(c->Center(), c->Radius(), 0, c->Axis());
  if (const auto* c = dynamic_cast<const OutputCone*>(&shape)) take(c->Apex(), c->Angle(), 0, c->Axis());
  if (const auto* t = dynamic_cast<const OutputTorus*>(&shape))
    take(t->Center(), t->MajorRadius(), t->MinorRadius(), t->Axis());
  return n;
}

std::unique_ptr<OutputShape> Refined(Shape shape, const Points& points, const OutputShape& start) {
  constexpr double kTolerance = 0.006;
  const auto refine = [&]<class Optimizer>(const Optimizer* none) {
    static_cast<void>(none);
    return std::unique_ptr<OutputShape>(
        Optimizer(kTolerance, false, nullptr)
            .Optimize(static_cast<int>(points.size()), points.data(), &start));
  };
  switch (shape) {
    case kIsPlane:
      return refine(static_cast<PlaneOptimizer*>(nullptr));
    case kIsSphere:
      return refine(static_cast<SphereOptimizer*>(nullptr));
    case kIsCylinder:
      return refine(static_cast<CylinderOptimizer*>(nullptr));
    case kIsCone:
      return refine(static_cast<ConeOptimizer*>(nullptr));
    default:
      return refine(static_cast<TorusOptimizer*>(nullptr));
  }
}

TEST(NativeEngine, EndsAtTheOptimum) {
  const ScopedTrustRegion engine(TrustRegionKind::kNative);
  const struct {
    const char* name;
    Shape shape;
    Real first, second;
    Range u, v;  ///< the part that is seen, in the parameters of Eval
  } kRows[] = {
      {"plane", kIsPlane, 0, 0, {-1, 1}, {-1, 1}},
      {"sphere", kIsSphere, 0.5L, 0, {-1.5, 1.5}, {0, 6.2}},
      {"cap of a sphere", kIsSphere, 0.5L, 0, {1.1, 1.5}, {0, 6.2}},
      {"cylinder", kIsCylinder, 0.5L, 0, {0, 6.2}, {-1, 1}},
      {"cylinder over 60 degrees", kIsCylinder, 0.5L, 0, {0, 1.05}, {-1, 1}},
      {"cylinder over 20 degrees", kIsCylinder, 1, 0, {0, 0.35}, {-1, 1}},
      {"cone", kIsCone, 0.4L, 0, {0, 6.2}, {0.5, 2}},
      {"cone far from its apex", kIsCone, 0.05L, 0, {0, 6.2}, {19, 20}},
      {"cone over 90 degrees", kIsCone, 0.4L, 0, {0, 1.57}, {0.5, 2}},
      {"torus", kIsTorus, 1, 0.3L, {0, 6.2}, {0, 6.2}},
      {"elbow, half of the tube", kIsTorus, 0.5L, 0.1L, {0, 1.57}, {-1.57, 1.57}},
      {"elbow of 30 degrees", kIsTorus, 0.5L, 0.1L, {0, 0.52}, {-1.57, 1.57}},
  };
  for (const auto& row : kRows) {
    for (const double noise : {0.0, 0.0005, 0.002, 0.005}) {
      for (const int n : {200, 3000}) {
        Random random(static_cast<std::uint64_t>(n));
        Numbers truth{random.InCube(1).cast<Real>(), row.first, row.second, random.Direction().cast<Real>()};
        const auto surface = Make(row.shape, truth);
        Points points;
        for (int i = 0; i < n; ++i) {
          const Vector3d p = surface->Eval(random.Uniform(row.u), random.Uniform(row.v));
          points.push_back(p + random.Gauss(noise) * surface->EvalNormal(p));
        }
        Numbers start = truth;
        start.point += random.InCube(0.003).cast<Real>();
        start.first *= 1.005L;
        start.second *= 0.995L;
        start.axis += random.InCube(0.003).cast<Real>();
        const auto result = Refined(row.shape, points, *Make(row.shape, start));
        ASSERT_TRUE(result) << row.name;
        EXPECT_LE(static_cast<double>(NextStep(row.shape, Read(*result), points)), 1e-9)
            << row.name << ", noise " << noise << ", " << n << " points";
      }
    }
  }
}

/// The shape of a draw of a search is all that a draw takes from the heap.
TEST(NativeEngine, AllocatesOnlyTheRefinedShape) {
  const ScopedTrustRegion engine(TrustRegionKind::kNative);
  for (const Shape shape : {kIsPlane, kIsSphere, kIsCylinder, kIsCone, kIsTorus}) {
    const Numbers truth{{0.1L, 0.2L, 0.3L}, 0.5L, 0.2L, Vector(1, 2, 2) / 3};
    const auto surface = Make(shape, truth);
    for (const int n : {13, 5000}) {
      Random random(static_cast<std::uint64_t>(shape));
      Points points;
      for (int i = 0; i < n; ++i) {
        const Vector3d p = surface->Eval(random.Uniform(0, 6), random.Uniform(0.5, 1.5));
        points.push_back(p + random.Gauss(0.002) * surface->EvalNormal(p));
      }
      const int before = allocations;
      const auto result = Refined(shape, points, *surface);
      ASSERT_TRUE(result);
      EXPECT_EQ(allocations - before, 1) << "shape " << shape << ", " << n << " points";
    }
  }
}

}  // namespace
}  // namespace primfit::testing
