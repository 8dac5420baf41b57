// Results that runs have stored.
#ifndef PRIMFIT_CLI_STORED_RESULT_H_
#define PRIMFIT_CLI_STORED_RESULT_H_

#include <string>

#include "report/result.h"

namespace primfit::cli {

/// @param path  "-" reads standard input
/// @throws io::ReadError, report::ResultError that name the file
report::Result ReadResultFile(const std::string& path);

}  // namespace primfit::cli

#endif  // PRIMFIT_CLI_STORED_RESULT_H_
