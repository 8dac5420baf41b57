#include "io/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include "io/words.h"

namespace primfit::io {

namespace {

constexpr std::size_t kBuffer = std::size_t{1} << 20;
constexpr mode_t kReadAndWrite = 0666;  // without what the process masks

[[noreturn]] void Fail(const std::string& path, int error) {
  const char* advice = error == ENOSPC || error == EDQUOT ? "make room, or name a file elsewhere"
                       : error == EFBIG                   ? "raise the limit of file sizes (ulimit -f)"
                                                          : "check the folder and its permissions";
  throw WriteError(path, "cannot be written: " + std::generic_category().message(error) + "; " + advice);
}

bool IsThereAndNoFile(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode);
}

/// Where a name leads, so that a link to a file stays one.
std::string WithoutLinks(const std::string& path) {
  std::error_code none;
  const std::filesystem::path target = std::filesystem::canonical(path, none);
  return none ? path : target.string();
}

}  // namespace

WriteError::WriteError(const std::string& path, std::string_view reason)
    : std::runtime_error(OneLine(path + ": " + std::string(reason))) {}

OutputFile::OutputFile(const std::string& path) : path_(path), target_(WithoutLinks(path)) {
  if (std::filesystem::is_directory(path)) throw WriteError(path, "is a folder; name a file in it");
  Open();
  buffer_.reserve(kBuffer);
}

void OutputFile::Open() {
  if (IsThereAndNoFile(target_)) {
    file_ = ::open(target_.c_str(), O_WRONLY | O_CLOEXEC);
    if (file_ < 0) Fail(path_, errno);
    return;
  }
  const std::filesystem::path folder = std::filesystem::path(target_).parent_path();
  for (int i = 0; file_ < 0; ++i) {
    const std::string name = ".primfit-" + std::to_string(::getpid()) + "-" + std::to_string(i);
    temporary_ = (folder / name).string();
    file_ = ::open(temporary_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kReadAndWrite);
    if (file_ < 0 && errno != EEXIST) {
      temporary_.clear();
      Fail(path_, errno);
    }
  }
  struct stat before {};
  if (::stat(target_.c_str(), &before) == 0 && ::fchmod(file_, before.st_mode & 07777U) != 0) {
    // Deliberate: a file system without permissions is no reason to write nothing.
  }
}

OutputFile::~OutputFile() {
  if (file_ >= 0) ::close(file_);
  if (!temporary_.empty()) ::unlink(temporary_.c_str());
}

void OutputFile::Write(std::string_view bytes) {
  buffer_.append(bytes);
  if (buffer_.size() >= kBuffer) Flush();
}

void OutputFile::Flush() {
  std::string_view left = buffer_;
  while (!left.empty()) {
    const ssize_t written = ::write(file_, left.data(), left.size());
    if (written < 0 && errno != EINTR) Fail(path_, errno);
    if (written > 0) left.remove_prefix(static_cast<std::size_t>(written));
  }
  buffer_.clear();
}

void OutputFile::Commit() {
  Flush();
  const int closed = ::close(file_);  // some file systems tell only here that they are full
  file_ = -1;
  if (closed != 0) Fail(path_, errno);
  if (temporary_.empty()) return;
  if (std::rename(temporary_.c_str(), target_.c_str()) != 0) Fail(path_, errno);
  temporary_.clear();
}

void RequireWritable(const std::string& path) {
  if (std::filesystem::is_directory(path) || !IsThereAndNoFile(path)) const OutputFile tried(path);
}

}  // namespace primfit::io
