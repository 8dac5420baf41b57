// Points with equal coordinates.
#ifndef PRIMFIT_SRC_ADAPTIVE_SCENE_REPEATS_H_
#define PRIMFIT_SRC_ADAPTIVE_SCENE_REPEATS_H_

#include <Eigen/Core>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace primfit::adaptive {

/// A number that points of equal coordinates have in common, and other points almost never.
inline std::uint64_t KeyOf(const Eigen::Vector3d& p) {
  // Of two points that differ the mixture of coordinates is almost never the same; zero makes one of both
  // zeros. The multiplier is that of SplitMix64 (Steele, Lea and Flood 2014).
  constexpr double kGolden = 1.618033988749895, kPlastic = 2.3247179572447460;
  const double mixed = (p.x() + kGolden * p.y()) + (kPlastic * p.z() + 0.0);
  const std::uint64_t z = std::bit_cast<std::uint64_t>(mixed) * 0xbf58476d1ce4e5b9U;
  return z ^ z >> 32;
}

/// A set of keys, of a size that is known beforehand.
class KeySet {
 public:
  explicit KeySet(std::size_t most);
  /// @return whether the key was in the set
  bool Insert(std::uint64_t key);

 private:
  std::vector<std::uint64_t> slots_;  // 0: empty
  std::size_t mask_;
};

/// Says of a cloud whether its points repeat each other so often that it matters: a twentieth of them are
/// copies, or hundreds lie at one place. Of a cloud of at most kWhole points it sees every copy. Of more it
/// sees those whose keys lie in a small range, in which copies are together (so that a cloud that was saved
/// twice is found whatever its order), and places that hold hundredths of all points.
class RepeatsDetector {
 public:
  explicit RepeatsDetector(std::size_t points);
  void Add(std::size_t index, const Eigen::Vector3d& p) {
    const std::uint64_t key = KeyOf(p);
    if (key <= limit_) AddSampled(key);
    if (index == nextSpread_) AddSpread(key);
  }
  bool Found() const;

 private:
  static constexpr std::size_t kWhole = 4096, kSpread = 1024;

  void AddSampled(std::uint64_t key);
  void AddSpread(std::uint64_t key);

  std::uint64_t limit_;  // of the keys in the sample
  std::size_t stride_;   // of the points in the spread sample; 0: none
  std::size_t nextSpread_;
  KeySet sampled_, once_, twice_;
  std::size_t count_ = 0, copies_ = 0;
  bool crowded_ = false;
};

/// The points of a cloud in groups of equal coordinates.
struct Groups {
  std::vector<std::uint32_t>
      starts;  ///< of each group, and the end, in members; in the order of the first ones
  std::vector<std::uint32_t> members;  ///< indices of the points, ascending in each group
  std::size_t Count() const { return starts.size() - 1; }
  std::size_t SizeOf(std::size_t group) const { return starts[group + 1] - starts[group]; }
};

Groups GroupEqual(std::span<const Eigen::Vector3d> points);

/// How many copies at one place are no measurements of a surface: hundreds, and ten times as many as the
/// median place has, so that coarsely rounded coordinates are not meant. An organised scan stores missing
/// returns so.
std::size_t MostCopies(const Groups& groups);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_SCENE_REPEATS_H_
