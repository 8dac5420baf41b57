// Numbers are read by the same parser as those of point files: it takes no hexadecimal and no octal ones.
#include "cli/numbers.h"

#include <fmt/format.h>

#include <Eigen/Core>
#include <climits>
#include <cmath>
#include <cstdint>

#include "cli/errors.h"
#include "io/rows.h"
#include "io/words.h"

namespace primfit::cli {

bool StartsWithNumber(const std::string& text) {
  double number = 0;
  return io::ParseNumber(std::string_view(text).substr(0, text.find(',')), number);
}

double DecimalOf(const char* option, const std::string& text) {
  double number = 0;
  if (io::ParseNumber(text, number)) return number;
  throw UsageError(fmt::format("{} \"{}\" is not a number{}", option, text,
                               StartsWithNumber(text) ? "; decimals stand behind a point" : ""));
}

int CountOf(const char* option, const std::string& text) {
  const std::optional<std::uint64_t> count = io::ParseCount(text);
  if (count && *count > 0 && *count <= INT_MAX) return static_cast<int>(*count);
  throw UsageError(fmt::format("{} \"{}\" is not a whole number from 1 to {}", option, text, INT_MAX));
}

std::vector<double> ParseNumbers(const char* option, const std::string& text, std::size_t count,
                                 const std::string& names) {
  std::vector<double> numbers;
  io::FieldCursor fields(text, io::Separator::kComma);
  double number = 0;
  bool good = true;
  for (std::string_view field; fields.Next(field); numbers.push_back(number)) {
    good = good && io::ParseNumber(field, number) && std::isfinite(number);
  }
  if (good && numbers.size() == count) return numbers;
  if (count == 1) {
    throw UsageError(fmt::format("{} \"{}\" is not a finite number{}", option, text,
                                 numbers.size() > 1 ? "; decimals stand behind a point" : ""));
  }
  throw UsageError(
      fmt::format("{} needs {} numbers between commas ({}), not \"{}\"", option, count, names, text));
}

void CheckRange(const char* option, double value, double low, double high, std::string_view unit) {
  if (value >= low && value <= high && std::isfinite(value)) return;  // false for NaN
  throw UsageError(std::isinf(high)
                       ? fmt::format("{} {} is not a number of at least {}{}", option, value, low, unit)
                       : fmt::format("{} {} is not within {} to {}{}", option, value, low, high, unit));
}

std::string NamesOf(std::span<const Part> parts, std::size_t numbers) {
  std::string text;
  ForEachPart(parts, numbers, [&](const Part& part, std::size_t, std::size_t) {
    text += text.empty() ? "" : ", ";
    text += part.name;
    if (part.Size() == 3) text += " x,y,z";
    if (QuantityOf(part) == Quantity::kAngle) text += " in degrees";
  });
  return text;
}

std::vector<double> ParseParts(const char* option, const std::string& text, std::span<const Part> parts,
                               std::size_t count) {
  std::vector<double> numbers = ParseNumbers(option, text, count, NamesOf(parts, count));
  ForEachPart(parts, count, [&](const Part& part, std::size_t, std::size_t offset) {
    if (QuantityOf(part) != Quantity::kDirection) return;
    const double length = Eigen::Vector3d(numbers.data() + offset).norm();  // very small ones count as 0
    if (length > 0 && std::isfinite(length)) return;
    throw UsageError(
        fmt::format("{} has {} of length {}; give a direction", option, io::WithArticle(part.name), length));
  });
  return numbers;
}

void Require(bool valid, const char* option, double value, std::string_view what) {
  if (!valid) throw UsageError(fmt::format("{} {} is not {}", option, value, what));
}
void RequireLength(const char* option, const std::optional<double>& value, const report::Unit& unit) {
  if (value)
    Require(*value > 0 && std::isfinite(*value), option, *value,
            fmt::format("a length above 0 {}", unit.name));
}

}  // namespace primfit::cli
