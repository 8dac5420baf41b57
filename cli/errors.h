// What ends the program other than a fit, and its exit statuses.
#ifndef PRIMFIT_CLI_ERRORS_H_
#define PRIMFIT_CLI_ERRORS_H_

#include <stdexcept>

namespace primfit::cli {

enum ExitStatus : int {
  kFitted = 0,         // with a good verdict, or one that the user accepts
  kNoFit = 1,          // nothing was found
  kTrouble = 2,        // wrong usage, unreadable input, output that could not be written
  kDoubtful = 3,       // fitted, but the verdict is not good
  kInterrupted = 130,  // as shells report a program that Ctrl-C ended; scripts stop on it
};

/// The command line asks for something that makes no sense; what() says what and what to do.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace primfit::cli

#endif  // PRIMFIT_CLI_ERRORS_H_
