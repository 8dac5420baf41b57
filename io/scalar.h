// Numbers as binary files store them.
#ifndef PRIMFIT_IO_SCALAR_H_
#define PRIMFIT_IO_SCALAR_H_

#include <array>
#include <bit>
#include <cstddef>
#include <optional>
#include <string_view>

#include "io/point_cloud.h"

namespace primfit::io {

enum class Scalar : unsigned char {
  kInt8,
  kUint8,
  kInt16,
  kUint16,
  kInt32,
  kUint32,
  kInt64,
  kUint64,
  kFloat32,
  kFloat64
};

std::size_t SizeOf(Scalar type);
std::string_view NameOf(Scalar type);
/// By PLY's sized name (float32) or by its older one (float).
std::optional<Scalar> ScalarByName(std::string_view name);

/// The number stored at an address, which need not be aligned.
double Load(Scalar type, const char* at, std::endian order);

/// One coordinate of consecutive points.
struct Column {
  const char* first;
  std::size_t stride;  ///< bytes from one point to the next
  Scalar type;
};

/// Makes room for n more points. The memory asks for huge pages: mapping a large cloud page by page takes
/// longer than filling it.
void Reserve(PointCloud& cloud, std::size_t n);

/// Appends n points whose coordinates stand in three columns, and counts those that are not finite.
void AppendPoints(const std::array<Column, 3>& columns, std::endian order, std::size_t n, PointCloud& cloud);

/// Appends one point.
inline void AppendPoint(const Eigen::Vector3d& p, PointCloud& cloud) {
  cloud.points.push_back(p);
  if (!p.allFinite()) ++cloud.nonFinite;
}

}  // namespace primfit::io

#endif  // PRIMFIT_IO_SCALAR_H_
