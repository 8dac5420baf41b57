// The noise of a surface as its points show it from neighbour to neighbour, before any shape is known.
//
// A smooth surface is a paraboloid in a small neighbourhood (the osculating paraboloid), so what the nearest
// points leave of the one fitted to them is noise. It tells how fine a shape through them has to be.
#ifndef PRIMFIT_SRC_ADAPTIVE_SCENE_LOCAL_NOISE_H_
#define PRIMFIT_SRC_ADAPTIVE_SCENE_LOCAL_NOISE_H_

#include <Eigen/Core>
#include <cstddef>
#include <optional>
#include <span>

#include "adaptive/scene/sample.h"

namespace primfit::adaptive {

/// The standard deviation of the distances from the surface, about the sample's points nearest to a place.
/// @return none where the neighbours are so near each other that they show no surface
std::optional<double> LocalNoise(const Sample& sample, const Eigen::Vector3d& place);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_SCENE_LOCAL_NOISE_H_
