#include "report/number_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <numbers>

#include "io/words.h"

namespace primfit::report {

namespace {

constexpr int kDirectionDecimals = 9;
constexpr int kAngleDecimals = 6;
constexpr int kMostDecimals = 12;

/// Decimals that show two digits of a standard deviation.
int DecimalsOf(double deviation) {
  if (!(deviation > 0)) return kMostDecimals;
  return static_cast<int>(std::clamp(1 - std::floor(std::log10(deviation)), 0.0, double{kMostDecimals}));
}

/// Decimals of a part of which no standard deviation is known.
int DecimalsWithout(Quantity quantity, const Units& units) {
  if (quantity == Quantity::kDirection) return kDirectionDecimals;
  return quantity == Quantity::kAngle ? kAngleDecimals : LengthDecimals(units);
}

}  // namespace

std::string Fixed(double value, int decimals) {
  if (!std::isfinite(value)) return "unknown";
  std::string text = fmt::format("{:.{}f}", value, decimals);
  if (text.find_first_not_of("-0.") == std::string::npos && text.front() == '-') text.erase(0, 1);
  return text;
}

int LengthDecimals(const Units& units) {
  constexpr double kMicrometre = 1e-6;
  constexpr double kRounding = 1e-9;  // so that a millimetre has three
  if (!(units.lengthMetres > 0)) return kMostDecimals;
  const double digits = std::ceil(std::log10(units.lengthMetres / kMicrometre) - kRounding);
  return static_cast<int>(std::clamp(digits, 0.0, double{kMostDecimals}));
}

std::string LengthText(double value, const Units& units) {
  return fmt::format("{} {}", Fixed(value, LengthDecimals(units)), io::OneLine(units.length));
}

std::string RangeText(double from, double to, const Units& units) {
  if (!std::isfinite(to)) return LengthText(from, units) + " and more";
  return fmt::format("{} to {}", Fixed(from, LengthDecimals(units)), LengthText(to, units));
}

std::string PartText(const PartValue& part, const Units& units) {
  const bool isDirection = part.quantity == Quantity::kDirection;
  const bool isLength = part.quantity == Quantity::kPosition || part.quantity == Quantity::kLength;
  const std::string unit = io::OneLine(isLength ? units.length : units.angle);
  const bool isKnown = part.standardDeviation && std::isfinite(*part.standardDeviation);
  int decimals = DecimalsWithout(part.quantity, units);
  std::string after = isDirection ? "" : " " + unit;
  if (isKnown) {
    const double deviation = *part.standardDeviation;  // of a direction in degrees, its numbers have none
    decimals = DecimalsOf(isDirection ? deviation * std::numbers::pi / 180 : deviation);
    after = fmt::format(" ± {} {}", Fixed(deviation, DecimalsOf(deviation)), unit);
  } else if (part.standardDeviation) {
    after += " ± not determined by the points";
  }
  std::string text;
  for (const double number : part.value) text += (text.empty() ? "" : ", ") + Fixed(number, decimals);
  return text + after;
}

}  // namespace primfit::report
