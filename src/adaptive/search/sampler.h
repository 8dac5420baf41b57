// How minimal samples are drawn, and the candidates that go through them.
//
// Two ways take turns in the search. At first points come from anywhere in the sample of the scene: that
// costs nothing beforehand and finds most shapes. Later they come from the tiers of the ranked points, every
// second time as a few points with their directions that lie near each other, which finds small shapes among
// much clutter. The draw's number decides what is drawn and the random numbers which points, so the same seed
// gives the same candidates.
#ifndef PRIMFIT_SRC_ADAPTIVE_SEARCH_SAMPLER_H_
#define PRIMFIT_SRC_ADAPTIVE_SEARCH_SAMPLER_H_

#include <array>
#include <cstddef>
#include <span>
#include <vector>

#include "adaptive/scene/dice.h"
#include "adaptive/scene/sample.h"
#include "adaptive/search/minimal_solver.h"
#include "adaptive/search/oriented.h"
#include "adaptive/search/ranked_points.h"

namespace primfit::adaptive {

/// Draws indices, each with a chance in proportion to its weight.
class WeightedDraw {
 public:
  explicit WeightedDraw(std::vector<double> weights);
  std::size_t Draw(Dice& dice) const;

 private:
  std::vector<double> sums_;  // of the weights up to each
};

/// Draws a minimal sample of oriented points, no two the same: the first may be any, each other one is the
/// nearest to the first of so many rivals, as points that are near each other belong to the same small shape.
/// @param size  at most as many as there are points
/// @return indices in `local`; the first `size` count
std::array<std::size_t, kMostOriented> DrawNearEachOther(std::span<const LocalGeometry> local,
                                                         std::size_t size, int rivals, Dice& dice);

/// What samples are drawn from.
struct Sampler {
  /// @param sample  outlives it; its free points are drawn
  Sampler(ShapeKind kind, const Sample& sample);

  MinimalSolver solver;
  const Sample& sample;
  WeightedDraw byTrust;  ///< of the free points; not used where all are trusted alike
};

/// The candidate through points from anywhere.
/// @param draw  the number of the draw: where points are trusted differently, odd ones draw by trust. Not
///     all do, as a point of great trust that lies off the shape would be in all of them
Candidates DrawFromAnywhere(const Sampler& sampler, int draw, Dice& dice);

/// The candidates through points of one tier.
/// @param draw  the number of the draw, which says the tier and whether directions are used
Candidates DrawFromRanked(const Sampler& sampler, const RankedPoints& ranked, int draw, Dice& dice);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_SEARCH_SAMPLER_H_
