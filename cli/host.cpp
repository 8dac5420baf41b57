#include "cli/host.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <string>
#include <system_error>

namespace primfit::cli {

void WriteOutput(const Host& host, std::string_view text) {
  errno = 0;
  host.out.write(text.data(), static_cast<std::streamsize>(text.size())).flush();
  // A stream does not say why it failed; that of the process leaves what the system said.
  if (!host.out)
    throw std::runtime_error("the result could not be written: " +
                             std::generic_category().message(errno != 0 ? errno : EIO));
}

void Complain(const Host& host, std::string_view text) {
  std::string line = fmt::format("primfit: {}", text);
  std::replace_if(
      line.begin(), line.end(), [](unsigned char c) { return c < ' ' || c == 127; }, ' ');
  host.err << line + '\n' << std::flush;
}

}  // namespace primfit::cli
