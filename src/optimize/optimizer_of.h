#ifndef PRIMFIT_SRC_OPTIMIZE_OPTIMIZER_OF_H_
#define PRIMFIT_SRC_OPTIMIZE_OPTIMIZER_OF_H_

#include <array>

#include "optimize/directions.h"
#include "optimize/screen_samples.h"
#include "optimize/tr_optimizer.h"

namespace primfit {

/// Where a refinement starts: the full parameter vector (groups that are held are left out later), the
/// direction that its angles describe, and the shape against which points are screened.
template <class Shape, class Model>
struct RefinementStart {
  std::array<double, Model::kParameters> x;
  Eigen::Matrix3d frame;
  Shape screening;
};

/// The angles of direction d in its own equator frame, where no azimuth is lost at a pole.
struct StartDirection {
  explicit StartDirection(const Eigen::Vector3d& d) : frame(EquatorFrame(d)) {
    AxisToAngles(frame.transpose() * d, azimuth, elevation);
  }
  Eigen::Matrix3d frame;
  double azimuth = 0;
  double elevation = 0;
};

/// The refinement that all optimizers share. `Derived` offers Refine(shape, points), which states its
/// start, calls Solve and rebuilds the shape, and HoldParts(model).
template <class Derived, class Shape, class Model>
class OptimizerOf : public TROptimizer {
 public:
  using TROptimizer::TROptimizer;

  OutputShape* Optimize(int n, const Eigen::Vector3d* points, const OutputShape* start) const final {
    const auto* shape = dynamic_cast<const Shape*>(start != nullptr ? start : StartShape());
    if (shape == nullptr || n < 1 || points == nullptr) return nullptr;
    return Self().Refine(*shape, {n, points});
  }

 protected:
  using Start = RefinementStart<Shape, Model>;

  /// Screens, solves and hands the solved model to `rebuild`, which returns the new shape; null when there is
  /// none.
  /// @param extra  further arguments of the model's constructor
  template <class Rebuild, class... Extra>
  OutputShape* Solve(const Start& start, const PointRefs& points, const Rebuild& rebuild,
                     const Extra&... extra) const {
    PointRefs used = points;
    Scratch<const Eigen::Vector3d*> kept;
    if (Screen() && points.count > kLargestUnscreened) {
      const int count = KeepBest(points, start.screening, kept);
      used = {count, nullptr, kept.data(), points.plane};
    }
    Model model(used, Tolerance(), extra...);
    model.SetDirectionFrame(start.frame);
    Self().HoldParts(model);
    if (!model.Initialize(model.Pack(start.x).data()) || !model.Solve()) return nullptr;
    return rebuild(model);
  }

 private:
  const Derived& Self() const { return static_cast<const Derived&>(*this); }
};

}  // namespace primfit

#endif  // PRIMFIT_SRC_OPTIMIZE_OPTIMIZER_OF_H_
