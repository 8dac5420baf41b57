// libFuzzer target over all readers and the choice among them: the first byte picks the extension and whether
// attributes are asked for, the rest is the file.
//   cmake --preset debug -DCMAKE_CXX_COMPILER=clang++ -DPRIMFIT_BUILD_FUZZERS=ON && .../fuzz_readers corpus/
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <string_view>

#include "io/read_points.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  constexpr std::string_view kNames[] = {"a.ply", "a.pcd", "a.xyz", "a.pts", "a.ptx", "a.las", "a"};
  const std::string_view bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
  static const primfit::io::Readers readers = primfit::io::NativeReaders();
  primfit::io::ReadRequest request;
  if (data[0] & 0x80) request.attributes = {"intensity", "scan", "red", "time", "classification"};
  if (data[0] & 0x40) request.attributes = {"intensity"};
  if (data[0] & 0x20) request.columns = {"2", "3", "1"};
  try {
    const primfit::io::PointCloud cloud =
        primfit::io::ParsePoints(readers, kNames[(data[0] & 0x1f) % std::size(kNames)], bytes, request);
    if (cloud.points.size() > size || cloud.nonFinite > cloud.points.size()) std::abort();
    for (const auto& values : cloud.attributes) {
      if (values.size() != cloud.points.size()) std::abort();
    }
  } catch (const primfit::io::ReadError&) {
  }
  return 0;
}
