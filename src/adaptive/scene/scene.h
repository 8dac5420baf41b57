// The scene of one call: its points as every stage works on them, and what is derived from them.
//
// Coordinates may be large, as of surveys, and points may be missing, weighted or stored more than once. The
// scene takes all of that in one pass: finite points of some weight, relative to an origin among most of them
// so that no digits are lost, with the way back to the caller's array. What only some fits need is made when
// first asked for and kept: the resolution of the coordinates, and the random sample for the search with its
// unit and its neighbour search (see sample.h). A plain fit on clean data so sorts nothing and builds no
// tree.
#ifndef PRIMFIT_SRC_ADAPTIVE_SCENE_SCENE_H_
#define PRIMFIT_SRC_ADAPTIVE_SCENE_SCENE_H_

#include <Eigen/Core>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "adaptive/model/budget.h"
#include "adaptive/scene/dice.h"
#include "adaptive/scene/repeats.h"
#include "adaptive/scene/resolution.h"
#include "adaptive/scene/sample.h"
#include "fit/fit_memory.h"
#include "primfit/fit.h"

namespace primfit::adaptive {

/// What is done with hundreds of points at one place.
enum class Crowds { kSetAside, kKeep };

/// Points with equal coordinates are one measurement that was stored more than once. Where they are many they
/// are one point here, whose weight is the sum of theirs; hundreds at one place are no measurements of a
/// surface and are set aside.
class Scene {
 public:
  /// @param given    outlives the scene
  /// @param weights  as FitOptions have them
  /// @throws FitError when the budget ends before
  Scene(const PointView& given, std::span<const double> weights, Budget& budget,
        Crowds crowds = Crowds::kSetAside);

  std::span<const Eigen::Vector3d> Points() const { return {points_.data(), count_}; }
  const Eigen::Vector3d& Origin() const { return origin_; }
  /// Square roots of the points' weights in least squares, on a scale of their own; none where all are alike.
  std::span<const double> SqrtWeights() const {
    if (!mergedWeights_.empty()) return mergedWeights_;
    return {weights_.data(), isWeighted_ ? count_ : 0};
  }
  /// How far each point is trusted: the caller's weight, however often the point was stored; none where all
  /// are alike.
  std::span<const double> Trust() const { return trust_; }
  /// Points that were set aside, as so many lie at one place.
  std::size_t SetAside() const { return setAside_; }

  /// How finely the coordinates are given.
  const Resolution& CoordinateResolution();
  /// The points in random order, at most some thousands of them. Drawn at the first call, whose `dice` it
  /// takes.
  Sample& RandomSample(Dice& dice);

  /// The share of the weight of all points that some have.
  double ShareOf(std::span<const std::uint32_t> of) const;
  /// Each of these points as often as it was stored.
  std::vector<std::uint32_t> WithCopies(std::vector<std::uint32_t> of) const;
  /// Where points with their copies stand in the array that was given, ascending.
  std::vector<std::uint32_t> GivenIndices(std::vector<std::uint32_t> withCopies) const;

 private:
  /// @param coordinates  of the points given, doubles or floats
  template <class Number>
  void Take(const Number* coordinates, std::span<const double> weights, std::size_t begin, std::size_t end,
            RepeatsDetector& repeats);
  void MergeRepeats(Crowds crowds);
  void ScaleWeights();
  /// The first of the equal points, or the only one, in the caller's coordinates.
  Eigen::Vector3d GivenPoint(std::size_t i) const;

  PointView given_;
  Scratch<Eigen::Vector3d> points_;
  Scratch<double> weights_;  // then their square roots
  std::size_t count_ = 0;
  bool isWeighted_;
  Eigen::Vector3d origin_ = Eigen::Vector3d::Zero();
  std::vector<std::uint32_t> givenIndices_;  // where the points came from; none: they are all there
  Groups groups_;                            // of merged points; the members are indices in the given array
  std::vector<double> mergedWeights_;        // of the groups, then their square roots
  std::vector<double> trust_;
  std::size_t setAside_ = 0;
  std::optional<Resolution> resolution_;
  std::optional<Sample> sample_;
};

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_SCENE_SCENE_H_
