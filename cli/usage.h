// Command lines that the program does not understand.
#ifndef PRIMFIT_CLI_USAGE_H_
#define PRIMFIT_CLI_USAGE_H_

#include <CLI/CLI.hpp>
#include <span>
#include <string>

namespace primfit::cli {

/// An option with nothing after its "=" would take the next argument for its value.
/// @throws UsageError that names it
void RefuseEmptyValues(std::span<const std::string> arguments);

/// What is wrong with a name that no command has.
std::string UnknownCommand(const CLI::App& app, const std::string& name);

/// What is wrong with a command line and what to do, after it could not be parsed.
/// @param arguments  those after the name of the program
std::string Explain(const CLI::App& app, const CLI::ParseError& error,
                    std::span<const std::string> arguments);

}  // namespace primfit::cli

#endif  // PRIMFIT_CLI_USAGE_H_
