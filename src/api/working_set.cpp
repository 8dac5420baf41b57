#include "api/working_set.h"

#include <cmath>

using Eigen::Vector3d;

namespace primfit {

namespace {

bool IsFinite(const Vector3d& p) {
  return std::isfinite(p.x()) && std::isfinite(p.y()) && std::isfinite(p.z());
}

}  // namespace

/// Up to the cap one pass over the caller's points does everything. Above it a first pass counts the usable
/// ones, so that the subset is chosen among them and not among the holes of an organised scan.
template <class Usable, class Taken>
void WorkingSet::Take(const Vector3d* data, std::uint64_t n, std::uint64_t maxCount, bool allowSampling,
                      const Usable& usable, const Taken& taken) {
  Clear();
  origin_ = Vector3d::Zero();
  weights_.clear();
  std::vector<unsigned char> mask;
  std::uint64_t room = n;
  if (allowSampling && n > maxCount) {
    std::uint64_t usableCount = 0;
    for (std::uint64_t i = 0; i < n; ++i) usableCount += usable(i) ? 1 : 0;
    if (usableCount > maxCount) mask = Tls::MakeSelectionMask(usableCount, maxCount);
    room = std::min(usableCount, maxCount);
  }
  Vector3d* const first = AllocateSampled(room);
  Vector3d* next = first;
  std::uint64_t rank = 0;
  for (std::uint64_t i = 0; i < n; ++i) {
    if (!usable(i)) continue;
    if (rank == 0) origin_ = data[i];
    if (mask.empty() || mask[rank] == 1) {
      *next++ = data[i] - origin_;
      taken(i);
    }
    ++rank;
  }
  SetSampledCount(static_cast<std::uint64_t>(next - first));
}

void WorkingSet::Sample(const Vector3d* data, std::uint64_t n, std::uint64_t maxCount, bool allowSampling) {
  Take(
      data, n, maxCount, allowSampling, [&](std::uint64_t i) { return IsFinite(data[i]); },
      [](std::uint64_t) {});
}

void WorkingSet::SampleWeighted(const Vector3d* data, const double* weights, std::uint64_t n,
                                std::uint64_t maxCount) {
  Take(
      data, n, maxCount, true,
      [&](std::uint64_t i) { return IsFinite(data[i]) && std::isfinite(weights[i]); },
      [&](std::uint64_t i) { weights_.push_back(weights[i]); });
}

}  // namespace primfit
