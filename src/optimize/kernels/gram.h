// One pass over the points of a refinement: all that a least-squares step needs to know of them, summed up,
// so that no Jacobian with a row for each point is ever stored.
#ifndef PRIMFIT_SRC_OPTIMIZE_KERNELS_GRAM_H_
#define PRIMFIT_SRC_OPTIMIZE_KERNELS_GRAM_H_

#include <Eigen/Core>

namespace primfit {

/// A plane, in which points are seen along its normal: as (x, y, 0).
struct PlaneFrame {
  Eigen::Vector3d origin, u, w;
  Eigen::Vector3d operator()(const Eigen::Vector3d& p) const {
    const Eigen::Vector3d v = p - origin;
    return {u.dot(v), w.dot(v), 0};
  }
};

/// The points of a refinement: rows one after the other, or an array of pointers to points; as they are, or
/// as seen in a plane. Points in space may have weights, which their residuals' squares are multiplied by.
struct PointRefs {
  int count = 0;
  const Eigen::Vector3d* rows = nullptr;
  const Eigen::Vector3d* const* pointers = nullptr;  ///< where there are no rows
  const PlaneFrame* plane = nullptr;
  const double* roots = nullptr;  ///< square roots of the weights, all 1 where there are none
  const Eigen::Vector3d& InSpace(int i) const {
    return rows != nullptr ? rows[i]
                           : *pointers[i];  // NOLINT(clang-analyzer-core.NullDereference): one is there
  }
  Eigen::Vector3d operator[](int i) const { return plane != nullptr ? (*plane)(InSpace(i)) : InSpace(i); }
};

/// A shape as the pass sees it. In cylinder coordinates about its axis a point has distance rho, direction
/// (cos, sin) = (c, s) along u and w, and height h. The gradient of its deviation e is a combination of
/// columns that depend on the point alone:
///
///   line       e = u . q                                   1, h
///   plane      e = axis . q                                q (3), 1
///   sphere     e = |q| - minor                             q / |q| (3), 1
///   cylinder   e = rho - minor                             c, s, h c, h s, 1
///   cone       e = rho cos - |h| sin of the half-angle     c, s, sgn h, c T, s T, A
///   torus      e = tau - minor, tau = |(rho - major, h)|   a c, a s, b, b c, b s, a, 1
///
/// (and for a line the deviation w . q as well, which makes its distance) with q the point less the centre, T
/// = h cos + sgn h rho sin, A = rho sin + |h| cos, and (a, b) = (rho - major, h) / tau.
struct LocalShape {
  enum class Kind { kLine, kPlane, kSphere, kCylinder, kCone, kTorus };
  static constexpr int kGramStride = 8;  ///< most columns and the deviation

  Kind kind = Kind::kPlane;
  Eigen::Vector3d center = Eigen::Vector3d::Zero();
  Eigen::Vector3d axis = Eigen::Vector3d::UnitZ();  ///< of unit length but for a plane
  double major = 0;
  double minor = 0;                              ///< a cone's half-angle
  Eigen::Vector3d u = Eigen::Vector3d::UnitX();  ///< perpendicular to w and the axis, as w is
  Eigen::Vector3d w = Eigen::Vector3d::UnitY();
  double sine = 0;  ///< of a cone's half-angle, as cosine is
  double cosine = 1;
};

/// Inner products over the points of the columns and, last, the deviation (a line's two): a symmetric matrix
/// with one row more than the shape has columns; the rest of its kGramStride rows and columns is zero. Sums
/// run in a fixed order of blocks and of eight partial sums, the same on every processor.
void AccumulateGram(const LocalShape& shape, const PointRefs& points, double* gram);

}  // namespace primfit

#endif  // PRIMFIT_SRC_OPTIMIZE_KERNELS_GRAM_H_
