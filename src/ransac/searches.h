// The searches of the primitives.
#ifndef PRIMFIT_SRC_RANSAC_SEARCHES_H_
#define PRIMFIT_SRC_RANSAC_SEARCHES_H_

#include "estimators/plane_fit.h"
#include "ransac/search_of.h"

class RansacPlane final
    : public primfit::SearchOf<&primfit::EstimateBy<PlaneFit>, 3, primfit::names::kPlane> {
 public:
  using SearchOf::SearchOf;
};

#endif  // PRIMFIT_SRC_RANSAC_SEARCHES_H_
