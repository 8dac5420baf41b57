// What the options of a fit allow, for the stages that have to keep to it.
//
// The options are in the caller's coordinates, in which a door checks them. Search and convergence ask a
// Plausible, which knows the unit that they work in: it moves a model into the ranges of the options, and
// says whether a model passes the point that it has to pass.
#ifndef PRIMFIT_SRC_ADAPTIVE_SCENE_PLAUSIBLE_H_
#define PRIMFIT_SRC_ADAPTIVE_SCENE_PLAUSIBLE_H_

#include <Eigen/Core>
#include <cstddef>
#include <cstdint>

#include "adaptive/model/model.h"
#include "adaptive/scene/units.h"
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

/// What the options allow of one fit's shape.
class Plausible {
 public:
  /// @param options  outlive it
  /// @param origin   of the scene
  /// @param held     parts that are not moved
  Plausible(ShapeKind kind, const FitOptionsBase& options, const Eigen::Vector3d& origin, unsigned held)
      : kind_(kind), options_(&options), origin_(origin), held_(held) {}

  /// The same for models in other units than the scene's.
  Plausible In(const Units& units) const;
  /// Moves a model into the ranges. @return the parts at an end of theirs
  unsigned Clamp(Model& m) const;
  /// Whether a model passes the point that it has to pass.
  /// @param slack  how much farther from it the model may be than the options say
  bool Passes(const Model& m, double slack) const;

 private:
  unsigned ClampSizes(Model& m) const;
  unsigned ClampAxis(Model& m) const;

  ShapeKind kind_;
  const FitOptionsBase* options_;
  Eigen::Vector3d origin_;
  unsigned held_;
  Units units_;
};

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_SCENE_PLAUSIBLE_H_
