// How reading fails: by one exception with one line of text, because people read it in a terminal and
// programs in a log. The stage that finds a fault knows its place (line or byte); the name of the file goes
// along with the bytes.
#ifndef PRIMFIT_IO_READ_ERROR_H_
#define PRIMFIT_IO_READ_ERROR_H_

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

namespace primfit::io {

/// A file that cannot be read. what() is one line: file, line number or byte offset, reason, what to do.
class ReadError : public std::runtime_error {
 public:
  /// @param where  "line 12", "byte 345", or empty when the fault has no place
  ReadError(std::string_view file, std::string_view where, std::string_view reason);
};

class FileBytes;

/// Contents of a file, and its name for errors. Lines count from 1, bytes from 0.
struct Source {
  std::string_view name;
  std::string_view bytes;
  FileBytes* file = nullptr;  ///< that the bytes are mapped from, if they are

  /// Says that the bytes before one are not needed again soon, so that they need not stay in memory.
  void DoneBefore(std::size_t byte) const;

  [[noreturn]] void FailAtLine(std::size_t line, std::string_view reason) const;
  [[noreturn]] void FailAtByte(std::size_t byte, std::string_view reason) const;
};

/// The text in quotes for an error: cut when it is long, bytes that a terminal should not see replaced.
std::string Quoted(std::string_view text);

}  // namespace primfit::io

#endif  // PRIMFIT_IO_READ_ERROR_H_
