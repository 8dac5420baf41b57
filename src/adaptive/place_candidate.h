// A shape that was found about a place, and which of two such shapes is to be preferred.
#ifndef PRIMFIT_SRC_ADAPTIVE_PLACE_CANDIDATE_H_
#define PRIMFIT_SRC_ADAPTIVE_PLACE_CANDIDATE_H_

#include "adaptive/model/model.h"

namespace primfit::adaptive {

/// Lengths in the units of the scene.
struct PlaceCandidate {
  Model model;
  double noise = 0, tolerance = 0;
  double support = 0;  ///< so many points of the cloud, about
};

/// What is known of the surroundings that two candidates are compared in.
struct Surroundings {
  double localNoise = 0;  ///< from neighbour to neighbour; 0: not known
  double leastNoise = 0;  ///< of the candidates that were preferred before, as LargestNoise gives it
  double room = 0;        ///< how far from either shape points may lie
};

/// By how much one candidate's noise has to be above another's to call it coarser.
inline constexpr double kMuchCoarser = 1.3;

/// The noise that a candidate has at the most: of n values the standard deviation is known to 1 / sqrt(2 n)
/// of itself, of which twice is allowed for.
double LargestNoise(const PlaceCandidate& c);

/// Whether so little noise is an accident, as of a few points among many or of a row with one height: points
/// do not lie on any shape more exactly than the surface here is smooth from neighbour to neighbour.
bool IsTooFine(double noise, const Surroundings& in);

/// Whether a candidate is clearly coarser than another, as well as the noise of so few points is known.
bool IsCoarser(const PlaceCandidate& c, const PlaceCandidate& than);

/// Whether a candidate is to be preferred to the best before it. The larger one is, unless it is coarser: it
/// has then grown over an edge, or lies between two surfaces. But real surfaces are uneven, and a piece of
/// one is finer than the whole; so the coarser one is preferred where it saves much more of the length in
/// which the points are written down (minimum description length; Rissanen 1978).
bool IsPreferred(const PlaceCandidate& c, const PlaceCandidate& best, const Surroundings& in);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_PLACE_CANDIDATE_H_
