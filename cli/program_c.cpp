// The program behind C: the host's functions become streams and readers, and nothing is decided here. C
// cannot catch what C++ throws; the program lets nothing out.
#include "cli/program_c.h"

#include <cerrno>
#include <exception>
#include <iostream>
#include <streambuf>
#include <string>
#include <vector>

#include "cli/c_readers.h"
#include "cli/errors.h"
#include "cli/main.h"

namespace primfit::cli {

namespace {

/// A stream that hands its text to the host piece by piece.
class HostBuffer : public std::streambuf {
 public:
  HostBuffer(const primfit_program_host& host, int stream) : host_(host), stream_(stream) {}

 protected:
  std::streamsize xsputn(const char* text, std::streamsize size) override {
    const bool written = host_.write(stream_, text, static_cast<std::size_t>(size), host_.user) == 0;
    if (!written) errno = EIO;
    return written ? size : 0;
  }
  int_type overflow(int_type character) override {
    const char text = traits_type::to_char_type(character);
    return xsputn(&text, 1) == 1 ? character : traits_type::eof();
  }

 private:
  const primfit_program_host& host_;
  int stream_;
};

int Run(const std::vector<std::string>& arguments, const primfit_program_host& from, Host host) {
  host.errIsTerminal = from.errors_are_terminal != 0;
  if (from.stop_requested != nullptr)
    host.stopRequested = [&from] { return from.stop_requested(from.user) != 0; };
  io::Readers readers = io::NativeReaders();
  try {
    if (from.version != PRIMFIT_PROGRAM_VERSION) throw UsageError("the host's version is not known");
    for (std::size_t i = from.reader_count; i-- > 0;) readers.Add(ReaderFromC(from.readers[i]));
  } catch (const std::exception& error) {
    Complain(host, error.what());
    return kTrouble;
  }
  return Main(arguments, host, readers);
}

}  // namespace

}  // namespace primfit::cli

int primfit_program(int argument_count, const char* const* arguments, const primfit_program_host* host) {
  using namespace primfit::cli;
  const std::vector<std::string> list(arguments, arguments + argument_count);
  primfit_program_host none = {};
  none.version = PRIMFIT_PROGRAM_VERSION;
  const primfit_program_host& from = host != nullptr ? *host : none;
  if (from.write == nullptr) return Run(list, from, {.out = std::cout, .err = std::cerr});
  HostBuffer outBuffer(from, 1), errBuffer(from, 2);
  std::ostream out(&outBuffer), err(&errBuffer);
  return Run(list, from, {.out = out, .err = err});
}
