// The types of number that PLY and PCD files store, with the names that headers have for them. Both formats
// have the same ten, and a coordinate may be of any of them: some scanners write integers.
#ifndef PRIMFIT_IO_SCALAR_H_
#define PRIMFIT_IO_SCALAR_H_

#include <bit>
#include <cstddef>
#include <optional>
#include <string_view>

namespace primfit::io {

enum class ScalarType : unsigned char {
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

/// Bytes of a number.
std::size_t SizeOf(ScalarType type);
/// The sized name, such as "float32".
std::string_view NameOf(ScalarType type);
/// By PLY's sized name (float32) or by its older one (float).
std::optional<ScalarType> ScalarTypeByName(std::string_view name);

/// The number stored at an address, which need not be aligned.
double LoadNumber(ScalarType type, const char* at, std::endian order);

/// Numbers that stand at equal steps, such as one coordinate of consecutive points.
struct Strided {
  const char* first;
  std::size_t stride;  ///< bytes from one number to the next
  ScalarType type;
};

/// Loads n numbers. Choosing the type once for many of them is what makes binary files fast to read.
/// @param out      where the first goes
/// @param outStep  doubles from there to the place of the next
void LoadNumbers(const Strided& from, std::endian order, std::size_t n, double* out, std::size_t outStep);

}  // namespace primfit::io

#endif  // PRIMFIT_IO_SCALAR_H_
