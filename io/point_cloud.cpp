// Blocks and what collects them. The memory of a large cloud is asked for here, by calls of the operating
// system.
#include "io/point_cloud.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <new>

namespace primfit::io {

namespace {

/// Moves those of some values that are kept to the front, and drops the others.
template <class Values>
void KeepOf(const std::vector<unsigned char>& kept, Values& values) {
  std::size_t to = 0;
  for (std::size_t i = 0; i < kept.size(); ++i) {
    if (kept[i] != 0) values[to++] = values[i];
  }
  values.resize(to);
}

}  // namespace

void PointBlock::Resize(std::size_t n) {
  points.resize(n);
  for (std::vector<double>& values : attributes) values.resize(n);
}

void PointBlock::Keep(const std::vector<unsigned char>& kept) {
  KeepOf(kept, points);
  for (std::vector<double>& values : attributes) KeepOf(kept, values);
}

void Collector::Expect(std::uint64_t points) { Reserve(cloud_.points, points); }

void Collector::Take(PointBlock& block) {
  cloud_.points.insert(cloud_.points.end(), block.points.begin(), block.points.end());
  cloud_.nonFinite += static_cast<std::size_t>(std::count_if(
      block.points.begin(), block.points.end(), [](const Eigen::Vector3d& p) { return !p.allFinite(); }));
  cloud_.attributes.resize(block.attributes.size());
  for (std::size_t k = 0; k < block.attributes.size(); ++k) {
    const std::vector<double>& values = block.attributes[k];
    cloud_.attributes[k].insert(cloud_.attributes[k].end(), values.begin(), values.end());
  }
}

BlockBuilder::BlockBuilder(std::size_t attributes, PointSink& sink) : sink_(sink) {
  block_.attributes.resize(attributes);
  block_.Resize(PointBlock::kMostPoints);
}

void BlockBuilder::Flush() {
  if (size_ == 0) return;
  block_.Resize(size_);
  sink_.Take(block_);
  block_.Resize(PointBlock::kMostPoints);
  size_ = 0;
}

void Reserve(std::vector<Eigen::Vector3d>& points, std::uint64_t n) {
  if (points.capacity() - points.size() >= n) return;
  try {
    points.reserve(points.size() + static_cast<std::size_t>(n));
  } catch (const std::bad_alloc&) {
    return;  // they may be fewer than that, and the array grows as it is filled
  } catch (const std::length_error&) {
    return;
  }
  // Advice is for whole pages only, and the array begins anywhere in its first one.
  const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
  const auto misfit = static_cast<std::size_t>(reinterpret_cast<std::uintptr_t>(points.data()) % page);
  const std::size_t skipped = (page - misfit) % page;
  const std::size_t size = points.capacity() * sizeof(Eigen::Vector3d);
  if (size < skipped + page) return;
  char* first = reinterpret_cast<char*>(points.data()) + skipped;
  ::madvise(first, (size - skipped) / page * page, MADV_HUGEPAGE);  // refused advice does no harm
}

}  // namespace primfit::io
