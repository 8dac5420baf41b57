#include "cli/length_unit.h"

#include <fmt/format.h>

#include "cli/errors.h"
#include "report/units.h"

namespace primfit::cli {

namespace {

/// Such as "ft" or "units of 0.9144 m".
std::string NameOf(double metres) {
  const report::Unit unit = report::UnitOfMetres(metres);
  return unit.name == report::kNamelessUnit ? fmt::format("units of {:.10g} m", metres)
                                            : std::string(unit.name);
}

}  // namespace

bool HasTwoUnits(const io::CoordinateReference& reference) {
  return reference.horizontalMetres > 0 && reference.verticalMetres > 0 &&
         !report::IsSameLength(reference.horizontalMetres, reference.verticalMetres);
}

void TakeUnitOfFile(const io::CoordinateReference& reference, report::Input& input) {
  if (input.unitSource == report::UnitSource::kTold || !(reference.horizontalMetres > 0)) return;
  input.unit = report::UnitOfMetres(reference.horizontalMetres);
  input.unitSource = report::UnitSource::kFile;
}

void RequireOneUnit(const io::CoordinateReference& reference, const report::Input& input) {
  if (input.unitSource == report::UnitSource::kTold || !HasTwoUnits(reference)) return;
  throw UsageError(fmt::format(
      "{}: x and y are in {}, z is in {}: convert the file to one unit, or tell with --unit in which "
      "all three are",
      input.path, NameOf(reference.horizontalMetres), NameOf(reference.verticalMetres)));
}

std::string ContradictionOf(const io::CoordinateReference& reference, const report::Input& input) {
  if (input.unitSource != report::UnitSource::kTold) return {};
  for (const double metres : {reference.horizontalMetres, reference.verticalMetres}) {
    if (metres > 0 && !report::IsSameLength(metres, input.unit.metres))
      return fmt::format(
          "{}: the file says that its lengths are in {}; they are taken as {}, as told by --unit", input.path,
          NameOf(metres), input.unit.name);
  }
  return {};
}

}  // namespace primfit::cli
