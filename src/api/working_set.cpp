// The caller's points taken into the working frame of a fit.
#include "api/working_set.h"

#include <algorithm>
#include <cmath>

#include "fit/robust_origin.h"

using Eigen::Vector3d;

namespace primfit {

namespace {

bool IsFinite(const Vector3d& p) {
  return std::isfinite(p.x()) && std::isfinite(p.y()) && std::isfinite(p.z());
}

}  // namespace

std::size_t WorkingSet::BytesForFit(std::uint64_t n, bool allowSampling) {
  const std::size_t used = allowSampling ? std::min(n, kCap) : n;
  const std::size_t points = FitMemory::RoundedUp((used + 1) * sizeof(Vector3d));
  const std::size_t afterwards = points + FitMemory::RoundedUp((used + 1) * sizeof(double));
  return points + std::max(afterwards, used < n ? FitMemory::RoundedUp(n) : 0);
}

/// Up to the cap one pass over the caller's points does everything. Above it a first pass counts the usable
/// ones, so that the subset is chosen among them and not among the holes of an organised scan.
template <class Usable, class Taken>
void WorkingSet::Take(const Vector3d* data, std::uint64_t n, std::uint64_t maxCount, bool allowSampling,
                      const Usable& usable, const Taken& taken) {
  Clear();
  origin_ = RobustOrigin(
      n, [&](std::uint64_t i) -> const Vector3d& { return data[i]; }, usable);
  Vector3d* const first = AllocateSampled(allowSampling ? std::min(n, maxCount) : n);
  Vector3d* next = first;
  Scratch<unsigned char> mask;
  if (allowSampling && n > maxCount) {
    std::uint64_t usableCount = 0;
    for (std::uint64_t i = 0; i < n; ++i) usableCount += usable(i) ? 1 : 0;
    if (usableCount > maxCount) mask = Tls::MakeSelectionMask(usableCount, maxCount);
  }
  std::uint64_t rank = 0;
  for (std::uint64_t i = 0; i < n; ++i) {
    if (!usable(i)) continue;
    if (mask.data() == nullptr || mask[rank] == 1) {
      taken(next - first, i);
      *next++ = data[i] - origin_;
    }
    ++rank;
  }
  SetSampledCount(static_cast<std::uint64_t>(next - first));
}

void WorkingSet::Sample(const Vector3d* data, std::uint64_t n, std::uint64_t maxCount, bool allowSampling) {
  Take(
      data, n, maxCount, allowSampling, [&](std::uint64_t i) { return IsFinite(data[i]); },
      [](std::ptrdiff_t, std::uint64_t) {});
}

void WorkingSet::SampleWeighted(const Vector3d* data, const double* weights, std::uint64_t n,
                                std::uint64_t maxCount) {
  weights_ = Scratch<double>(std::min(n, maxCount));
  Take(
      data, n, maxCount, true,
      [&](std::uint64_t i) { return IsFinite(data[i]) && std::isfinite(weights[i]); },
      [&](std::ptrdiff_t at, std::uint64_t i) { weights_.data()[at] = weights[i]; });
}

}  // namespace primfit
