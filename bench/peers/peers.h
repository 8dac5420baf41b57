// Other libraries behind one call each. A peer takes the points of a scene and gives the shape that it found
// as one of ours, so that the same functions judge all of them.
#ifndef PRIMFIT_BENCH_PEERS_PEERS_H_
#define PRIMFIT_BENCH_PEERS_PEERS_H_

#include <memory>
#include <string_view>

#include "scenes.h"

namespace primfit::bench {

/// What all searches are told: points within three times the noise belong to the shape, and one search in a
/// hundred may miss it.
inline constexpr double kBand = 3 * kNoise;
inline constexpr double kProbability = 0.99;
/// Neighbours from which a peer that needs normals estimates them.
inline constexpr int kNeighbours = 20;

/// @param primitive  "line", "plane", "sphere", "cylinder", "cone" or "torus"
/// @return null where nothing was found, or where the library has no such shape
std::unique_ptr<OutputShape> FitByPcl(std::string_view primitive, const Points& points);
std::unique_ptr<OutputShape> FitByCgal(std::string_view primitive, const Points& points);

/// Least squares of the distances from a start shape. @param primitive  "sphere" or "cylinder"
std::unique_ptr<OutputShape> RefineByCeres(std::string_view primitive, const Points& points,
                                           const OutputShape& start);

}  // namespace primfit::bench

#endif  // PRIMFIT_BENCH_PEERS_PEERS_H_
