// In which unit the lengths of a file are: as the user tells it, else as the file says, else in metres.
#ifndef PRIMFIT_CLI_LENGTH_UNIT_H_
#define PRIMFIT_CLI_LENGTH_UNIT_H_

#include <string>

#include "io/point_cloud.h"
#include "report/run.h"

namespace primfit::cli {

/// Whether a file has no single unit: horizontally another one than vertically.
bool HasTwoUnits(const io::CoordinateReference& reference);

/// Takes the unit of the file, where it says one and the user has not told any; of two the horizontal one.
void TakeUnitOfFile(const io::CoordinateReference& reference, report::Input& input);

/// Refuses a file with two units of which the user has told neither: to scale one axis silently would hide
/// what the file is.
/// @throws UsageError
void RequireOneUnit(const io::CoordinateReference& reference, const report::Input& input);

/// What a user should know who has told another unit than the file says; empty where they agree.
std::string ContradictionOf(const io::CoordinateReference& reference, const report::Input& input);

}  // namespace primfit::cli

#endif  // PRIMFIT_CLI_LENGTH_UNIT_H_
