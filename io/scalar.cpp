#include "io/scalar.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace primfit::io {

namespace {

struct ScalarNames {
  Scalar type;
  std::string_view name;
  std::string_view olderName;
};

constexpr ScalarNames kScalars[] = {
    {Scalar::kInt8, "int8", "char"},        {Scalar::kUint8, "uint8", "uchar"},
    {Scalar::kInt16, "int16", "short"},     {Scalar::kUint16, "uint16", "ushort"},
    {Scalar::kInt32, "int32", "int"},       {Scalar::kUint32, "uint32", "uint"},
    {Scalar::kInt64, "int64", "long"},      {Scalar::kUint64, "uint64", "ulong"},
    {Scalar::kFloat32, "float32", "float"}, {Scalar::kFloat64, "float64", "double"},
};

/// Calls f with a value of the C++ type.
template <class F>
auto WithType(Scalar type, F&& f) {
  switch (type) {
    case Scalar::kInt8:
      return f(std::int8_t{});
    case Scalar::kUint8:
      return f(std::uint8_t{});
    case Scalar::kInt16:
      return f(std::int16_t{});
    case Scalar::kUint16:
      return f(std::uint16_t{});
    case Scalar::kInt32:
      return f(std::int32_t{});
    case Scalar::kUint32:
      return f(std::uint32_t{});
    case Scalar::kInt64:
      return f(std::int64_t{});
    case Scalar::kUint64:
      return f(std::uint64_t{});
    case Scalar::kFloat32:
      return f(float{});
    case Scalar::kFloat64:
      break;
  }
  return f(double{});
}

std::uint8_t Swapped(std::uint8_t bits) { return bits; }
std::uint16_t Swapped(std::uint16_t bits) { return __builtin_bswap16(bits); }
std::uint32_t Swapped(std::uint32_t bits) { return __builtin_bswap32(bits); }
std::uint64_t Swapped(std::uint64_t bits) { return __builtin_bswap64(bits); }

template <std::size_t kSize>
using BitsOfSize =
    std::conditional_t<kSize == 1, std::uint8_t,
                       std::conditional_t<kSize == 2, std::uint16_t,
                                          std::conditional_t<kSize == 4, std::uint32_t, std::uint64_t>>>;

template <class T, bool kSwap>
double LoadAs(const char* at) {
  BitsOfSize<sizeof(T)> bits;
  std::memcpy(&bits, at, sizeof bits);
  if constexpr (kSwap) bits = Swapped(bits);
  return static_cast<double>(std::bit_cast<T>(bits));
}

template <class T, bool kSwap>
void CopyColumn(const Column& column, std::size_t from, std::size_t n, double* out) {
  const char* at = column.first + from * column.stride;
  for (std::size_t i = 0; i < n; ++i, at += column.stride) out[3 * i] = LoadAs<T, kSwap>(at);
}

}  // namespace

std::size_t SizeOf(Scalar type) {
  return WithType(type, [](auto value) { return sizeof value; });
}

std::string_view NameOf(Scalar type) { return kScalars[static_cast<std::size_t>(type)].name; }

std::optional<Scalar> ScalarByName(std::string_view name) {
  for (const ScalarNames& s : kScalars) {
    if (name == s.name || name == s.olderName) return s.type;
  }
  return std::nullopt;
}

double Load(Scalar type, const char* at, std::endian order) {
  return WithType(type, [&](auto value) {
    using T = decltype(value);
    return order == std::endian::native ? LoadAs<T, false>(at) : LoadAs<T, true>(at);
  });
}

void Reserve(PointCloud& cloud, std::size_t n) {
  cloud.points.reserve(cloud.points.size() + n);
  const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
  const auto misfit = static_cast<std::size_t>(reinterpret_cast<std::uintptr_t>(cloud.points.data()) % page);
  const std::size_t skipped = (page - misfit) % page;
  const std::size_t size = cloud.points.capacity() * sizeof(Eigen::Vector3d);
  if (size < skipped + page) return;
  char* first = reinterpret_cast<char*>(cloud.points.data()) + skipped;
  ::madvise(first, (size - skipped) / page * page, MADV_HUGEPAGE);  // refused advice does no harm
}

void AppendPoints(const std::array<Column, 3>& columns, std::endian order, std::size_t n, PointCloud& cloud) {
  constexpr std::size_t kBlock = 1024;  // rows that stay in the first-level cache over the three columns
  Reserve(cloud, n);
  const std::size_t before = cloud.points.size();
  cloud.points.resize(before + n);
  for (std::size_t from = 0; from < n; from += kBlock) {
    const std::size_t count = std::min(kBlock, n - from);
    Eigen::Vector3d* block = cloud.points.data() + before + from;
    for (std::size_t axis = 0; axis < 3; ++axis) {
      WithType(columns[axis].type, [&](auto value) {
        using T = decltype(value);
        double* out = block->data() + axis;
        if (order == std::endian::native) {
          CopyColumn<T, false>(columns[axis], from, count, out);
        } else {
          CopyColumn<T, true>(columns[axis], from, count, out);
        }
      });
    }
    cloud.nonFinite += static_cast<std::size_t>(
        std::count_if(block, block + count, [](const Eigen::Vector3d& p) { return !p.allFinite(); }));
  }
}

}  // namespace primfit::io
