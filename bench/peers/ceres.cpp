// Non-linear least squares of Ceres, a residual block with automatic derivatives for each point.
#include <ceres/ceres.h>

#include <cmath>

#include "peers.h"
#include "primfit/primfit.h"

namespace primfit::bench {

namespace {

struct SphereResidual {
  Eigen::Vector3d p;
  template <class T>
  bool operator()(const T* x, T* residual) const {
    const T a = p.x() - x[0], b = p.y() - x[1], c = p.z() - x[2];
    residual[0] = ceres::sqrt(a * a + b * b + c * c) - x[3];
    return true;
  }
};

/// A point of the axis, its direction, the radius.
struct CylinderResidual {
  Eigen::Vector3d p;
  template <class T>
  bool operator()(const T* x, T* residual) const {
    const Eigen::Matrix<T, 3, 1> v(p.x() - x[0], p.y() - x[1], p.z() - x[2]), d(x[3], x[4], x[5]);
    residual[0] = v.cross(d).norm() / d.norm() - x[6];
    return true;
  }
};

template <class Residual, int kParameters>
void Solve(const Points& points, double* x) {
  ceres::Problem problem;
  for (const Eigen::Vector3d& p : points) {
    problem.AddResidualBlock(new ceres::AutoDiffCostFunction<Residual, 1, kParameters>(new Residual{p}),
                             nullptr, x);
  }
  ceres::Solver::Options options;
  options.linear_solver_type = ceres::DENSE_NORMAL_CHOLESKY;
  ceres::Solver::Summary summary;
  ceres::Solve(options, &problem, &summary);
}

}  // namespace

std::unique_ptr<OutputShape> RefineByCeres(std::string_view primitive, const Points& points,
                                           const OutputShape& start) {
  if (primitive == "sphere") {
    const auto& s = dynamic_cast<const OutputSphere&>(start);
    double x[4] = {s.Center().x(), s.Center().y(), s.Center().z(), s.Radius()};
    Solve<SphereResidual, 4>(points, x);
    return std::make_unique<OutputSphere>(Eigen::Vector3d(x[0], x[1], x[2]), x[3]);
  }
  const auto& s = dynamic_cast<const OutputCylinder&>(start);
  const Eigen::Vector3d c = s.Center(), d = s.Axis();
  double x[7] = {c.x(), c.y(), c.z(), d.x(), d.y(), d.z(), s.Radius()};
  Solve<CylinderResidual, 7>(points, x);
  return std::make_unique<OutputCylinder>(Eigen::Vector3d(x[0], x[1], x[2]), x[6],
                                          Eigen::Vector3d(x[3], x[4], x[5]).normalized());
}

}  // namespace primfit::bench
