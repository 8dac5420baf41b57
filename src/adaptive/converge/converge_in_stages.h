// The convergence of a hypothesis on a cloud of any size: first on some thousand points, then on all.
#ifndef PRIMFIT_SRC_ADAPTIVE_CONVERGE_CONVERGE_IN_STAGES_H_
#define PRIMFIT_SRC_ADAPTIVE_CONVERGE_CONVERGE_IN_STAGES_H_

#include <cstddef>
#include <optional>

#include "adaptive/converge/converge.h"
#include "adaptive/scene/cloud.h"
#include "adaptive/scene/sample.h"

namespace primfit::adaptive {

/// Converges on growing parts of the sample, then on all points. The shape of a part is so near the final one
/// that all points need only a few rounds; each stage takes over one of the rounds with fading weights.
/// @param task    without points, but with the tolerance to start from
/// @param sample  of the cloud
std::optional<Converged> ConvergeInStages(const Model& from, ConvergeTask task, const Sample& sample,
                                          const Cloud& cloud, Budget& budget);

/// Whether a shape is one, and passes what it has to: points that lie anywhere are as dense beyond the
/// tolerance as within; about a curve there is thrice the room.
/// @param beyond        points beyond the tolerance, but not beyond twice of it
/// @param isNoiseKnown  whether the caller has said how coarse it may be
/// @param size          of the cloud
bool StandsOut(const Converged& c, std::size_t beyond, const Plausible& plausible, bool isNoiseKnown,
               double size);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_CONVERGE_CONVERGE_IN_STAGES_H_
