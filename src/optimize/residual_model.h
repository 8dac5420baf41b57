#ifndef PRIMFIT_SRC_OPTIMIZE_RESIDUAL_MODEL_H_
#define PRIMFIT_SRC_OPTIMIZE_RESIDUAL_MODEL_H_

#include <Eigen/Core>
#include <algorithm>
#include <array>

#include "optimize/directions.h"
#include "optimize/held.h"
#include "optimize/tr_least_squares.h"

namespace primfit {

/// What the residual models share: a parameter vector made of groups (kSizes, in order), each of which can be
/// held and is then left out while the following groups move forward; and the loop over the points.
///
/// A model `Derived` offers At(x), the shape at the free parameters x as a function of a point that returns
/// the signed deviation e. The residual of a point is e / sqrt(m), so that the sum of squares is the mean of
/// e^2.
template <class Derived, int... kSizes>
class ResidualModel : public TRLeastSquares {
 public:
  static constexpr int kParameters = (kSizes + ...);

  /// @param points  `count` pointers to points; the array and the points outlive the model
  ResidualModel(int count, const Eigen::Vector3d* const* points, double tolerance)
      : TRLeastSquares(kParameters, count, tolerance, kIterations, kIterations), points_(points) {
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
    for (int i = 0; i < *m; ++i) f[i] = deviation(*self.points_[i]) / scale;
  }

  const Eigen::Vector3d* const* points_;
  std::array<bool, kGroups> held_{};
  Eigen::Matrix3d frame_ = Eigen::Matrix3d::Identity();
};

}  // namespace primfit

#endif  // PRIMFIT_SRC_OPTIMIZE_RESIDUAL_MODEL_H_
