// The bytes of a file in one piece, as the parsers want them. A regular file is mapped, which saves a copy;
// what cannot be mapped, such as a pipe, and what is compressed with gzip looks the same to the parsers.
#ifndef PRIMFIT_IO_FILE_BYTES_H_
#define PRIMFIT_IO_FILE_BYTES_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

namespace primfit::io {

/// A file in memory, page by page when it is looked at.
class Mapping {
 public:
  Mapping() = default;
  /// @param fd  of the file, which can be closed afterwards; empty where the system refuses
  Mapping(int fd, std::size_t size);
  Mapping(Mapping&& other) noexcept { *this = std::move(other); }
  Mapping& operator=(Mapping&& other) noexcept {
    std::swap(first_, other.first_);
    std::swap(size_, other.size_);
    std::swap(done_, other.done_);
    return *this;
  }
  ~Mapping();

  bool IsEmpty() const { return first_ == nullptr; }
  std::string_view View() const { return {first_, size_}; }
  /// Gives the memory back that the bytes before one take. They can still be read, from the file again.
  void DoneBefore(std::size_t byte);
  /// Says that the bytes will be gone through again.
  void Rewind() { done_ = 0; }

 private:
  char* first_ = nullptr;
  std::size_t size_ = 0;
  std::size_t done_ = 0;  // bytes at the begin that have been given back
};

/// The contents of a file: mapped when it is a regular one, read to the end when it is a pipe or a terminal,
/// unpacked when they are compressed with gzip. What is read or unpacked stays in memory while it is little
/// and goes to a temporary file without a name (in TMPDIR, else /tmp) when it is much. A mapped file that
/// another program cuts short meanwhile raises SIGBUS where the lost part is touched.
class FileBytes {
 public:
  /// @param path  "-" is standard input
  /// @throws ReadError when it cannot be opened or read, is a directory or device, is damaged, or when there
  ///     is no room for what it unpacks to
  explicit FileBytes(const std::string& path);

  std::string_view View() const { return mapping_.IsEmpty() ? std::string_view(read_) : mapping_.View(); }
  /// Size of the file itself, packed if it is.
  std::size_t Size() const { return size_; }
  bool WasPacked() const { return wasPacked_; }
  /// Checksum of the file itself, see checksum.h.
  const std::string& Xxh128() const { return xxh128_; }
  void DoneBefore(std::size_t byte) { mapping_.DoneBefore(byte); }

 private:
  Mapping mapping_;
  std::string read_;
  std::size_t size_ = 0;
  std::string xxh128_;
  bool wasPacked_ = false;
};

}  // namespace primfit::io

#endif  // PRIMFIT_IO_FILE_BYTES_H_
