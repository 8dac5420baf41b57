// Calls of the operating system, each of which may fail. Every failure becomes one line that says what to
// check.
#include "io/file_bytes.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "io/read_error.h"

namespace primfit::io {

namespace {

[[noreturn]] void Fail(const std::string& path, const char* what, int error, const char* advice) {
  throw ReadError(path, "", what + (": " + std::generic_category().message(error)) + "; " + advice);
}

class Descriptor {
 public:
  explicit Descriptor(const std::string& path)
      : fd_(path == "-" ? STDIN_FILENO : ::open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
    if (fd_ >= 0) return;
    const int error = errno;
    Fail(path, "cannot be opened", error,
         error == EACCES ? "check its permissions" : "check the name and the folder");
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (fd_ != STDIN_FILENO) ::close(fd_);
  }
  int Get() const { return fd_; }

 private:
  int fd_;
};

std::string ReadToEnd(const std::string& path, int fd) {
  std::string bytes;
  std::size_t size = 0;
  for (;;) {
    if (size == bytes.size()) bytes.resize(2 * size + (std::size_t{1} << 16));
    const ssize_t got = ::read(fd, bytes.data() + size, bytes.size() - size);
    if (got > 0) size += static_cast<std::size_t>(got);
    if (got == 0) break;
    if (got < 0 && errno != EINTR) Fail(path, "cannot be read", errno, "check the device or connection");
  }
  bytes.resize(size);
  return bytes;
}

}  // namespace

FileBytes::FileBytes(const std::string& path) {
  const Descriptor file(path);
  struct stat status {};
  if (::fstat(file.Get(), &status) != 0) Fail(path, "cannot be examined", errno, "check the file system");
  if (S_ISDIR(status.st_mode)) throw ReadError(path, "", "is a directory; name a point file in it");
  if (S_ISBLK(status.st_mode) || (S_ISCHR(status.st_mode) && ::isatty(file.Get()) == 0)) {
    throw ReadError(path, "", "is a device; name a file or a pipe");
  }
  if (S_ISREG(status.st_mode) && status.st_size > 0) {
    mappedSize_ = static_cast<std::size_t>(status.st_size);
    void* mapping = ::mmap(nullptr, mappedSize_, PROT_READ, MAP_PRIVATE, file.Get(), 0);
    if (mapping != MAP_FAILED) {
      mapping_ = mapping;
      ::madvise(mapping_, mappedSize_, MADV_SEQUENTIAL);
      view_ = {static_cast<const char*>(mapping_), mappedSize_};
      return;
    }
  }
  read_ = ReadToEnd(path, file.Get());  // pipes, terminals, and what cannot be mapped
  view_ = read_;
}

FileBytes::~FileBytes() {
  if (mapping_ != nullptr) ::munmap(mapping_, mappedSize_);
}

}  // namespace primfit::io
