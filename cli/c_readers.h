// Readers that a host brings through C, as rows of the table of readers.
#ifndef PRIMFIT_CLI_C_READERS_H_
#define PRIMFIT_CLI_C_READERS_H_

#include "cli/program_c.h"
#include "io/readers.h"

namespace primfit::cli {

/// @param reader  is copied; what it points to has to live as long as the row
/// @throws UsageError for a row that lacks a function or is of another version
io::Reader ReaderFromC(const primfit_reader& reader);

}  // namespace primfit::cli

#endif  // PRIMFIT_CLI_C_READERS_H_
