#ifndef PRIMFIT_FIT_SCOPED_SEED_H_
#define PRIMFIT_FIT_SCOPED_SEED_H_

#include <cstdint>

#include "primfit/cxx20.h"
#include "primfit/export.h"

namespace primfit {

/// Makes the fits of one thread repeatable. A search and the sub-sampler seed themselves from the clock;
/// while a `ScopedSeed` lives, every random choice of the fits on its thread follows from its seed instead.
/// The first fit inside two scopes of equal seed gives equal bits, so does the second, and so on: a scope
/// hands out a sequence of seeds, one for each use. Scopes nest: an inner one rules while it lives, then the
/// outer one goes on where it was. Other threads are not affected. Create and destroy it on the same thread,
/// in stack order.
class PRIMFIT_API ScopedSeed {
 public:
  explicit ScopedSeed(std::uint64_t seed) noexcept;
  ScopedSeed(const ScopedSeed&) = delete;
  ScopedSeed& operator=(const ScopedSeed&) = delete;
  ~ScopedSeed();

  /// The next number of the innermost scope of the calling thread.
  /// @param next  receives 64 random bits; unchanged when there is no scope
  /// @return whether the calling thread is inside a scope
  static bool Next(std::uint64_t& next) noexcept;

 private:
  std::uint64_t state_;
  ScopedSeed* outer_;
};

}  // namespace primfit

#endif  // PRIMFIT_FIT_SCOPED_SEED_H_
