// Files and bytes in memory go through the same function, so that tests and the fuzzer can reach all of the
// readers without a file.
#include "io/read_points.h"

#include "io/checksum.h"
#include "io/file_bytes.h"

namespace primfit::io {

PointCloud ParsePoints(const Readers& readers, std::string_view name, std::string_view bytes) {
  const Source source{name, bytes};
  PointCloud cloud = readers.For(source).read(source);
  cloud.bytes = bytes.size();
  cloud.xxh128 = Xxh128(bytes);
  return cloud;
}

PointCloud ReadPoints(const Readers& readers, const std::string& path) {
  const FileBytes file(path);
  return ParsePoints(readers, path == "-" ? "standard input" : path, file.View());
}

}  // namespace primfit::io
