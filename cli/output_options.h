// The files that a command writes beside what it prints.
#ifndef PRIMFIT_CLI_OUTPUT_OPTIONS_H_
#define PRIMFIT_CLI_OUTPUT_OPTIONS_H_

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

namespace primfit::cli {

/// Names of files, as typed.
struct OutputOptions {
  std::optional<std::string> result;      ///< JSON
  std::optional<std::string> labels;      ///< points with the shape that each is on
  std::optional<std::string> deviations;  ///< points with their distance from the shape
  std::optional<std::string> inliers;     ///< points of shapes
  std::optional<std::string> rest;        ///< points of no shape
};

/// The option of every command that has a result.
void AddResultOption(CLI::App& command, OutputOptions& options);
/// Those of commands that fit.
void AddPointOptions(CLI::App& command, OutputOptions& options);

/// Finds out before the work begins whether the files can be written.
/// @param input  the file that is read
/// @throws UsageError for one name twice, and for the name of the input; io::WriteError
void CheckOutputs(const OutputOptions& options, const std::string& input);

}  // namespace primfit::cli

#endif  // PRIMFIT_CLI_OUTPUT_OPTIONS_H_
