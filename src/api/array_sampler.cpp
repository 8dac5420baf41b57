// The sub-sampler: above a limit a fit uses a random subset of the points. A hundred thousand points
// determine a shape far better than a scanner measures, and more only take time.
#include "api/array_sampler.h"

#include <algorithm>
#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <boost/random/uniform_int_distribution.hpp>
#include <random>

#include "primfit/fit/scoped_seed.h"

namespace {

/// The seed: from the thread's ScopedSeed, else from the clock, microseconds of the day modulo 32767.
std::uint32_t SamplerSeed() {
  std::uint64_t number = 0;
  if (primfit::ScopedSeed::Next(number)) return static_cast<std::uint32_t>(number);
  constexpr std::int64_t kModulus = 32767;
  const auto now = boost::posix_time::microsec_clock::local_time();
  const auto seed = static_cast<std::uint32_t>(now.time_of_day().total_microseconds() % kModulus);
  return seed == 0 ? 1 : seed;
}

}  // namespace

primfit::Scratch<unsigned char> Tls::MakeSelectionMask(std::uint64_t n, std::uint64_t k) {
  std::minstd_rand generator(SamplerSeed());
  boost::random::uniform_int_distribution<std::uint64_t> index(0, n - 1);
  // Draws whichever are fewer, the elements that stay or those that go: draws that repeat stay below half.
  const bool invert = k > n / 2;
  const unsigned char target = invert ? 0 : 1;
  primfit::Scratch<unsigned char> mask(n);
  std::fill_n(mask.data(), n, invert ? 1 : 0);
  for (std::uint64_t remaining = invert ? n - k : k; remaining > 0;) {
    unsigned char& chosen = mask[index(generator)];
    if (chosen == target) continue;
    chosen = target;
    --remaining;
  }
  return mask;
}

namespace Tls {

template <class T>
void ArraySampler<T>::Clear() {
  SetSource(nullptr, 0);
}

template <class T>
void ArraySampler<T>::Sample(const T* data, std::uint64_t n, std::uint64_t maxCount, bool allowSampling) {
  Clear();
  if (maxCount == 0) return;
  SetSource(data, n);
  if (!allowSampling || n <= maxCount) return;
  T* next = AllocateSampled(maxCount);
  const primfit::Scratch<unsigned char> mask = MakeSelectionMask(n, maxCount);
  const T* const end = next + maxCount;
  for (std::uint64_t i = 0; next != end; ++i) {
    if (mask[i] == 1) *next++ = data[i];
  }
  SetSampledCount(maxCount);
}

template <class T>
T* ArraySampler<T>::AllocateSampled(std::uint64_t count) {
  sampled_ = primfit::Scratch<T>(count);
  return sampled_.data();
}

template <class T>
void ArraySampler<T>::SetSource(const T* data, std::uint64_t n) {
  source_ = data;
  sourceCount_ = n;
  sampled_ = {};
  sampledCount_ = 0;
}

template class ArraySampler<Eigen::Vector3d>;

}  // namespace Tls
