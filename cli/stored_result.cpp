#include "cli/stored_result.h"

#include <fmt/format.h>

#include "io/file_bytes.h"
#include "report/result_json.h"

namespace primfit::cli {

report::Result ReadResultFile(const std::string& path) {
  const io::FileBytes file(path);
  try {
    return report::ReadResult(file.View());
  } catch (const report::ResultError& error) {
    throw report::ResultError(fmt::format("{}: {}", path == "-" ? "standard input" : path, error.what()));
  }
}

}  // namespace primfit::cli
