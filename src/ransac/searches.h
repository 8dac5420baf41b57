// The searches of the primitives: each an estimator and the number of points that it needs.
#ifndef PRIMFIT_SRC_RANSAC_SEARCHES_H_
#define PRIMFIT_SRC_RANSAC_SEARCHES_H_

#include <memory>

#include "estimators/cone_fit.h"
#include "estimators/cylinder_fit.h"
#include "estimators/line_circle_fit.h"
#include "estimators/plane_fit.h"
#include "estimators/sphere_fit.h"
#include "estimators/torus_fit.h"
#include "optimize/half_angle.h"
#include "primfit/shapes/output_cone.h"
#include "ransac/search_of.h"

class RansacLine final : public primfit::SearchOf<&EstimateLine, 2, primfit::names::kLine> {
 public:
  using SearchOf::SearchOf;
};

class RansacCircle final : public primfit::SearchOf<&EstimateCircle, 3, primfit::names::kArc> {
 public:
  using SearchOf::SearchOf;
};

class RansacPlane final
    : public primfit::SearchOf<&primfit::EstimateBy<PlaneFit>, 3, primfit::names::kPlane> {
 public:
  using SearchOf::SearchOf;
};

class RansacSphere final
    : public primfit::SearchOf<&primfit::EstimateBy<SphereFit>, 4, primfit::names::kSphere> {
 public:
  using SearchOf::SearchOf;
};

class RansacCylinder final
    : public primfit::SearchOf<&primfit::EstimateBy<CylinderFit>, 6, primfit::names::kCylinder> {
 public:
  using SearchOf::SearchOf;
};

class RansacCone final : public primfit::SearchOf<&primfit::EstimateBy<ConeFit>, 6, primfit::names::kCone> {
 public:
  using SearchOf::SearchOf;

  /// The estimator makes a cone of half-angle 0 or a right angle of points that lie on a line or plane. A
  /// refinement may start there; as a candidate of its own it is no cone.
  OutputShape* MakeShape(int k, const int* indices, const Eigen::Vector3d* samplePoints) override {
    std::unique_ptr<OutputShape> shape(SearchOf::MakeShape(k, indices, samplePoints));
    const bool estimated = shape && Optimizer() == nullptr;
    if (estimated && !primfit::IsHalfAngle(static_cast<const OutputCone&>(*shape).Angle())) return nullptr;
    return shape.release();
  }
};

/// Fewer than 13 points never determine a torus, so a smaller sample is raised to 13: the defaults of an arc,
/// samples of 3, would find none.
class RansacTorus final
    : public primfit::SearchOf<&primfit::EstimateBy<TorusFit>, 15, primfit::names::kTorus, 13> {
 public:
  using SearchOf::SearchOf;
};

#endif  // PRIMFIT_SRC_RANSAC_SEARCHES_H_
