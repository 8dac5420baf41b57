// Commands that the help shows, on the scans of examples/data.
#ifndef PRIMFIT_CLI_EXAMPLES_H_
#define PRIMFIT_CLI_EXAMPLES_H_

#include <span>
#include <string_view>

namespace primfit::cli {

/// A line that a user may type. It ends with exit status 0 unless its text names another as "exit status N".
struct Example {
  std::string_view command;    ///< under whose help it stands; empty: the program's
  std::string_view arguments;  ///< behind that command, for a shell
  std::string_view text;       ///< what it does
};

/// Two for each command, and two for the program.
std::span<const Example> Examples();

}  // namespace primfit::cli

#endif  // PRIMFIT_CLI_EXAMPLES_H_
