// What the program is given by the process that runs it.
#ifndef PRIMFIT_CLI_HOST_H_
#define PRIMFIT_CLI_HOST_H_

#include <functional>
#include <ostream>
#include <string_view>

namespace primfit::cli {

/// The program touches no standard stream and no signal of the process by itself: a host may be an
/// interpreter that has its own. Everything is called on the thread that runs the program.
struct Host {
  std::ostream& out;           ///< takes the result
  std::ostream& err;           ///< takes complaints and the progress bar
  bool errIsTerminal = false;  ///< whether a bar makes sense there
  /// Whether standard input comes from a file or a pipe, so that it is read where no file is named.
  bool inputIsRedirected = false;
  int columns = 80;  ///< of the terminal
  /// Whether the user wants the search to end with the best shape until then (Ctrl-C). Asked often.
  std::function<bool()> stopRequested = [] { return false; };
  /// Told true before a search that asks stopRequested, false after it. At other times nothing asks, so that
  /// a user who wants an end is the host's own business.
  std::function<void(bool)> setStoppable = [](bool) {};
};

/// Writes text to the output, to the last byte.
/// @throws std::runtime_error that says so when it does not take it
void WriteOutput(const Host& host, std::string_view text);

/// Writes one line to the error stream.
void Complain(const Host& host, std::string_view text);

}  // namespace primfit::cli

#endif  // PRIMFIT_CLI_HOST_H_
