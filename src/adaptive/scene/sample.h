// The random choice of a cloud's points that the search works on.
//
// A shape that is found among some thousand points is found among all, so the search looks at no more than
// these. They come in random order, so that the first of them are a random choice as well: a stage that needs
// fewer takes a part from the front. Here they are in sizes of the cloud (see units.h); the neighbour search
// and the marks of what is free go along with them.
#ifndef PRIMFIT_SRC_ADAPTIVE_SCENE_SAMPLE_H_
#define PRIMFIT_SRC_ADAPTIVE_SCENE_SAMPLE_H_

#include <Eigen/Core>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "adaptive/scene/dice.h"
#include "adaptive/scene/free_points.h"
#include "adaptive/scene/neighbours.h"
#include "adaptive/scene/units.h"

namespace primfit::adaptive {

struct Sample {
  /// All points free.
  /// @param indices  of the points in the cloud that the sample was drawn from
  /// @param points   in the units given
  /// @param trust    of the points; none where all are alike
  Sample(Units units, std::vector<std::uint32_t> indices, std::vector<Eigen::Vector3d> points,
         std::vector<double> trust = {});

  Units units;
  std::vector<std::uint32_t> indices;
  std::vector<Eigen::Vector3d> points;
  std::vector<double> trust;
  FreePoints free;
  NeighbourSearch neighbours;
};

/// Draws the sample of a cloud. Where some points are trusted more than others, each comes with a chance that
/// grows with its trust, the more trusted ones first (Efraimidis and Spirakis 2006), and keeps what its
/// chance does not tell of it: trust over chance (Horvitz and Thompson 1952). Its size is 0 where more than
/// half of the points are at one place.
/// @param trust  of all points; none where all are alike
Sample DrawSample(std::span<const Eigen::Vector3d> points, std::span<const double> trust, Dice& dice);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_SCENE_SAMPLE_H_
