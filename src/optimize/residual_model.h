#ifndef PRIMFIT_SRC_OPTIMIZE_RESIDUAL_MODEL_H_
#define PRIMFIT_SRC_OPTIMIZE_RESIDUAL_MODEL_H_

#include <Eigen/Core>
#include <algorithm>
#include <array>
#include <cmath>

#include "optimize/directions.h"
#include "optimize/held.h"
#include "optimize/tr_least_squares.h"

namespace primfit {

/// What a group of parameters moves.
enum class Moves {
  kCenter,  ///< the centre, along x, y and, of three, z
  kOffset,  ///< the centre along the axis
  kMajor,
  kMinor,
  kAngles,  ///< azimuth and elevation of the axis
  kTurn,    ///< the axis within the x-y plane
  kOwn,     ///< what the model's own SetMotions says
};

/// What the residual models share: a parameter vector made of groups (kSizes, in order), each of which can be
/// held and is then left out while the following groups move forward; and the loop over the points.
///
/// A model `Derived` offers At(x), the shape at the free parameters x as a function of a point that returns
/// the signed deviation e; Local(x), the same shape for the pass that sums up; and kMoves, what each group
/// moves. The residual of a point is e / sqrt(m), so that the sum of squares is the mean of e^2.
template <class Derived, int... kSizes>
class ResidualModel : public TRLeastSquares {
 public:
  static constexpr int kParameters = (kSizes + ...);

  /// @param points  `count` pointers to points; the array and the points outlive the model
  ResidualModel(int count, const Eigen::Vector3d* const* points, double tolerance)
      : ResidualModel(PointRefs{count, nullptr, points}, tolerance) {}
  /// @param points  outlive the model
  ResidualModel(const PointRefs& points, double tolerance)
      : TRLeastSquares(kParameters, points.count, tolerance, kIterations, kIterations, true),
        points_(points) {
    SetResidualFunction(&Residuals);
  }

  /// A fixed rotation between the angles of free directions and space: direction = frame * d(a, b).
  void SetDirectionFrame(const Eigen::Matrix3d& frame) { frame_ = frame; }

  /// The free groups of a full parameter vector, moved forward.
  std::array<double, kParameters> Pack(const std::array<double, kParameters>& full) const {
    std::array<double, kParameters> packed{};
    auto to = packed.begin();
    auto from = full.begin();
    for (int group = 0; group < kGroups; ++group) {
      if (!held_[group]) to = std::copy_n(from, kSize[group], to);
      from += kSize[group];
    }
    return packed;
  }

 protected:
  template <class T>
  void Hold(int group, std::optional<T>& part, const T& value) {
    part = value;
    if (held_[group]) return;
    held_[group] = true;
    RemoveParameters(kSize[group]);
  }

  double Number(const double* x, int group, const HeldNumber& part) const {
    return part ? *part : *Free(x, group);
  }
  Eigen::Vector3d Point(const double* x, int group, const HeldVector& part) const {
    return part ? *part : Eigen::Vector3d(Free(x, group));
  }
  Eigen::Vector3d Direction(const double* x, int group, const HeldVector& part) const {
    if (part) return *part;
    const double* angles = Free(x, group);
    return frame_ * AnglesToAxis(angles[0], angles[1]);
  }
  /// The parameters of a free group.
  const double* Free(const double* x, int group) const {
    for (int before = 0; before < group; ++before) x += held_[before] ? 0 : kSize[before];
    return x;
  }

 private:
  static constexpr int kIterations = 20;
  static constexpr int kGroups = sizeof...(kSizes);
  static constexpr std::array<int, kGroups> kSize{kSizes...};

  static void Residuals(int* m, int*, double* x, double* f, void* model) {
    const auto& self = static_cast<const Derived&>(*static_cast<const TRLeastSquares*>(model));
    const auto deviation = self.At(x);
    const double scale = self.ResidualScale();
    for (int i = 0; i < *m; ++i) f[i] = deviation(self.points_[i]) / scale;
  }

  bool SumUp(const double* x, NormalEquations& sums) const final {
    const auto& self = static_cast<const Derived&>(*this);
    const LocalShape shape = WithFrame(self.Local(x));
    // The columns of a shape with an axis are those of a unit axis; a held one may be another.
    if (shape.kind != LocalShape::Kind::kPlane && !(std::abs(shape.axis.squaredNorm() - 1) < 1e-12))
      return false;
    Motion motions[kParameters];
    const int n = self.SetMotions(x, shape, motions);
    sums = primfit::SumUp(shape, motions, n, points_);
    self.ShareLevers(sums);
    return true;
  }

  /// The motions of the free parameters; returns their number.
  int SetMotions(const double* x, const LocalShape& shape, Motion* motions) const {
    Motion* next = motions;
    for (int group = 0; group < kGroups; ++group) {
      if (held_[group]) continue;
      const double* at = Free(x, group);
      switch (Derived::kMoves[group]) {
        case Moves::kCenter:
          for (int i = 0; i < kSize[group]; ++i) next[i].center = Eigen::Vector3d::Unit(i);
          break;
        case Moves::kOffset:
          next->center = shape.axis;
          break;
        case Moves::kMajor:
          next->major = 1;
          break;
        case Moves::kMinor:
          next->minor = 1;
          break;
        case Moves::kAngles: {
          const AxisMotions motion(at[0], at[1]);
          next[0].axis = frame_ * motion.byAzimuth;
          next[1].axis = frame_ * motion.byElevation;
          break;
        }
        case Moves::kTurn:
          next->axis = {-shape.axis.y(), shape.axis.x(), 0};
          break;
        case Moves::kOwn:
          break;
      }
      next += kSize[group];
    }
    return static_cast<int>(next - motions);
  }

  /// Coordinates of one point get one lever, so that which of them a degenerate direction lies along does not
  /// depend on the shape's pose.
  void ShareLevers(NormalEquations& sums) const {
    double* lever = sums.lever;
    for (int group = 0; group < kGroups; ++group) {
      if (held_[group]) continue;
      Eigen::Map<Eigen::VectorXd> levers(lever, kSize[group]);
      if (Derived::kMoves[group] == Moves::kCenter) levers.setConstant(levers.norm());
      lever += kSize[group];
    }
  }

  PointRefs points_;
  std::array<bool, kGroups> held_{};
  Eigen::Matrix3d frame_ = Eigen::Matrix3d::Identity();
};

}  // namespace primfit

#endif  // PRIMFIT_SRC_OPTIMIZE_RESIDUAL_MODEL_H_
