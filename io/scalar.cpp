// Loading numbers by their type. The loops are templates over the type and the order of bytes, and a switch
// outside of them picks one, so that no loop asks for the type again at every number. Numbers stand at any
// address in a file, so their bytes are copied before they are used as a number.
#include "io/scalar.h"

#include <cstdint>
#include <cstring>
#include <type_traits>

namespace primfit::io {

namespace {

struct ScalarNames {
  ScalarType type;
  std::string_view name;
  std::string_view olderName;
};

constexpr ScalarNames kScalars[] = {
    {ScalarType::kInt8, "int8", "char"},        {ScalarType::kUint8, "uint8", "uchar"},
    {ScalarType::kInt16, "int16", "short"},     {ScalarType::kUint16, "uint16", "ushort"},
    {ScalarType::kInt32, "int32", "int"},       {ScalarType::kUint32, "uint32", "uint"},
    {ScalarType::kInt64, "int64", "long"},      {ScalarType::kUint64, "uint64", "ulong"},
    {ScalarType::kFloat32, "float32", "float"}, {ScalarType::kFloat64, "float64", "double"},
};

/// Calls f with a value of the C++ type that a type of number has.
template <class F>
auto WithType(ScalarType type, F&& f) {
  switch (type) {
    case ScalarType::kInt8:
      return f(std::int8_t{});
    case ScalarType::kUint8:
      return f(std::uint8_t{});
    case ScalarType::kInt16:
      return f(std::int16_t{});
    case ScalarType::kUint16:
      return f(std::uint16_t{});
    case ScalarType::kInt32:
      return f(std::int32_t{});
    case ScalarType::kUint32:
      return f(std::uint32_t{});
    case ScalarType::kInt64:
      return f(std::int64_t{});
    case ScalarType::kUint64:
      return f(std::uint64_t{});
    case ScalarType::kFloat32:
      return f(float{});
    case ScalarType::kFloat64:
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
void LoadAllAs(const Strided& from, std::size_t n, double* out, std::size_t outStep) {
  const char* at = from.first;
  for (std::size_t i = 0; i < n; ++i, at += from.stride, out += outStep) *out = LoadAs<T, kSwap>(at);
}

}  // namespace

std::size_t SizeOf(ScalarType type) {
  return WithType(type, [](auto value) { return sizeof value; });
}

std::string_view NameOf(ScalarType type) { return kScalars[static_cast<std::size_t>(type)].name; }

std::optional<ScalarType> ScalarTypeByName(std::string_view name) {
  for (const ScalarNames& s : kScalars) {
    if (name == s.name || name == s.olderName) return s.type;
  }
  return std::nullopt;
}

double LoadNumber(ScalarType type, const char* at, std::endian order) {
  return WithType(type, [&](auto value) {
    using T = decltype(value);
    return order == std::endian::native ? LoadAs<T, false>(at) : LoadAs<T, true>(at);
  });
}

void LoadNumbers(const Strided& from, std::endian order, std::size_t n, double* out, std::size_t outStep) {
  WithType(from.type, [&](auto value) {
    using T = decltype(value);
    if (order == std::endian::native) {
      LoadAllAs<T, false>(from, n, out, outStep);
    } else {
      LoadAllAs<T, true>(from, n, out, outStep);
    }
  });
}

}  // namespace primfit::io
