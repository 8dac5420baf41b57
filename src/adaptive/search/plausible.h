// What the options of a fit say, in words that the search understands.
#ifndef PRIMFIT_SRC_ADAPTIVE_SEARCH_PLAUSIBLE_H_
#define PRIMFIT_SRC_ADAPTIVE_SEARCH_PLAUSIBLE_H_

#include <Eigen/Core>
#include <cstddef>
#include <cstdint>

#include "adaptive/model/model.h"
#include "primfit/fit.h"

namespace primfit::adaptive {

/// @throws FitError with a text that names the option which is out of its range
void RequireInRange(const FitOptionsBase& options, std::size_t points);

/// Refuses held values that no shape has: without this check they end as points that no shape stands out
/// from. A half-angle beyond a quarter turn is one in degrees; where nothing is held the shape is given for
/// its own sake, so that this is told there too.
/// @throws FitError with one text for half-angles and one for all else
void RequireUsable(const Model& model, unsigned held);

/// The seed that is given, else that of the thread's ScopedSeed, else of the clock.
std::uint64_t SeedOf(const FitOptionsBase& options);

/// What the options say is plausible, in the frame of the points.
class Plausible {
 public:
  Plausible(ShapeKind kind, const FitOptionsBase& options, const Eigen::Vector3d& origin, unsigned held)
      : kind_(kind), options_(options), origin_(origin), held_(held) {}

  /// Moves a model into the ranges. @return the parts at an end of theirs
  unsigned Clamp(Model& m) const;
  /// Whether a model passes the point that it has to pass.
  bool Passes(const Model& m, double slack) const;

 private:
  ShapeKind kind_;
  const FitOptionsBase& options_;
  Eigen::Vector3d origin_;
  unsigned held_;
};

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_SEARCH_PLAUSIBLE_H_
