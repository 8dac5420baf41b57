// One pass over the points of a refinement. A least-squares step needs J^T J, J^T f and f^T f of residuals f
// with Jacobian J. The gradient of a shape's distance is a combination of a few columns that depend on the
// point and the shape, but not on what the parameters are. So the pass adds up the inner products of these
// columns, a matrix of at most 8 x 8, and normal_equations.h turns them into those of the parameters. No row
// for each point is ever stored, and a point costs a few dozen multiplications.
#ifndef PRIMFIT_SRC_OPTIMIZE_KERNELS_GRAM_H_
#define PRIMFIT_SRC_OPTIMIZE_KERNELS_GRAM_H_

#include <Eigen/Core>

namespace primfit {

/// A plane onto which points are projected: p becomes (x, y, 0), its coordinates along u and w from the
/// origin.
struct PlaneFrame {
  Eigen::Vector3d origin, u, w;
  Eigen::Vector3d operator()(const Eigen::Vector3d& p) const {
    const Eigen::Vector3d v = p - origin;
    return {u.dot(v), w.dot(v), 0};
  }
};

/// The points of a refinement: an array of points, or an array of pointers to points; as they are, or
/// projected onto a plane. Points that are not projected may have weights: factors of their squared
/// residuals.
struct PointRefs {
  int count = 0;
  const Eigen::Vector3d* rows = nullptr;
  const Eigen::Vector3d* const* pointers = nullptr;  ///< where there are no rows
  const PlaneFrame* plane = nullptr;
  const double* sqrtWeights = nullptr;  ///< square roots of the weights; null where these are all 1
  const Eigen::Vector3d& InSpace(int i) const {
    return rows != nullptr ? rows[i]
                           : *pointers[i];  // NOLINT(clang-analyzer-core.NullDereference): one is there
  }
  Eigen::Vector3d operator[](int i) const { return plane != nullptr ? (*plane)(InSpace(i)) : InSpace(i); }
};

/// The parameters of a shape, and the frame in which the pass measures against it. In cylinder coordinates
/// about the axis a point has distance rho, direction (c, s) = (cos, sin) along u and w, and height h. For
/// each kind: the signed orthogonal distance e of a point, and the columns of which its gradient by any
/// parameter is a combination, with q the point less the centre:
///
///   line       e = u . q                                   1, h
///   plane      e = axis . q                                q (3), 1
///   sphere     e = |q| - minor                             q / |q| (3), 1
///   cylinder   e = rho - minor                             c, s, h c, h s, 1
///   cone       e = rho cos - |h| sin of the half-angle     c, s, sgn h, c T, s T, A
///   torus      e = tau - minor, tau = |(rho - major, h)|   a c, a s, b, b c, b s, a, 1
///
/// with T = h cos + sgn h rho sin, A = rho sin + |h| cos, and (a, b) = (rho - major, h) / tau. A line in
/// space has a second distance, w . q: the two together make its distance. (A line within a plane is a plane
/// seen from above, and a circle within a plane a sphere.)
struct ShapeParameters {
  enum class Kind { kLine, kPlane, kSphere, kCylinder, kCone, kTorus };
  static constexpr int kGramStride = 8;  ///< room for the columns of a torus, which has most, and e

  Kind kind = Kind::kPlane;
  Eigen::Vector3d center = Eigen::Vector3d::Zero();
  Eigen::Vector3d axis = Eigen::Vector3d::UnitZ();  ///< of unit length but for a plane
  double major = 0;
  double minor = 0;                              ///< the only radius, or a cone's half-angle, radians
  Eigen::Vector3d u = Eigen::Vector3d::UnitX();  ///< perpendicular to w and the axis, as w is
  Eigen::Vector3d w = Eigen::Vector3d::UnitY();
  double sine = 0;  ///< of a cone's half-angle, as cosine is
  double cosine = 1;
};

/// The Gram matrix of the points: the inner products, over the points, of the columns and last the distance
/// (of a line both distances). It is symmetric and has as many rows as that; the rest of its kGramStride rows
/// and columns is zero. Sums run in a fixed order of blocks and of eight partial sums, the same on every
/// processor.
void AccumulateGram(const ShapeParameters& shape, const PointRefs& points, double* gram);

}  // namespace primfit

#endif  // PRIMFIT_SRC_OPTIMIZE_KERNELS_GRAM_H_
