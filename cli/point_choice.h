// Which points of a file a command uses: the options that say it, and what they mean.
#ifndef PRIMFIT_CLI_POINT_CHOICE_H_
#define PRIMFIT_CLI_POINT_CHOICE_H_

#include <CLI/CLI.hpp>
#include <optional>
#include <string>
#include <vector>

#include "io/selection.h"

namespace primfit::cli {

/// The options as given.
struct PointChoice {
  std::optional<std::string> near;
  std::optional<std::string> box;
  std::vector<std::string> where;
  std::optional<std::string> scan;
  std::optional<std::string> every;
  std::optional<std::string> columns;
};

void AddPointChoice(CLI::App& command, PointChoice& choice);

/// @throws UsageError for what makes no sense
io::Filter FilterOf(const PointChoice& choice);

/// The columns of text that are x, y and z; empty unless they were named.
/// @throws UsageError for another number of them
std::vector<std::string> ColumnsOf(const PointChoice& choice);

}  // namespace primfit::cli

#endif  // PRIMFIT_CLI_POINT_CHOICE_H_
