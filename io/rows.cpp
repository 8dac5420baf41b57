#include "io/rows.h"

#include <fast_float/fast_float.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>

#include "io/read_error.h"
#include "io/words.h"

namespace primfit::io {

namespace {

bool IsBlank(char c) { return c == ' ' || c == '\t'; }

// Whole lines end in CR alone only on very old systems; the first line end shows it.
char NewlineOf(std::string_view bytes) {
  const std::size_t at = bytes.find_first_of("\r\n");
  if (at == std::string_view::npos || bytes[at] == '\n') return '\n';
  return at + 1 < bytes.size() && bytes[at + 1] != '\n' ? '\r' : '\n';
}

bool ParsePlainNumber(std::string_view field, double& value) {
  const char* last = field.data() + field.size();
  const auto [end, error] = fast_float::from_chars(field.data(), last, value);
  return error == std::errc() && end == last;
}

// -1.#IND, 1.#QNAN, 1.#INF00 and the like.
bool ParseWindowsNonFinite(std::string_view field, double& value) {
  if (field.starts_with('-') || field.starts_with('+')) field.remove_prefix(1);
  if (!field.starts_with("1.#")) return false;
  field.remove_prefix(3);
  const bool infinite = field.starts_with("INF");
  if (!infinite && !field.starts_with("QNAN") && !field.starts_with("SNAN") && !field.starts_with("IND")) {
    return false;
  }
  value = infinite ? std::numeric_limits<double>::infinity() : std::numeric_limits<double>::quiet_NaN();
  return true;
}

bool ParseUnusualNumber(std::string_view field, double& value, bool decimalComma) {
  constexpr std::size_t kLongest = 1000;
  if (field.size() > kLongest) return false;
  if (ParseWindowsNonFinite(field, value)) return true;
  std::string usual(field);
  for (char& c : usual) {
    if (c == 'd' || c == 'D') c = 'e';
    if (c == ',' && decimalComma) c = '.';
  }
  if (usual.size() > 1 && usual[0] == '+' && usual[1] != '-') usual.erase(0, 1);
  return ParsePlainNumber(usual, value);
}

}  // namespace

LineReader::LineReader(std::string_view bytes) : bytes_(bytes), newline_(NewlineOf(bytes)) {}

bool LineReader::Next(std::string_view& line) {
  if (offset_ >= bytes_.size()) return false;
  const std::size_t end = std::min(bytes_.find(newline_, offset_), bytes_.size());
  line = bytes_.substr(offset_, end - offset_);
  if (line.ends_with('\r')) line.remove_suffix(1);
  offset_ = std::min(end + 1, bytes_.size());
  ++number_;
  return true;
}

bool LineReader::NextFilled(std::string_view& line) {
  while (Next(line)) {
    if (!std::all_of(line.begin(), line.end(), IsBlank)) return true;
  }
  return false;
}

std::string_view Trimmed(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

bool FieldCursor::Next(std::string_view& field) {
  const char* at = rest_.data();
  const char* const last = at + rest_.size();
  while (at != last && IsBlank(*at)) ++at;
  if (at == last) return false;
  const char* const first = at;
  if (separator_ == Separator::kBlanks) {
    while (at != last && !IsBlank(*at)) ++at;
    field = {first, static_cast<std::size_t>(at - first)};
  } else {
    while (at != last && *at != static_cast<char>(separator_)) ++at;
    field = Trimmed({first, static_cast<std::size_t>(at - first)});
    if (at != last) ++at;
  }
  rest_ = {at, static_cast<std::size_t>(last - at)};
  return true;
}

bool FieldCursor::Skip(std::size_t fields) {
  std::string_view field;
  for (; fields > 0; --fields) {
    if (!Next(field)) return false;
  }
  return true;
}

std::size_t CountFields(std::string_view line, Separator separator) {
  FieldCursor cursor(line, separator);
  std::size_t count = 0;
  for (std::string_view field; cursor.Next(field);) ++count;
  return count;
}

bool ParseNumber(std::string_view field, double& value, bool decimalComma) {
  return ParsePlainNumber(field, value) || ParseUnusualNumber(field, value, decimalComma);
}

std::optional<std::uint64_t> ParseCount(std::string_view field) {
  std::uint64_t count = 0;
  const char* last = field.data() + field.size();
  const auto [end, error] = std::from_chars(field.data(), last, count);
  if (error != std::errc() || end != last || field.empty()) return std::nullopt;
  return count;
}

RowShape::RowShape(Separator separator, std::array<std::size_t, 3> columns,
                   std::optional<std::size_t> exactly)
    : separator_(separator), steps_{{{columns[0], 0}, {columns[1], 1}, {columns[2], 2}}}, exactly_(exactly) {
  std::sort(steps_.begin(), steps_.end(), [](const Step& a, const Step& b) { return a.column < b.column; });
}

bool RowShape::Read(std::string_view line, Eigen::Vector3d& point) const {
  FieldCursor fields(line, separator_);
  std::size_t read = 0;
  std::string_view field;
  for (const Step& step : steps_) {
    if (!fields.Skip(step.column - read) || !fields.Next(field)) return false;
    if (!ParseNumber(field, point[step.axis], separator_ == Separator::kSemicolon)) return false;
    read = step.column + 1;
  }
  return !exactly_ || (fields.Skip(*exactly_ - read) && !fields.Next(field));
}

std::string RowShape::Fault(std::string_view line) const {
  const std::size_t needed = exactly_.value_or(steps_.back().column + 1);
  const std::size_t count = CountFields(line, separator_);
  if (count < needed || (exactly_ && count > needed)) {
    return Counted(count, "value") + " where " + (exactly_ ? "" : "at least ") + std::to_string(needed) +
           " are needed; correct the line or export the file again";
  }
  for (const Step& step : steps_) {
    FieldCursor fields(line, separator_);
    fields.Skip(step.column);
    std::string_view field;
    double value = 0;
    fields.Next(field);
    if (ParseNumber(field, value, separator_ == Separator::kSemicolon)) continue;
    return Quoted(field) + " in column " + std::to_string(step.column + 1) +
           " is not a number; correct it or write nan" +
           (separator_ == Separator::kComma ? " (decimal commas need semicolons between the values)" : "");
  }
  return "is not a point";
}

}  // namespace primfit::io
