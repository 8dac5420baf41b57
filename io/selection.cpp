#include "io/selection.h"

#include <algorithm>
#include <chrono>

#include "io/read_points.h"

namespace primfit::io {

bool Region::InBall(const Eigen::Vector3d& p) const {
  return ball.empty() || (p - Eigen::Vector3d(ball.data())).norm() <= ball[3];
}

bool Region::InBox(const Eigen::Vector3d& p) const {
  return box.empty() || ((p.array() >= Eigen::Array3d(box.data())).all() &&
                         (p.array() <= Eigen::Array3d(box.data() + 3)).all());
}

bool Condition::Holds(double value) const {
  return std::any_of(ranges.begin(), ranges.end(),
                     [&](const Range& r) { return value >= r.low && value <= r.high; });
}

bool Selector::Counts(const PointBlock& block, std::size_t i) {
  const auto leaveOut = [](std::size_t& count) {
    ++count;
    return false;
  };
  const std::size_t place = counts_.total++;
  if (filter_.every > 1 && place % filter_.every != 0) return leaveOut(counts_.notEvery);
  const Eigen::Vector3d& p = block.points[i];
  if (!p.allFinite()) return leaveOut(counts_.nonFinite);
  for (std::size_t k = 0; k < filter_.where.size(); ++k) {
    if (!filter_.where[k].Holds(block.attributes[kept_ + k][i])) return leaveOut(counts_.notWhere);
  }
  if (filter_.region.Everywhere()) return true;
  const bool inBall = filter_.region.InBall(p), inBox = filter_.region.InBox(p);
  counts_.inBall += inBall ? 1 : 0;
  counts_.inBox += inBox ? 1 : 0;
  return (inBall && inBox) || leaveOut(counts_.outside);
}

void Selector::Take(PointBlock& block) {
  mask_.resize(block.points.size());
  for (std::size_t i = 0; i < mask_.size(); ++i) mask_[i] = Counts(block, i) ? 1 : 0;
  std::vector<std::vector<double>> rest;  // the reader gets its room back
  while (block.attributes.size() > kept_) {
    rest.push_back(std::move(block.attributes.back()));
    block.attributes.pop_back();
  }
  block.Keep(mask_);
  next_.Take(block);
  for (; !rest.empty(); rest.pop_back()) block.attributes.push_back(std::move(rest.back()));
}

FileHead StreamSelected(const Readers& readers, const std::string& path, const Filter& filter,
                        const ReadRequest& request, PointSink& sink, SelectionCounts& counts) {
  Selector selector(filter, request.attributes.size(), sink);
  ReadRequest all = request;
  for (const Condition& condition : filter.where) all.attributes.push_back(condition.attribute);
  FileHead head = StreamPoints(readers, path, all, selector);
  counts = selector.Counts();
  return head;
}

Selection ReadSelection(const Readers& readers, const std::string& path, const Filter& filter,
                        const ReadRequest& request) {
  const auto start = std::chrono::steady_clock::now();
  Selection cloud;
  Collector collector(cloud.file);
  static_cast<FileHead&>(cloud.file) = StreamSelected(readers, path, filter, request, collector, cloud);
  cloud.file.nonFinite = cloud.nonFinite;
  cloud.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  return cloud;
}

}  // namespace primfit::io
