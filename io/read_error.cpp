// Errors quote what stands in files, and that can be anything. Bytes that would control a terminal or break a
// line of a log are replaced here, so that no stage has to think of it.
#include "io/read_error.h"

#include <algorithm>

#include "io/file_bytes.h"
#include "io/words.h"

namespace primfit::io {

namespace {

std::string Text(std::string_view file, std::string_view where, std::string_view reason) {
  std::string text(file);
  text += ": ";
  if (!where.empty()) text.append(where) += ": ";
  return OneLine(text.append(reason));
}

}  // namespace

ReadError::ReadError(std::string_view file, std::string_view where, std::string_view reason)
    : std::runtime_error(Text(file, where, reason)) {}

void Source::DoneBefore(std::size_t byte) const {
  if (file != nullptr) file->DoneBefore(byte);
}

void Source::FailAtLine(std::size_t line, std::string_view reason) const {
  throw ReadError(name, "line " + std::to_string(line), reason);
}

void Source::FailAtByte(std::size_t byte, std::string_view reason) const {
  throw ReadError(name, "byte " + std::to_string(byte), reason);
}

std::string Quoted(std::string_view text) {
  constexpr std::size_t kLongest = 40;
  std::string quoted(text.substr(0, kLongest));
  std::replace_if(
      quoted.begin(), quoted.end(), [](unsigned char c) { return c < ' ' || c >= 127; }, '?');
  return '"' + quoted + (text.size() > kLongest ? "...\"" : "\"");
}

}  // namespace primfit::io
