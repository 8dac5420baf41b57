// One shape of so few points that a search cannot tell it from chance.
//
// A search looks for some points among others, and of ten points nearly any choice fits some shape. That all
// of them lie on one shape is something else: it is no choice, so it can be told from chance where the points
// are a few more than the shape needs and their noise is small against their spread.
#ifndef PRIMFIT_SRC_ADAPTIVE_FIT_FEW_POINTS_H_
#define PRIMFIT_SRC_ADAPTIVE_FIT_FEW_POINTS_H_

#include <cstddef>
#include <optional>

#include "adaptive/converge/converge.h"
#include "adaptive/fit_tasks.h"
#include "adaptive/model/budget.h"
#include "adaptive/outcome.h"
#include "adaptive/scene/scene.h"
#include "primfit/fit.h"

namespace primfit::adaptive {

/// Whether points are so few that what a search finds among them may be chance.
bool AreFew(std::size_t points);

/// The least-squares shape of all points, never called good: nothing tells a stray one among them.
/// @param found  what a search has found of the points
/// @return none where that has all the points or is more improbable by chance than that all of them lie on
///     one shape; where they may lie on it by chance; or where the noise or tolerance told says no
std::optional<Outcome> FitFewPoints(ShapeKind kind, const std::optional<Converged>& found, Scene& scene,
                                    const FitOptionsBase& options, const Start& start, Budget& budget);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_FIT_FEW_POINTS_H_
