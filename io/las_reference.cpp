#include "io/las_reference.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <optional>
#include <string>

#include "io/rows.h"
#include "io/scalar.h"

namespace primfit::io {

namespace {

/// Identifiers of the records.
constexpr int kGeoKeys = 34735, kGeoText = 34737, kWellKnownText = 2112;

/// Keys of GeoTIFF.
enum Key : int {
  kCitation = 1026,
  kProjectedSystem = 3072,
  kProjectedCitation = 3073,
  kHorizontalUnit = 3076,
  kVerticalUnit = 4099
};
constexpr int kUserDefined = 32767;

/// Metres in a unit by its EPSG code; 0 for others.
double MetresOfCode(int code) {
  switch (code) {
    case 9001:
      return 1;
    case 9002:
      return 0.3048;
    case 9003:
      return 1200.0 / 3937.0;  // of the US survey
    default:
      return 0;
  }
}

/// The directory: four numbers of 16 bits for itself, then four for each key.
class GeoKeys {
 public:
  GeoKeys(std::string_view directory, std::string_view text) : directory_(directory), text_(text) {}

  /// The value of a key that is a number.
  std::optional<int> Number(int key) const {
    const std::optional<Entry> entry = Find(key);
    return entry && entry->place == 0 ? std::optional(entry->value) : std::nullopt;
  }
  /// The value of a key that is text.
  std::string Text(int key) const {
    const std::optional<Entry> entry = Find(key);
    if (!entry || entry->place != kGeoText || static_cast<std::size_t>(entry->value) > text_.size())
      return {};
    const std::string_view text =
        text_.substr(static_cast<std::size_t>(entry->value), static_cast<std::size_t>(entry->count));
    return std::string(Trimmed(text.substr(0, text.find_first_of(std::string_view("|\0", 2)))));
  }

 private:
  struct Entry {
    int place, count, value;
  };
  std::optional<Entry> Find(int key) const {
    constexpr std::size_t kEntry = 8;
    for (std::size_t at = kEntry; at + kEntry <= directory_.size(); at += kEntry) {
      const auto number = [&](std::size_t k) {
        return static_cast<int>(
            LoadNumber(ScalarType::kUint16, directory_.data() + at + 2 * k, std::endian::little));
      };
      if (number(0) == key) return Entry{number(1), number(2), number(3)};
    }
    return std::nullopt;
  }

  std::string_view directory_, text_;
};

std::string_view DataOf(const std::vector<LasRecord>& records, int id) {
  const auto at = std::find_if(records.begin(), records.end(), [&](const LasRecord& record) {
    return record.user == "LASF_Projection" && record.id == id;
  });
  return at == records.end() ? std::string_view() : at->data;
}

CoordinateReference ReferenceFromKeys(const GeoKeys& keys) {
  CoordinateReference reference;
  reference.horizontalMetres = MetresOfCode(keys.Number(kHorizontalUnit).value_or(0));
  reference.verticalMetres = MetresOfCode(keys.Number(kVerticalUnit).value_or(0));
  const int code = keys.Number(kProjectedSystem).value_or(0);
  if (code > 0 && code != kUserDefined) reference.system = "EPSG:" + std::to_string(code);
  for (const int key : {kProjectedCitation, kCitation}) {
    if (reference.system.empty()) reference.system = keys.Text(key);
  }
  return reference;
}

/// The number behind the comma of UNIT["foot",0.3048] or LENGTHUNIT[...]; nothing where it is none.
std::optional<double> UnitBehind(std::string_view text) {
  const std::size_t comma = text.find(',');
  if (comma == std::string_view::npos) return std::nullopt;
  const std::string_view number = text.substr(comma + 1);
  double metres = 0;
  if (!ParseNumber(Trimmed(number.substr(0, number.find_first_of(",]"))), metres) || !(metres > 0))
    return std::nullopt;
  return metres;
}

/// The last unit of length in a part of the text: units of angles stand before it.
double LengthUnitIn(std::string_view text) {
  for (std::size_t at = text.rfind("UNIT["); at != std::string_view::npos; at = text.rfind("UNIT[", at - 1)) {
    const bool isAngle = at >= 5 && text.substr(at - 5, 5) == "ANGLE";
    if (const auto metres = UnitBehind(text.substr(at)); metres && !isAngle) return *metres;
    if (at == 0) break;
  }
  return 0;
}

}  // namespace

CoordinateReference ReferenceFromText(std::string_view text) {
  CoordinateReference reference;
  text = text.substr(0, text.find('\0'));
  if (const std::size_t quote = text.find('"'); quote != std::string_view::npos)
    reference.system = text.substr(quote + 1, text.find('"', quote + 1) - quote - 1);
  const std::size_t projected = std::min(text.find("PROJCS["), text.find("PROJCRS["));
  const std::size_t vertical = std::min(text.find("VERT_CS["), text.find("VERTCRS["));
  if (projected != std::string_view::npos) {
    const std::size_t end = vertical > projected ? vertical : std::string_view::npos;
    reference.horizontalMetres = LengthUnitIn(text.substr(projected, end - projected));
  }
  if (vertical != std::string_view::npos) reference.verticalMetres = LengthUnitIn(text.substr(vertical));
  return reference;
}

CoordinateReference ReferenceOf(const std::vector<LasRecord>& records) {
  if (const std::string_view text = DataOf(records, kWellKnownText); !text.empty())
    return ReferenceFromText(text);
  return ReferenceFromKeys({DataOf(records, kGeoKeys), DataOf(records, kGeoText)});
}

}  // namespace primfit::io
