// Bytes of which nobody knows beforehand how many come: from a pipe, or out of a compressed file. A program
// that kept them all in memory would need several times the memory of the points.
#ifndef PRIMFIT_IO_SPOOL_H_
#define PRIMFIT_IO_SPOOL_H_

#include <string>
#include <string_view>

#include "io/file_bytes.h"

namespace primfit::io {

class Spool {
 public:
  /// @param path  of the file, for errors
  explicit Spool(const std::string& path) : path_(path) {}
  Spool(const Spool&) = delete;
  Spool& operator=(const Spool&) = delete;
  ~Spool();

  /// @throws ReadError when the temporary file cannot be made or written
  void Append(std::string_view bytes);
  /// All bytes: in the string where they are few, else in a mapping.
  void Finish(std::string& few, Mapping& many);

 private:
  void WriteOut();

  const std::string& path_;
  std::string kept_;  // not yet in the file
  int fd_ = -1;
  std::size_t written_ = 0;
};

}  // namespace primfit::io

#endif  // PRIMFIT_IO_SPOOL_H_
