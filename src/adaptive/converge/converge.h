// From a good shape to the final one: select the inliers, refine the shape on them, and again until nothing
// changes.
//
// Each round measures the distances of all points, decides the tolerance (inlier_tolerance.h), selects the
// inliers (inlier_selection.h) and refits the shape (refit.h). The first rounds select with a wider band at
// whose edge weights fade: a narrow band that lies askew has lost the points that would set it right. After
// some rounds the tolerance stands, so that only the selection can still change. The end is reached when the
// same inliers are selected again and their optimum is exact.
#ifndef PRIMFIT_SRC_ADAPTIVE_CONVERGE_CONVERGE_H_
#define PRIMFIT_SRC_ADAPTIVE_CONVERGE_CONVERGE_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "adaptive/converge/converge_task.h"
#include "adaptive/converge/feet.h"
#include "adaptive/model/budget.h"
#include "adaptive/model/model.h"

namespace primfit::adaptive {

/// Points that are no inliers but lie beside them, just beyond the tolerance. Clutter is as dense within the
/// tolerance, so they tell how much of it there is among the inliers, and where.
struct Strays {
  double countWithin = 0;  ///< how many of the inliers are clutter
  FeetSums feet{};         ///< at the strays' feet on the shape, of the parts that are free
};

struct Converged {
  Model model;
  std::vector<std::uint32_t> inliers;
  std::vector<std::uint32_t> isolated;  ///< within the tolerance, but no inliers because they stand alone
  double noise = 0, tolerance = 0;
  RoundingEffect rounding;
  std::size_t justBeyond = 0;  ///< points beyond the tolerance, but not beyond twice of it
  double supportBeside = 0;    ///< what the inliers of shapes that it was fitted with are of all points
  bool isAtPlace = false;      ///< whether only the points about a place that was told were looked at
  unsigned atEnd = 0;          ///< parts that are held at an end of their plausible range
  FeetSums feet{};             ///< at the inliers' feet on the shape, of the parts that are free
  Strays strays;
  /// Whether all points are inliers because they were told to be, so that no tolerance has cut off the ends
  /// of their distribution.
  bool isOfAllPoints = false;
  bool isRedundant = true;  ///< whether there are more equations than free parameters
  /// Whether another selection of inliers would change nothing, and the next step of their optimisation less
  /// than 1e-9 of the cloud's size. Else the inliers are those of the shape, but it need not be their
  /// optimum.
  bool converged = false;
};

/// The orthogonal least-squares shape of its own inliers. Where the selections go round in a circle it ends
/// at one that came before, where the budget ends at what was complete by then.
/// @return none where no points are near, or they determine no shape
std::optional<Converged> Converge(const Model& start, const ConvergeTask& task, Budget& budget);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_CONVERGE_CONVERGE_H_
