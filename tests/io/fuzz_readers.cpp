// libFuzzer target over all readers: the first byte picks the extension, the rest is the file.
//   cmake --preset debug -DCMAKE_CXX_COMPILER=clang++ -DPRIMFIT_BUILD_FUZZERS=ON && .../fuzz_readers corpus/
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "io/read_points.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  constexpr std::string_view kNames[] = {"a.ply", "a.pcd", "a.xyz", "a.pts"};
  const std::string_view bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
  static const primfit::io::Readers readers = primfit::io::NativeReaders();
  try {
    const primfit::io::PointCloud cloud = primfit::io::ParsePoints(readers, kNames[data[0] % 4], bytes);
    if (cloud.points.size() > size || cloud.nonFinite > cloud.points.size()) std::abort();
  } catch (const primfit::io::ReadError&) {
  }
  return 0;
}
