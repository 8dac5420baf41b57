#include "cli/output_options.h"

#include <fmt/format.h>

#include <filesystem>
#include <system_error>
#include <utility>
#include <vector>

#include "cli/errors.h"
#include "io/output_file.h"

namespace primfit::cli {

namespace {

/// The files that were asked for, each with its option.
std::vector<std::pair<const char*, std::string>> FilesOf(const OutputOptions& options) {
  std::vector<std::pair<const char*, std::string>> files;
  for (const auto& [option, name] : {std::pair{"--output", &options.result},
                                     {"--labels", &options.labels},
                                     {"--deviations", &options.deviations},
                                     {"--inliers", &options.inliers},
                                     {"--rest", &options.rest}}) {
    if (*name) files.emplace_back(option, **name);
  }
  return files;
}

/// Whether two names are of one file; devices, such as /dev/null, take more than one output.
bool AreOneFile(const std::string& a, const std::string& b) {
  std::error_code none;
  if (std::filesystem::exists(a, none) && !std::filesystem::is_regular_file(a, none)) return false;
  if (std::filesystem::equivalent(a, b, none)) return true;
  return std::filesystem::absolute(a).lexically_normal() == std::filesystem::absolute(b).lexically_normal();
}

}  // namespace

void AddResultOption(CLI::App& command, OutputOptions& options) {
  command.add_option("--output", options.result, "Write the result as JSON to this file (default: none)")
      ->type_name("FILE");
}

void AddPointOptions(CLI::App& command, OutputOptions& options) {
  command
      .add_option("--labels", options.labels, "Write the points used with the shape of each (default: none)")
      ->type_name("FILE.ply");
  command
      .add_option("--deviations", options.deviations,
                  "Write the points used with their signed distance from the\nshape, coloured by it "
                  "(default: none)")
      ->type_name("FILE.ply");
  command.add_option("--inliers", options.inliers, "Write the points of the shape (default: none)")
      ->type_name("FILE.ply");
  command.add_option("--rest", options.rest, "Write the points used that are of no shape (default: none)")
      ->type_name("FILE.ply");
}

void CheckOutputs(const OutputOptions& options, const std::string& input) {
  const auto files = FilesOf(options);
  for (std::size_t i = 0; i < files.size(); ++i) {
    const auto& [option, name] = files[i];
    if (name.empty() || name == "-")
      throw UsageError(fmt::format("{} \"{}\" is to be the name of a file", option, name));
    if (input != "-" && AreOneFile(name, input))
      throw UsageError(fmt::format("{} \"{}\" is the file that is read; name another", option, name));
    for (std::size_t j = 0; j < i; ++j) {
      if (AreOneFile(name, files[j].second))
        throw UsageError(
            fmt::format("{} and {} both name \"{}\"; name two files", files[j].first, option, name));
    }
    io::RequireWritable(name);
  }
}

}  // namespace primfit::cli
