#ifndef PRIMFIT_SRC_API_ARRAY_SAMPLER_H_
#define PRIMFIT_SRC_API_ARRAY_SAMPLER_H_

#include <Eigen/Core>
#include <cstddef>
#include <cstdint>

#include "fit/fit_memory.h"

namespace Tls {

/// One byte for each of n elements: 1 for the k chosen at random, 0 for the rest. Seeded from the time of
/// day, or from the thread's primfit::ScopedSeed. Needs k < n.
primfit::Scratch<unsigned char> MakeSelectionMask(std::uint64_t n, std::uint64_t k);

/// A random subset of a caller's array, in the caller's order, or the array itself where it is small enough.
template <class T>
class ArraySampler {
 public:
  ArraySampler() = default;
  ArraySampler(ArraySampler&&) noexcept = default;
  ArraySampler& operator=(ArraySampler&&) noexcept = default;
  virtual ~ArraySampler() = default;
  /// Releases the copy and forgets the array.
  virtual void Clear();
  /// @param maxCount       elements to keep at most; 0 leaves the sampler empty
  /// @param allowSampling  false keeps the whole array
  virtual void Sample(const T* data, std::uint64_t n, std::uint64_t maxCount, bool allowSampling);
  virtual bool IsSampled() const { return sampledCount_ > 0; }
  virtual std::uint64_t GetCount() const { return IsSampled() ? sampledCount_ : sourceCount_; }
  virtual const T* GetData() const { return IsSampled() ? sampled_.data() : source_; }

 protected:
  /// Makes room for a copy; its elements are to be written before it is used.
  T* AllocateSampled(std::uint64_t count);
  void SetSource(const T* data, std::uint64_t n);
  void SetSampledCount(std::uint64_t count) { sampledCount_ = count; }

 private:
  const T* source_ = nullptr;
  primfit::Scratch<T> sampled_;
  std::uint64_t sourceCount_ = 0;
  std::uint64_t sampledCount_ = 0;
};

extern template class ArraySampler<Eigen::Vector3d>;

}  // namespace Tls

#endif  // PRIMFIT_SRC_API_ARRAY_SAMPLER_H_
