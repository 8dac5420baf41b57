// What each primitive tells the one pipeline of api/fit_pipeline.h: its types, its texts, which parts can be
// held, when the refinement rides along with the search, and the way of a record into the working frame and
// of a shape out of it. Held parts do not go through the frame and back: the record takes the constraint's
// own numbers.
#ifndef PRIMFIT_SRC_API_PRIMITIVES_H_
#define PRIMFIT_SRC_API_PRIMITIVES_H_

#include "api/fit_pipeline.h"
#include "optimize/optimizers.h"
#include "primfit/fit/fit_constraints.h"
#include "primfit/fit/fit_output_params_plane.h"
#include "ransac/searches.h"

namespace primfit {

/// The search is left out only when the caller asks for both: start from the given shape, refine once.
struct SearchUnlessRefinedOnce {
  static bool SkipsSearch(bool skipEstimator, bool optimizeOnce) { return skipEstimator && optimizeOnce; }
};

/// A refinement only where a part is held: the search ends with a least-squares estimate of its own.
struct RefineOnlyHeld {
  static bool RefinesInSearch(int held, double /*scannerError*/) { return held > 0; }
  static bool RefinesAfterSearch(int held) { return held > 0; }
};

struct PlanePrimitive : MessagesOf<names::kPlane>, SearchUnlessRefinedOnce, RefineOnlyHeld {
  using Shape = OutputPlane;
  using Record = FitOutputParamsPlane;
  using Constraints = FitConstraintsPlane;
  using Optimizer = PlaneOptimizer;
  using Search = RansacPlane;
  static constexpr int kFixable = 2;
  static constexpr bool kOwnStart = true;

  static const Record* StartRecord(const Constraints& c) { return c.GetPlane(); }
  static Shape ToShape(const Record& r, const Eigen::Vector3d& origin) {
    return {r.Origin() - origin, r.Normal()};
  }
  static int Hold(const Constraints& c, const Shape& given, Optimizer& optimizer) {
    if (c.OriginFixed()) optimizer.FixOrigin(given.Center());
    if (c.NormalFixed()) optimizer.FixNormal(given.Normal());
    return c.OriginFixed() + c.NormalFixed();
  }
  static Record ToRecord(const Shape& s, const Eigen::Vector3d& origin, const FittedPoints&,
                         const Constraints* holds) {
    const bool originHeld = holds != nullptr && holds->OriginFixed();
    const bool normalHeld = holds != nullptr && holds->NormalFixed();
    return {originHeld ? holds->GetPlane()->Origin() : Eigen::Vector3d(s.Center() + origin),
            normalHeld ? holds->GetPlane()->Normal() : s.Normal()};
  }
};

}  // namespace primfit

#endif  // PRIMFIT_SRC_API_PRIMITIVES_H_
