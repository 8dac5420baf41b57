#ifndef PRIMFIT_SRC_API_WORKING_SET_H_
#define PRIMFIT_SRC_API_WORKING_SET_H_

#include "api/array_sampler.h"

namespace primfit {

/// The points that a fit works on: the finite ones of the caller's, at most 100000 of them chosen at random,
/// relative to their RobustOrigin. Survey coordinates hold millimetres beside thousands of kilometres;
/// squares and finite differences of them would lose the millimetres.
class WorkingSet final : public Tls::ArraySampler<Eigen::Vector3d> {
 public:
  static constexpr std::uint64_t kCap = 100000;
  /// Memory for a fit of n points: the set, a selection of it and a double for each of its points; while the
  /// set is chosen from more than the cap, a byte for each of n.
  static std::size_t BytesForFit(std::uint64_t n, bool allowSampling);

  /// Takes the finite points of `data` relative to their RobustOrigin, at most maxCount where sampling is
  /// allowed.
  void Sample(const Eigen::Vector3d* data, std::uint64_t n, std::uint64_t maxCount,
              bool allowSampling) override;
  /// As Sample, and the weight of each point taken; a point whose weight is not finite is left out.
  void SampleWeighted(const Eigen::Vector3d* data, const double* weights, std::uint64_t n,
                      std::uint64_t maxCount);

  const Eigen::Vector3d* Points() const { return GetData(); }
  int Count() const { return static_cast<int>(GetCount()); }
  /// Origin of the frame, in the caller's coordinates.
  const Eigen::Vector3d& Origin() const { return origin_; }
  /// The weights of the points; null when none were given.
  const double* Weights() const { return weights_.data(); }

 private:
  template <class Usable, class Taken>
  void Take(const Eigen::Vector3d* data, std::uint64_t n, std::uint64_t maxCount, bool allowSampling,
            const Usable& usable, const Taken& taken);

  Eigen::Vector3d origin_ = Eigen::Vector3d::Zero();
  Scratch<double> weights_;
};

}  // namespace primfit

#endif  // PRIMFIT_SRC_API_WORKING_SET_H_
