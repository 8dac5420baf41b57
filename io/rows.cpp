// A number is first parsed by the fast function, which takes what nearly all files hold. Only a field that it
// refuses is parsed again, in the notations of Fortran, of older C libraries and of decimal commas. This
// order is what makes text fast to read.
#include "io/rows.h"

#include <fast_float/fast_float.h>

#include <algorithm>
#include <charconv>
#include <limits>

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

LineReader::LineReader(std::string_view bytes, TextPlace from)
    : bytes_(bytes), place_(from), newline_(NewlineOf(bytes)) {}

bool LineReader::Next(std::string_view& line) {
  if (place_.byte >= bytes_.size()) return false;
  const std::size_t end = std::min(bytes_.find(newline_, place_.byte), bytes_.size());
  line = bytes_.substr(place_.byte, end - place_.byte);
  if (line.ends_with('\r')) line.remove_suffix(1);
  place_.byte = std::min(end + 1, bytes_.size());
  ++place_.line;
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

Separator SeparatorOf(std::string_view line) {
  if (line.find(';') != std::string_view::npos) return Separator::kSemicolon;
  return line.find(',') != std::string_view::npos ? Separator::kComma : Separator::kBlanks;
}

std::size_t CommentMarkLength(std::string_view line) {
  if (line.starts_with("//")) return 2;
  return line.starts_with('#') || line.starts_with(';') || line.starts_with('%') ? 1 : 0;
}

bool FieldCursor::NextNumber(double& value) {
  const char* at = rest_.data();
  const char* const last = at + rest_.size();
  while (at != last && IsBlank(*at)) ++at;
  const auto [end, error] = fast_float::from_chars(at, last, value);
  const char* behind = end;
  while (behind != last && IsBlank(*behind)) ++behind;
  const bool blanks = separator_ == Separator::kBlanks;
  const bool whole =
      blanks ? end == last || behind != end : behind == last || *behind == static_cast<char>(separator_);
  if (error == std::errc() && whole) {
    if (!blanks && behind != last) ++behind;
    rest_ = {behind, static_cast<std::size_t>(last - behind)};
    return true;
  }
  std::string_view field;
  return Next(field) && ParseNumber(field, value, separator_ == Separator::kSemicolon);
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

}  // namespace primfit::io
