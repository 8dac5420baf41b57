// The grammar of messages in which a number or a name varies, so that none says "1 points" or "a arc", and
// that none breaks a line.
#ifndef PRIMFIT_IO_WORDS_H_
#define PRIMFIT_IO_WORDS_H_

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

namespace primfit::io {

/// "1 point", "2 points".
inline std::string Counted(std::uint64_t count, std::string_view noun) {
  return std::to_string(count).append(1, ' ').append(noun) + (count == 1 ? "" : "s");
}

/// "a plane", "an arc".
inline std::string WithArticle(std::string_view noun) {
  const bool vowel = std::string_view("aeiou").find(noun.front()) != std::string_view::npos;
  return std::string(vowel ? "an " : "a ").append(noun);
}

/// Text of anybody's in one line that does no harm to a terminal: bytes that would control it are replaced.
inline std::string OneLine(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](unsigned char c) { return c < ' ' || c == 127; }, '?');
  return text;
}

}  // namespace primfit::io

#endif  // PRIMFIT_IO_WORDS_H_
