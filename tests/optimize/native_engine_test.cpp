// What the native trust-region engine promises: the least-squares optimum of the points it is given, whatever
// the coverage and the noise, without storing anything for each point.
#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <Eigen/SVD>
#include <memory>
#include <vector>

#include "optimize/optimizers.h"
#include "optimize/surfaces.h"
#include "optimize/trust_region.h"
#include "support/memory.h"
#include "support/scenes.h"

namespace primfit::testing {
namespace {

using Eigen::Vector3d;
using Real = long double;
using Jacobian = Eigen::Matrix<Real, Eigen::Dynamic, Eigen::Dynamic>;

/// The largest change of a number by the next Gauss-Newton step, taken as the shortest of all least-squares
/// solutions.
Real NextStep(KindIndex kind, const Numbers<Real>& n, const Points& points) {
  constexpr Real kDelta = 1e-7L;
  const unsigned parts = PartsOf(kind);
  const int parameters = ParametersOf(parts);
  const auto m = static_cast<Eigen::Index>(points.size());
  Jacobian jacobian(m, parameters);
  Eigen::Matrix<Real, Eigen::Dynamic, 1> f(m), x(parameters);
  for (Eigen::Index i = 0; i < m; ++i) {
    const Numbers<Real>::Vector p = points[static_cast<std::size_t>(i)].cast<Real>();
    f[i] = Deviation(kind, n, p);
    for (int j = 0; j < parameters; ++j) {
      x.setZero();
      x[j] = kDelta;
      const Real ahead = Deviation(kind, Moved(n, parts, x), p);
      x[j] = -kDelta;
      jacobian(i, j) = (ahead - Deviation(kind, Moved(n, parts, x), p)) / (2 * kDelta);
    }
  }
  // The square matrix has the singular values of the tall one, squared.
  const Jacobian normal = jacobian.transpose() * jacobian;
  Eigen::JacobiSVD<Jacobian> svd(normal, Eigen::ComputeFullU | Eigen::ComputeFullV);
  svd.setThreshold(1e-14L);
  return svd.solve(jacobian.transpose() * f).cwiseAbs().maxCoeff();
}

constexpr double kTolerance = 0.006;

Numbers<double> Rounded(const Numbers<Real>& n) {
  return {n.point.cast<double>(), static_cast<double>(n.first), static_cast<double>(n.second),
          n.axis.normalized().cast<double>()};
}

TEST(NativeEngine, EndsAtTheOptimum) {
  const ScopedTrustRegion engine(TrustRegionKind::kNative);
  const struct {
    const char* name;
    KindIndex kind;
    Real first, second;
    Range u, v;  ///< the part that is seen, in the parameters of Eval
  } kRows[] = {
      {"plane", kPlane, 0, 0, {-1, 1}, {-1, 1}},
      {"sphere", kSphere, 0.5L, 0, {-1.5, 1.5}, {0, 6.2}},
      {"cap of a sphere", kSphere, 0.5L, 0, {1.1, 1.5}, {0, 6.2}},
      {"cylinder", kCylinder, 0.5L, 0, {0, 6.2}, {-1, 1}},
      {"cylinder over 60 degrees", kCylinder, 0.5L, 0, {0, 1.05}, {-1, 1}},
      {"cylinder over 20 degrees", kCylinder, 1, 0, {0, 0.35}, {-1, 1}},
      {"cone", kCone, 0.4L, 0, {0, 6.2}, {0.5, 2}},
      {"cone far from its apex", kCone, 0.05L, 0, {0, 6.2}, {19, 20}},
      {"cone over 90 degrees", kCone, 0.4L, 0, {0, 1.57}, {0.5, 2}},
      {"torus", kTorus, 1, 0.3L, {0, 6.2}, {0, 6.2}},
      {"elbow, half of the tube", kTorus, 0.5L, 0.1L, {0, 1.57}, {-1.57, 1.57}},
      {"elbow of 30 degrees", kTorus, 0.5L, 0.1L, {0, 0.52}, {-1.57, 1.57}},
  };
  for (const auto& row : kRows) {
    for (const double noise : {0.0, 0.0005, 0.002, 0.005}) {
      for (const int n : {200, 3000}) {
        Random random(static_cast<std::uint64_t>(n));
        const Numbers<Real> truth{random.InCube(1).cast<Real>(), row.first, row.second,
                                  random.Direction().cast<Real>()};
        const auto surface = Made(row.kind, Rounded(truth));
        Points points;
        for (int i = 0; i < n; ++i) {
          const double u = random.Uniform(row.u);
          const Vector3d p = surface->Eval(u, random.Uniform(row.v));
          points.push_back(p + random.Gauss(noise) * surface->EvalNormal(p));
        }
        const Numbers<Real> start{truth.point + random.InCube(0.003).cast<Real>(), 1.005L * truth.first,
                                  0.995L * truth.second, truth.axis + random.InCube(0.003).cast<Real>()};
        const auto shape = Refined(row.kind, *Made(row.kind, Rounded(start)), points, kTolerance);
        ASSERT_TRUE(shape) << row.name;
        const auto [point, first, second, axis] = NumbersOf(*shape);
        const Numbers<Real> result{point.cast<Real>(), first, second, axis.cast<Real>()};
        EXPECT_LE(static_cast<double>(NextStep(row.kind, result, points)), 2e-9)
            << row.name << ", noise " << noise << ", " << n << " points";
      }
    }
  }
}

/// The shape of a draw of a search is all that a draw takes from the heap.
TEST(NativeEngine, AllocatesOnlyTheRefinedShape) {
  const ScopedTrustRegion engine(TrustRegionKind::kNative);
  for (const KindIndex kind : {kPlane, kSphere, kCylinder, kCone, kTorus}) {
    const auto surface = Made(kind, {{0.1, 0.2, 0.3}, 0.5, 0.2, Vector3d(1, 2, 2) / 3});
    for (const int n : {13, 5000}) {
      Random random(static_cast<std::uint64_t>(kind));
      Points points;
      for (int i = 0; i < n; ++i) {
        const double u = random.Uniform(0, 6);
        const Vector3d p = surface->Eval(u, random.Uniform(0.5, 1.5));
        points.push_back(p + random.Gauss(0.002) * surface->EvalNormal(p));
      }
      const int before = allocations;
      const auto result = Refined(kind, *surface, points, kTolerance);
      ASSERT_TRUE(result);
      EXPECT_EQ(allocations - before, PRIMFIT_COUNTS_MEMORY) << "shape " << kind << ", " << n << " points";
    }
  }
}

}  // namespace
}  // namespace primfit::testing
