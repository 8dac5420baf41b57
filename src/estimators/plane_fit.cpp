// The plane through the reference point whose normal is the direction of least scatter.
#include "estimators/plane_fit.h"

#include "estimators/weighted_plane_fit.h"

OutputPlane* PlaneFit::Solve() {
  double plane[4];
  WeightedPlaneFit(static_cast<unsigned>(count()), points()->data(), sizeof(Eigen::Vector3d), nullptr, 0,
                   plane);
  return new OutputPlane(center(), Eigen::Vector3d(plane[0], plane[1], plane[2]));
}
