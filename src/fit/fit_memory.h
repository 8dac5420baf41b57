#ifndef PRIMFIT_SRC_FIT_FIT_MEMORY_H_
#define PRIMFIT_SRC_FIT_FIT_MEMORY_H_

#include <cstddef>
#include <memory>
#include <type_traits>
#include <utility>

namespace primfit {

/// The memory of one fit: a single block, from which all buffers are taken that are made on this thread while
/// it lives. The last buffer taken is the first to be given back. Allocators return large buffers to the
/// system when they are freed, and clearing the pages of new ones can cost more than the fit itself; a single
/// block they keep for the next fit.
class FitMemory {
 public:
  explicit FitMemory(std::size_t bytes);
  FitMemory(FitMemory&&) noexcept = default;
  FitMemory& operator=(FitMemory&&) = delete;
  ~FitMemory();

  /// Room for a buffer in the thread's innermost block; null where there is none or it is full.
  static std::byte* Take(std::size_t bytes) noexcept;
  /// Gives a buffer back, with all that were taken after it.
  static void GiveBack(const std::byte* buffer) noexcept;
  /// What a buffer of so many bytes takes up.
  static constexpr std::size_t RoundedUp(std::size_t bytes) {
    return (bytes + kAlignment - 1) / kAlignment * kAlignment;
  }

 private:
  static constexpr std::size_t kAlignment = alignof(std::max_align_t);
  struct Block;
  struct Free {
    void operator()(Block* block) const noexcept;
  };
  static thread_local Block* innermost_;
  std::unique_ptr<Block, Free> block_;
};

/// A buffer of n elements, not initialised: from the FitMemory of this thread, or from the heap where there
/// is none or it is full.
template <class T>
class Scratch {
 public:
  static_assert(std::is_trivially_destructible_v<T>);

  Scratch() = default;
  // NOLINTNEXTLINE(bugprone-sizeof-expression): T may be a pointer
  explicit Scratch(std::size_t n) : data_(reinterpret_cast<T*>(FitMemory::Take(n * sizeof(T)))) {
    if (data_ != nullptr) return;
    heap_ = std::make_unique_for_overwrite<T[]>(n);
    data_ = heap_.get();
  }
  Scratch(Scratch&& other) noexcept
      : data_(std::exchange(other.data_, nullptr)), heap_(std::move(other.heap_)) {}
  Scratch& operator=(Scratch&& other) noexcept {
    std::swap(data_, other.data_);
    heap_.swap(other.heap_);
    return *this;
  }
  ~Scratch() {
    // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDelete): that of a moved one is null
    if (data_ != nullptr && !heap_) FitMemory::GiveBack(reinterpret_cast<const std::byte*>(data_));
  }

  T* data() const { return data_; }
  T& operator[](std::size_t i) const { return data_[i]; }

 private:
  T* data_ = nullptr;
  std::unique_ptr<T[]> heap_;
};

}  // namespace primfit

#endif  // PRIMFIT_SRC_FIT_FIT_MEMORY_H_
