// The points of a fit as it works on them.
#ifndef PRIMFIT_SRC_ADAPTIVE_SCENE_FRAME_H_
#define PRIMFIT_SRC_ADAPTIVE_SCENE_FRAME_H_

#include <Eigen/Core>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "adaptive/model/budget.h"
#include "adaptive/scene/dice.h"
#include "adaptive/scene/repeats.h"
#include "adaptive/scene/resolution.h"
#include "fit/fit_memory.h"
#include "primfit/fit.h"

namespace primfit::adaptive {

/// The points of a fit: the finite ones of some weight, relative to a place among most of them.
///
/// Points with equal coordinates are one measurement that was stored more than once. Where they are many they
/// are one point here, whose weight is the sum of theirs; hundreds at one place are no measurements of a
/// surface and are set aside.
class Frame {
 public:
  /// @param weights  as FitOptions have them
  /// @throws FitError when the budget ends before
  Frame(const PointView& given, std::span<const double> weights, Budget& budget);

  std::span<const Eigen::Vector3d> Points() const { return {points_.data(), count_}; }
  const Eigen::Vector3d& Origin() const { return origin_; }
  /// Square roots of the points' weights in least squares, on a scale of their own; none where all are alike.
  std::span<const double> Roots() const {
    if (!summedRoots_.empty()) return summedRoots_;
    return {roots_.data(), isWeighted_ ? count_ : 0};
  }
  /// How far each point is trusted: the caller's weight, however often the point was stored; none where all
  /// are alike.
  std::span<const double> Trust() const { return trust_; }
  /// The share of the weight of all points that some have.
  double ShareOf(std::span<const std::uint32_t> of) const;
  /// Each of these points as often as it was stored.
  std::vector<std::uint32_t> WithCopies(std::vector<std::uint32_t> of) const;
  /// The positions of points with their copies in the array that was given, ascending.
  std::vector<std::uint32_t> PlacesOf(std::vector<std::uint32_t> withCopies) const;
  const Resolution& Steps() const { return resolution_; }
  /// Points that were set aside, as so many lie at one place.
  std::size_t SetAside() const { return setAside_; }

 private:
  void Take(const PointView& given, std::span<const double> weights, std::size_t begin, std::size_t end,
            RepeatsDetector& repeats);
  void Merge(const PointView& given);
  void ScaleWeights();
  void MeasureSteps(const PointView& given);

  Scratch<Eigen::Vector3d> points_;
  Scratch<double> roots_;
  std::size_t count_ = 0;
  bool isWeighted_;
  Eigen::Vector3d origin_ = Eigen::Vector3d::Zero();
  std::vector<std::uint32_t> places_;  // where the points came from; none: they are all there
  // Where points were merged:
  Groups groups_;  // the members are places in the given array
  std::vector<double> summedRoots_;
  std::vector<double> trust_;
  std::size_t setAside_ = 0;
  Resolution resolution_;
};

/// The median of distances from the median place, which it gives as well: the size of a cloud, whatever lies
/// far away.
double SizeOf(std::span<const Eigen::Vector3d> points, Eigen::Vector3d& middle);

/// What a search looks at.
struct Cloud {
  std::vector<Eigen::Vector3d> points;  ///< in random order
  std::vector<double> trust;            ///< as the frame has it; none where all are alike
};

/// A random choice of the points. Where some are trusted more than others, each comes with a chance that
/// grows with its trust, the more trusted ones first (Efraimidis and Spirakis 2006), and keeps what its
/// chance does not tell of it: trust over chance (Horvitz and Thompson 1952).
Cloud Shuffled(const Frame& frame, Dice& dice);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_SCENE_FRAME_H_
