#include "adaptive/scene/repeats.h"

#include <algorithm>
#include <bit>
#include <limits>

using Eigen::Vector3d;

namespace primfit::adaptive {

namespace {

constexpr std::uint32_t kNone = std::numeric_limits<std::uint32_t>::max();
/// Among fewer copies than this share no result changes that anybody could see.
constexpr double kMany = 0.05;
constexpr std::size_t kHundreds = 100;
constexpr std::size_t kTimesTheMedian = 10;

/// Room for so many with at least as much free.
std::size_t TableSize(std::size_t most) { return std::bit_ceil(2 * most + 2); }

}  // namespace

KeySet::KeySet(std::size_t most) : slots_(most == 0 ? 0 : TableSize(most)), mask_(slots_.size() - 1) {}

bool KeySet::Insert(std::uint64_t key) {
  key = std::max<std::uint64_t>(key, 1);
  for (std::size_t at = key & mask_;; at = (at + 1) & mask_) {
    if (slots_[at] == key) return true;
    if (slots_[at] != 0) continue;
    slots_[at] = key;
    return false;
  }
}

RepeatsDetector::RepeatsDetector(std::size_t points)
    : limit_(std::numeric_limits<std::uint64_t>::max()),
      stride_(points <= kWhole ? 0 : points / kSpread),
      nextSpread_(stride_ == 0 ? points : 0),
      sampled_(std::min(points, 2 * kWhole)),
      once_(points <= kWhole ? 0 : 2 * kSpread),
      twice_(points <= kWhole ? 0 : 2 * kSpread) {
  if (points > kWhole) limit_ = limit_ / points * kWhole;
}

void RepeatsDetector::AddSampled(std::uint64_t key) {
  if (count_ == 2 * kWhole) return;  // copies of few places fill the sample
  ++count_;
  copies_ += sampled_.Insert(key) ? 1 : 0;
}

// Of points from all over the cloud, three at one place tell of a place that holds hundredths of all.
void RepeatsDetector::AddSpread(std::uint64_t key) {
  nextSpread_ += stride_;
  if (once_.Insert(key) && twice_.Insert(key)) crowded_ = true;
}

bool RepeatsDetector::Found() const {
  if (stride_ == 0) return copies_ > 0;
  return crowded_ || static_cast<double>(copies_) >= kMany * static_cast<double>(count_);
}

// A hash table with open addressing over the points, then the members sorted by group in one pass (counting
// sort): groups come in the order of their first points, whatever the hashes are.
Groups GroupEqual(std::span<const Vector3d> points) {
  const std::size_t mask = TableSize(points.size()) - 1;
  std::vector<std::uint32_t> slots(mask + 1, kNone), firsts, groupOf(points.size());
  Groups groups;
  groups.starts.assign(1, 0);
  for (std::size_t i = 0; i < points.size(); ++i) {
    std::size_t at = KeyOf(points[i]) & mask;
    while (slots[at] != kNone && points[firsts[slots[at]]] != points[i]) at = (at + 1) & mask;
    if (slots[at] == kNone) {
      slots[at] = static_cast<std::uint32_t>(firsts.size());
      firsts.push_back(static_cast<std::uint32_t>(i));
      groups.starts.push_back(0);
    }
    groupOf[i] = slots[at];
    ++groups.starts[slots[at] + 1];
  }
  for (std::size_t g = 1; g < groups.starts.size(); ++g) groups.starts[g] += groups.starts[g - 1];
  std::vector<std::uint32_t> next(groups.starts.begin(), groups.starts.end() - 1);
  groups.members.resize(points.size());
  for (std::size_t i = 0; i < points.size(); ++i)
    groups.members[next[groupOf[i]]++] = static_cast<std::uint32_t>(i);
  return groups;
}

std::size_t MostCopies(const Groups& groups) {
  std::vector<std::size_t> sizes(groups.Count());
  for (std::size_t g = 0; g < sizes.size(); ++g) sizes[g] = groups.SizeOf(g);
  const auto middle = sizes.begin() + static_cast<std::ptrdiff_t>(sizes.size() / 2);
  std::nth_element(sizes.begin(), middle, sizes.end());
  return std::max(kHundreds, kTimesTheMedian * *middle);
}

}  // namespace primfit::adaptive
