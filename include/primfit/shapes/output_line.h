#ifndef PRIMFIT_SHAPES_OUTPUT_LINE_H_
#define PRIMFIT_SHAPES_OUTPUT_LINE_H_

#include "primfit/shapes/output_shape.h"

/// An infinite line. Similarity is |d . d'|; close means a squared distance of at most t^2.
class PRIMFIT_API OutputLine : public OutputCurve {
 public:
  OutputLine() = default;
  OutputLine(const OutputLine&) = default;
  /// @param direction, normal  normalised; a zero vector stays zero
  OutputLine(const Eigen::Vector3d& root, const Eigen::Vector3d& direction, const Eigen::Vector3d& normal);
  /// The normal is the unit orthogonal of the direction.
  OutputLine(const Eigen::Vector3d& root, const Eigen::Vector3d& direction);
  OutputLine& operator=(const OutputLine&) = default;

  Eigen::Vector3d Root() const { return root_; }            ///< the point at parameter 0
  Eigen::Vector3d Direction() const { return direction_; }  ///< unit vector
  Eigen::Vector3d Normal() const { return normal_; }        ///< unit vector perpendicular to the direction

  double Distance(const Eigen::Vector3d& p) const override;
  double Similarity(const OutputShape* other) const override;
  void Printout(std::FILE* f) const override;
  Eigen::Vector3d ClosestPoint(const Eigen::Vector3d& p) const override;
  Eigen::Vector3d EvalNormal(const Eigen::Vector3d& p) const override;
  void SetDistSqrdThreshod(double t) override;
  bool IsClosePoint(const Eigen::Vector3d& p) override;
  Eigen::Vector3d Eval(double t) const override;

 private:
  Eigen::Vector3d root_ = Eigen::Vector3d::Zero();
  Eigen::Vector3d direction_ = Eigen::Vector3d::Zero();
  Eigen::Vector3d normal_ = Eigen::Vector3d::Zero();
};

#endif  // PRIMFIT_SHAPES_OUTPUT_LINE_H_
