// The search for the pipes that a bend may join: cylinders that stand out, one after the other.
//
// It works on the sample of the scene and with draws of its own, since the search for the bend itself may
// have used up those of the fit. Each pipe that is found takes its points away for the next one.
#ifndef PRIMFIT_SRC_ADAPTIVE_JOINTS_PIPE_SEARCH_H_
#define PRIMFIT_SRC_ADAPTIVE_JOINTS_PIPE_SEARCH_H_

#include <optional>

#include "adaptive/joints/elbow_starts.h"
#include "adaptive/model/budget.h"
#include "adaptive/scene/dice.h"
#include "adaptive/scene/sample.h"
#include "primfit/fit.h"

namespace primfit::adaptive {

/// What is looked for; lengths in the unit of the scene.
struct PipeSearchTask {
  SizeRange radius;
  double least = 0;  ///< bounds of inliers that a score may choose from
  double most = 0;
  bool isNoiseKnown = false;
  double confidence = 0.99;
};

/// The cylinder that stands out most among points that are still free.
/// @param sample  its free points are searched; is left as it was
/// @param free    loses the points of the cylinder
/// @return none where none does
std::optional<FoundPipe> FindPipe(const PipeSearchTask& task, Sample& sample, FreePoints& free, Dice& dice,
                                  Budget& budget);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_JOINTS_PIPE_SEARCH_H_
