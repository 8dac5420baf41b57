// How finely the coordinates of a cloud are given.
#ifndef PRIMFIT_SRC_ADAPTIVE_SCENE_RESOLUTION_H_
#define PRIMFIT_SRC_ADAPTIVE_SCENE_RESOLUTION_H_

#include <Eigen/Core>
#include <array>
#include <span>
#include <vector>

#include "adaptive/model/model.h"

namespace primfit::adaptive {

/// The steps of the coordinates along the axes. A coordinate has the step of its number format at least: of
/// doubles, or of floats where all of them are floats. It has a coarser one where it was rounded: its values
/// are multiples of one step, or they are few levels of which each occurs many times, such as the depths of a
/// camera, whose steps grow with the depth.
class Resolution {
 public:
  Resolution() = default;
  /// @param sample  some hundreds of the points, in the caller's coordinates
  /// @param origin  of the scene, to which the points asked about are relative
  /// @param all     how many points there are where no two are equal; 0 where some are
  Resolution(std::span<const Eigen::Vector3d> sample, const Eigen::Vector3d& origin, std::size_t all);

  /// Steps of the number format about a point of the scene.
  Eigen::Vector3d FormatAt(const Eigen::Vector3d& p) const;
  /// Steps about a point of the scene by which coordinates were rounded, zero along axes where there are
  /// none.
  Eigen::Vector3d RoundedAt(const Eigen::Vector3d& p) const;
  /// About the largest distance between a point and its rounded one, to tell whether any of this matters.
  double Coarsest() const { return coarsest_; }
  /// The coarsest step of which the coordinates along two axes or three are multiples, else 0: points that
  /// were rounded so lie on many shapes that the thing scanned never had.
  double GridStep() const;

 private:
  struct Axis {
    double grid = 0;             ///< of which values are multiples, or 0
    std::vector<double> levels;  ///< that values have in common, ascending, or none
  };
  static Axis AxisOf(std::vector<double> values);

  Eigen::Vector3d origin_ = Eigen::Vector3d::Zero();
  std::array<Axis, 3> axes_;
  bool floats_ = false;
  double coarsest_ = 0;
};

/// What the steps of the coordinates do to the distances of inliers from their shape.
struct RoundingEffect {
  /// The least that the noise can be: the standard deviation of rounding across the shape, and of computing.
  double noise = 0;
  /// The least bound of an inlier: a point one step away is one.
  double tolerance = 0;
  /// To be added to the variance of the distances, as what neighbours have in common does not average out.
  double common = 0;
  /// The step across the shape where it is coarser than the rest of the noise, else 0.
  double coarse = 0;
};

/// Rounding moves each point by an error of its own where other noise moves points by half a step or more
/// (Widrow and Kollar 2008: what is left of the sawtooth's first harmonic falls with exp(-2 pi^2 (noise /
/// step)^2)), or where the shape passes many steps. Else neighbours are rounded alike, on a level floor
/// all of them as one; over m steps such errors cancel but for the last, a part 1 / m of them.
///
/// Coordinates with a step need not have been rounded: of points that were sampled there, such as the grid of
/// a terrain model or the corners of a mesh, the distances are exact. An axis of which the shape passes three
/// steps and more, and along which rounding would have left twice the noise that there is, was sampled so.
/// @param inliers  some hundreds of them
/// @param all      how many inliers there are
/// @param noise    standard deviation of their distances, as measured
RoundingEffect RoundingOf(const Resolution& resolution, const Model& model,
                          std::span<const Eigen::Vector3d> inliers, std::size_t all, double noise);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_SCENE_RESOLUTION_H_
