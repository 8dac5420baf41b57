#include "io/spool.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <system_error>

#include "io/read_error.h"

namespace primfit::io {

namespace {

constexpr std::size_t kMostInMemory = std::size_t{1} << 25;
constexpr std::size_t kPiece = std::size_t{1} << 20;  // written at once

std::string Folder() {
  const char* folder = std::getenv("TMPDIR");
  return folder != nullptr && *folder != 0 ? folder : "/tmp";
}

[[noreturn]] void Fail(const std::string& path, int error) {
  throw ReadError(path, "",
                  "its contents cannot be kept in a temporary file in " + Folder() + ": " +
                      std::generic_category().message(error) +
                      "; set TMPDIR to a folder with room, or store the file unpacked");
}

int OpenNameless(const std::string& path) {
  const std::string folder = Folder();
  int fd = -1;
#ifdef O_TMPFILE
  fd = ::open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
#endif
  if (fd >= 0) return fd;
  std::string name = folder + "/primfit-XXXXXX";  // for file systems that have no files without a name
  fd = ::mkostemp(name.data(), O_CLOEXEC);
  if (fd < 0) Fail(path, errno);
  ::unlink(name.c_str());
  return fd;
}

}  // namespace

Spool::~Spool() {
  if (fd_ >= 0) ::close(fd_);
}

void Spool::Append(std::string_view bytes) {
  kept_ += bytes;
  if (written_ == 0 ? kept_.size() > kMostInMemory : kept_.size() > kPiece) WriteOut();
}

void Spool::WriteOut() {
  if (fd_ < 0) fd_ = OpenNameless(path_);
  for (std::string_view rest = kept_; !rest.empty();) {
    const ssize_t got = ::write(fd_, rest.data(), rest.size());
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) Fail(path_, got < 0 ? errno : ENOSPC);
    rest.remove_prefix(static_cast<std::size_t>(got));
    written_ += static_cast<std::size_t>(got);
  }
  kept_.clear();
  if (kept_.capacity() > 2 * kPiece) kept_.shrink_to_fit();
}

void Spool::Finish(std::string& few, Mapping& many) {
  if (written_ == 0) {
    few = std::move(kept_);
    return;
  }
  WriteOut();
  many = Mapping(fd_, written_);
  if (many.IsEmpty()) Fail(path_, errno);
}

}  // namespace primfit::io
