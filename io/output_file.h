// Files that are complete or not there: what is written goes to another name in the same folder, and takes
// the target's name with one step of the file system at the end.
#ifndef PRIMFIT_IO_OUTPUT_FILE_H_
#define PRIMFIT_IO_OUTPUT_FILE_H_

#include <stdexcept>
#include <string>
#include <string_view>

namespace primfit::io {

/// A file that cannot be written. what() is one line: file, reason, what to do.
class WriteError : public std::runtime_error {
 public:
  WriteError(const std::string& path, std::string_view reason);
};

/// Writes a file. Until Commit() nothing changes under its name, and whatever stood there stays; without
/// Commit() the destructor removes what was written. A device or pipe is written directly.
class OutputFile {
 public:
  /// @throws WriteError when the file cannot be made
  explicit OutputFile(const std::string& path);
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;
  ~OutputFile();

  /// Appends bytes. @throws WriteError, for bytes of an earlier call too: they are collected
  void Write(std::string_view bytes);
  /// Writes what is left and gives the file its name. Called once, at the end. @throws WriteError
  void Commit();

 private:
  void Open();
  void Flush();

  std::string path_;       ///< as the user knows it
  std::string target_;     ///< the same without symbolic links
  std::string temporary_;  ///< the name until Commit(); empty for what is written directly
  std::string buffer_;
  int file_ = -1;
};

/// Tries whether a file could be written, before time is spent on what is to be in it.
/// @throws WriteError when not
void RequireWritable(const std::string& path);

}  // namespace primfit::io

#endif  // PRIMFIT_IO_OUTPUT_FILE_H_
