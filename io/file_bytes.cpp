// Calls of the operating system, each of which may fail. Every failure becomes one line that says what to
// check.
#include "io/file_bytes.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

#include "io/checksum.h"
#include "io/gzip.h"
#include "io/read_error.h"
#include "io/spool.h"

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

void ReadToEnd(const std::string& path, int fd, Spool& to) {
  std::string piece(std::size_t{1} << 17, '\0');
  for (;;) {
    const ssize_t got = ::read(fd, piece.data(), piece.size());
    if (got > 0) to.Append({piece.data(), static_cast<std::size_t>(got)});
    if (got == 0) return;
    if (got < 0 && errno != EINTR) Fail(path, "cannot be read", errno, "check the device or connection");
  }
}

}  // namespace

Mapping::Mapping(int fd, std::size_t size) {
  void* mapping = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, fd, 0);
  if (mapping == MAP_FAILED) return;
  ::madvise(mapping, size, MADV_SEQUENTIAL);
  first_ = static_cast<char*>(mapping);
  size_ = size;
}

Mapping::~Mapping() {
  if (first_ != nullptr) ::munmap(first_, size_);
}

void Mapping::DoneBefore(std::size_t byte) {
  constexpr std::size_t kStep = std::size_t{1} << 23;  // the system is seldom asked, and little waits for it
  if (first_ == nullptr || byte < done_ + kStep) return;
  const std::size_t end = std::min(byte, size_) / kStep * kStep;
  ::madvise(first_ + done_, end - done_, MADV_DONTNEED);
  done_ = end;
}

FileBytes::FileBytes(const std::string& path) {
  const Descriptor file(path);
  struct stat status {};
  if (::fstat(file.Get(), &status) != 0) Fail(path, "cannot be examined", errno, "check the file system");
  if (S_ISDIR(status.st_mode)) throw ReadError(path, "", "is a directory; name a point file in it");
  if (S_ISBLK(status.st_mode) || (S_ISCHR(status.st_mode) && ::isatty(file.Get()) == 0)) {
    throw ReadError(path, "", "is a device; name a file or a pipe");
  }
  if (S_ISREG(status.st_mode) && status.st_size > 0)
    mapping_ = Mapping(file.Get(), static_cast<std::size_t>(status.st_size));
  if (mapping_.IsEmpty()) {  // pipes, terminals, and what cannot be mapped
    Spool spool(path);
    ReadToEnd(path, file.Get(), spool);
    spool.Finish(read_, mapping_);
  }
  size_ = View().size();
  xxh128_ = mapping_.IsEmpty() ? io::Xxh128(std::string_view(read_)) : io::Xxh128(mapping_);
  wasPacked_ = IsGzip(View());
  if (!wasPacked_) return;
  Spool spool(path);
  UnpackGzip(path, View(), mapping_, spool);
  Mapping unpacked;
  spool.Finish(read_, unpacked);
  mapping_ = std::move(unpacked);
}

}  // namespace primfit::io
