#ifndef PRIMFIT_SRC_OPTIMIZE_TR_OPTIMIZER_H_
#define PRIMFIT_SRC_OPTIMIZE_TR_OPTIMIZER_H_

#include <Eigen/Core>

#include "optimize/screen_samples.h"
#include "primfit/shapes/output_shape.h"

/// Refines a start shape against points: screens out the worst, holds what is to be held, and minimises the
/// orthogonal distances. Configured once, then called any number of times, also from several threads:
/// Optimize changes nothing in it.
class TROptimizer {
 public:
  /// @param tolerance  scale of the refinement, in the unit of the points: the scanner's distance error
  /// @param screen     drop the worst fifth of more than 20 points first
  /// @param start      shape to refine when Optimize gets none; not owned, may be null
  TROptimizer(double tolerance, bool screen, const OutputShape* start)
      : tolerance_(tolerance), screen_(screen), start_(start) {}
  TROptimizer(const TROptimizer&) = default;
  TROptimizer& operator=(const TROptimizer&) = delete;
  virtual ~TROptimizer();

  /// @param start  null for the optimizer's own start shape
  /// @return a new shape that the caller owns; null without a start shape of the optimizer's class, when the
  ///     start is too far from the points (100 x tolerance, root mean square), with fewer points than free
  ///     parameters, when the solver fails, or for a result with a free size that no shape has
  /// @throws primfit::FitError "Cannot allocate memmory"
  virtual OutputShape* Optimize(int n, const Eigen::Vector3d* points, const OutputShape* start) const = 0;

  bool HasStartShape() const { return start_ != nullptr; }

 protected:
  double Tolerance() const { return tolerance_; }
  /// The shape that a call of Optimize starts from, in the optimizer's class; null where there is none, or
  /// where there are no points.
  template <class Shape>
  const Shape* StartFor(int n, const Eigen::Vector3d* points, const OutputShape* start) const {
    if (n < 1 || points == nullptr) return nullptr;
    return dynamic_cast<const Shape*>(start != nullptr ? start : start_);
  }
  /// The points that take part: all, or where the optimizer screens those that are left.
  /// @param start  the shape that the points are screened against, in the frame in which they are seen
  primfit::ScreenedPoints Screened(const primfit::PointRefs& points, const OutputShape& start) const {
    return primfit::ScreenedPoints(screen_, points, start);
  }

 private:
  double tolerance_;
  bool screen_;
  const OutputShape* start_;
};

#endif  // PRIMFIT_SRC_OPTIMIZE_TR_OPTIMIZER_H_
