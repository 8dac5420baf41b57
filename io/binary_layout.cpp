// Decoding goes block by block. The coordinates are decoded one after the other, which takes three passes
// over the rows, and a fourth looks for numbers that are not finite. Blocks of 1024 rows stay in the
// first-level cache meanwhile, so that each byte comes from memory once.
#include "io/binary_layout.h"

#include <algorithm>

namespace primfit::io {

void DecodePoints(const BinaryLayout& layout, std::string_view body, std::size_t first, std::size_t n,
                  Eigen::Vector3d* out) {
  for (std::size_t axis = 0; axis < 3; ++axis) {
    const Column& column = layout.coordinates[axis];
    const char* at = body.data() + column.offset + first * column.stride;
    LoadNumbers({at, column.stride, column.type}, layout.order, n, out->data() + axis, 3);
    const double scale = layout.scale[axis], offset = layout.offset[axis];
    if (scale == 1 && offset == 0) continue;
    const auto k = static_cast<Eigen::Index>(axis);
    std::for_each(out, out + n, [&](Eigen::Vector3d& p) { p[k] = scale * p[k] + offset; });
  }
}

void AppendPoints(const BinaryLayout& layout, std::string_view body, PointCloud& cloud) {
  constexpr std::size_t kBlock = 1024;
  Reserve(cloud, layout.points);
  const std::size_t before = cloud.points.size();
  cloud.points.resize(before + layout.points);
  for (std::size_t first = 0; first < layout.points; first += kBlock) {
    const std::size_t n = std::min(kBlock, layout.points - first);
    Eigen::Vector3d* block = cloud.points.data() + before + first;
    DecodePoints(layout, body, first, n, block);
    cloud.nonFinite += static_cast<std::size_t>(
        std::count_if(block, block + n, [](const Eigen::Vector3d& p) { return !p.allFinite(); }));
  }
}

}  // namespace primfit::io
