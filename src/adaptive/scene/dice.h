// Random numbers of a fit.
//
// The distributions of the standard library differ between its implementations, so that the same seed would
// give another shape elsewhere. The engine is the same everywhere, and what is made of its numbers is written
// here.
#ifndef PRIMFIT_SRC_ADAPTIVE_SCENE_DICE_H_
#define PRIMFIT_SRC_ADAPTIVE_SCENE_DICE_H_

#include <cstddef>
#include <cstdint>
#include <random>

namespace primfit::adaptive {

/// Random numbers that are the same with every standard library.
class Dice {
 public:
  explicit Dice(std::uint64_t seed) : engine_(seed) {}
  /// Uniform in 0 .. n - 1, but for a bias below n / 2^32.
  std::size_t Below(std::size_t n) { return static_cast<std::size_t>((engine_() >> 32) * n >> 32); }
  /// Uniform in (0, 1].
  double Share() { return (static_cast<double>(engine_() >> 11) + 1) * 0x1p-53; }

 private:
  std::mt19937_64 engine_;
};

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_SCENE_DICE_H_
