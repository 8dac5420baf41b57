#ifndef PRIMFIT_CLI_MAIN_H_
#define PRIMFIT_CLI_MAIN_H_

#include <span>
#include <string>

#include "cli/host.h"
#include "io/readers.h"

namespace primfit::cli {

/// Runs the program: one sub-command a primitive, and info.
/// @param arguments  those after the name of the program
/// @param readers    what the program can read
/// @return an ExitStatus; every error has been told on the host's error stream
int Main(std::span<const std::string> arguments, const Host& host, const io::Readers& readers);

}  // namespace primfit::cli

#endif  // PRIMFIT_CLI_MAIN_H_
