// The whole way from points to an unbounded shape.
#ifndef PRIMFIT_SRC_ADAPTIVE_FIND_SHAPE_H_
#define PRIMFIT_SRC_ADAPTIVE_FIND_SHAPE_H_

#include <optional>

#include "adaptive/converge/converge.h"
#include "adaptive/model/model.h"
#include "adaptive/scene/frame.h"
#include "primfit/fit.h"

namespace primfit::adaptive {

/// Everything that a fit gives but the record, in the frame of its points.
struct Outcome {
  Model model;
  Converged converged;
  FitCovariance covariance;
  FitReport report;
};

/// Parts that constraints hold, and their values as a model in the frame of the points.
struct Given {
  unsigned held = 0;
  std::optional<Model> model;
};

/// @throws FitError as primfit::fit says
Outcome FindShape(Form form, const Frame& frame, const FitOptionsBase& options, const Given& given,
                  Budget& budget);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_FIND_SHAPE_H_
