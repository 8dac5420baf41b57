// The bytes of a file in one piece, as the parsers want them. A regular file is mapped, which saves a copy;
// what cannot be mapped, such as a pipe, is read into memory first, and looks the same to the parsers.
#ifndef PRIMFIT_IO_FILE_BYTES_H_
#define PRIMFIT_IO_FILE_BYTES_H_

#include <cstddef>
#include <string>
#include <string_view>

namespace primfit::io {

/// The contents of a file: mapped when it is a regular one, read to the end when it is a pipe or a terminal.
/// A mapped file that another program cuts short meanwhile raises SIGBUS where the lost part is touched.
class FileBytes {
 public:
  /// @param path  "-" is standard input
  /// @throws ReadError when it cannot be opened or read, or is a directory or device
  explicit FileBytes(const std::string& path);
  FileBytes(const FileBytes&) = delete;
  FileBytes& operator=(const FileBytes&) = delete;
  ~FileBytes();

  std::string_view View() const { return view_; }

 private:
  void* mapping_ = nullptr;
  std::size_t mappedSize_ = 0;
  std::string read_;
  std::string_view view_;
};

}  // namespace primfit::io

#endif  // PRIMFIT_IO_FILE_BYTES_H_
