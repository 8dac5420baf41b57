#include "primfit/fit/scoped_seed.h"

namespace primfit {

namespace {
thread_local ScopedSeed* innermost = nullptr;
}

ScopedSeed::ScopedSeed(std::uint64_t seed) noexcept : state_(seed), outer_(innermost) { innermost = this; }

ScopedSeed::~ScopedSeed() { innermost = outer_; }

bool ScopedSeed::Next(std::uint64_t& next) noexcept {
  if (innermost == nullptr) return false;
  // SplitMix64 (Steele, Lea, Flood 2014): a bijection of a Weyl sequence, so that no number comes twice
  // within its period of 2^64.
  std::uint64_t z = (innermost->state_ += 0x9e3779b97f4a7c15u);
  z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9u;
  z = (z ^ (z >> 27)) * 0x94d049bb133111ebu;
  next = z ^ (z >> 31);
  return true;
}

}  // namespace primfit
