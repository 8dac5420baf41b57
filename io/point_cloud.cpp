// The memory of a cloud. It has a file of its own because, besides opening files, it is the only part of the
// readers that calls the operating system.
#include "io/point_cloud.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>

namespace primfit::io {

void Reserve(PointCloud& cloud, std::size_t n) {
  cloud.points.reserve(cloud.points.size() + n);
  // Advice is for whole pages only, and the array begins anywhere in its first one.
  const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
  const auto misfit = static_cast<std::size_t>(reinterpret_cast<std::uintptr_t>(cloud.points.data()) % page);
  const std::size_t skipped = (page - misfit) % page;
  const std::size_t size = cloud.points.capacity() * sizeof(Eigen::Vector3d);
  if (size < skipped + page) return;
  char* first = reinterpret_cast<char*>(cloud.points.data()) + skipped;
  ::madvise(first, (size - skipped) / page * page, MADV_HUGEPAGE);  // refused advice does no harm
}

}  // namespace primfit::io
