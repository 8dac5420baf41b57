// The help texts: of the program, of one command, and of everything at once, from which the manual page is
// made.
#ifndef PRIMFIT_CLI_HELP_H_
#define PRIMFIT_CLI_HELP_H_

#include <CLI/CLI.hpp>
#include <cstddef>
#include <string>

namespace primfit::cli {

/// Lays the help of the program and of its commands out, with lines that are no longer than the terminal's.
class HelpFormatter : public CLI::FormatterBase {
 public:
  /// @param columns  of the terminal; lines are never shorter than 60 characters nor longer than 100
  explicit HelpFormatter(int columns);

  std::string make_help(const CLI::App* app, std::string name, CLI::AppFormatMode mode) const override;

 private:
  std::size_t width_;
};

/// All commands: the options that most of them have once, then what each has beside these.
std::string HelpOfAll(const CLI::App& app, int columns);

}  // namespace primfit::cli

#endif  // PRIMFIT_CLI_HELP_H_
