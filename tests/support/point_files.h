// Point files made in memory, byte by byte, for the tests of the readers and of the program.
#ifndef PRIMFIT_TESTS_SUPPORT_POINT_FILES_H_
#define PRIMFIT_TESTS_SUPPORT_POINT_FILES_H_

#include <lzf.h>

#include <Eigen/Core>
#include <algorithm>
#include <bit>
#include <boost/algorithm/string/replace.hpp>
#include <cstdint>
#include <string>
#include <vector>

namespace point_files {

using Points = std::vector<Eigen::Vector3d>;

/// The bytes of values, in an order of bytes.
template <class... T>
std::string Packed(std::endian order, T... values) {
  std::string bytes;
  const auto append = [&](const char* at, std::size_t size) {
    std::string one(at, size);
    if (order != std::endian::native) std::reverse(one.begin(), one.end());
    bytes += one;
  };
  (append(reinterpret_cast<const char*>(&values), sizeof values), ...);
  return bytes;
}

template <class T>
std::string PackedRows(std::endian order, const Points& points) {
  std::string bytes;
  for (const auto& p : points) {
    bytes += Packed(order, static_cast<T>(p.x()), static_cast<T>(p.y()), static_cast<T>(p.z()));
  }
  return bytes;
}

/// The elements are given as "camera 1: uchar id; vertex 2: float x, float y, float z".
inline std::string PlyHeader(const std::string& format, std::string elements) {
  for (const char* before : {": ", ", "}) boost::replace_all(elements, before, "\nproperty ");
  boost::replace_all(elements, "; ", "\nelement ");
  return "ply\nformat " + format + " 1.0\nelement " + elements + "\nend_header\n";
}
inline std::string PlyHeader(const std::string& format, std::size_t count, const std::string& type) {
  return PlyHeader(format,
                   "vertex " + std::to_string(count) + ": " + type + " x, " + type + " y, " + type + " z");
}

template <class T = double>
std::string BinaryPly(const Points& points, const std::string& type = "double",
                      std::endian order = std::endian::little) {
  const char* format = order == std::endian::big ? "binary_big_endian" : "binary_little_endian";
  return PlyHeader(format, points.size(), type) + PackedRows<T>(order, points);
}

/// fields, sizes, types and counts are the values of those lines.
inline std::string PcdHeader(std::size_t points, const std::string& data, const std::string& fields = "x y z",
                             const std::string& sizes = "4 4 4", const std::string& types = "F F F",
                             const std::string& counts = "1 1 1") {
  const std::string n = std::to_string(points);
  return "# .PCD v0.7 - Point Cloud Data file format\nVERSION 0.7\nFIELDS " + fields + "\nSIZE " + sizes +
         "\nTYPE " + types + "\nCOUNT " + counts + "\nWIDTH " + n +
         "\nHEIGHT 1\nVIEWPOINT 9 9 9 1 0 0 0\nPOINTS " + n + "\nDATA " + data + "\n";
}

inline std::string BinaryPcd(const Points& points) {
  return PcdHeader(points.size(), "binary") + PackedRows<float>(std::endian::little, points);
}

/// The compressed body of PCD: its two lengths and the LZF stream.
inline std::string Lzf(const std::string& values) {
  std::string packed(values.size() + values.size() / 16 + 64, '\0');
  const unsigned size = lzf_compress(values.data(), static_cast<unsigned>(values.size()), packed.data(),
                                     static_cast<unsigned>(packed.size()));
  return Packed(std::endian::little, static_cast<std::uint32_t>(size),
                static_cast<std::uint32_t>(values.size())) +
         packed.substr(0, size);
}

inline std::string CompressedPcd(const Points& points) {
  std::string values;
  for (Eigen::Index axis = 0; axis < 3; ++axis) {
    for (const auto& p : points) values += Packed(std::endian::little, static_cast<float>(p[axis]));
  }
  return PcdHeader(points.size(), "binary_compressed") + Lzf(values);
}

}  // namespace point_files

#endif  // PRIMFIT_TESTS_SUPPORT_POINT_FILES_H_
