// What a fit tells the user.
#ifndef PRIMFIT_REPORT_REPORT_H_
#define PRIMFIT_REPORT_REPORT_H_

#include <string>

#include "io/selection.h"
#include "report/run.h"

namespace primfit::report {

std::string TextReport(const FitRun& run);

/// One object. Numbers round-trip, those that are not finite are null; lengths are in the unit named by
/// units.length.
std::string JsonReport(const FitRun& run);

/// The same when nothing was found: all but the shape and what is known of it, and the reason.
std::string JsonNothing(const FitRun& run, const std::string& reason);

std::string TextInfo(const Input& input, const io::Selection& cloud);
std::string JsonInfo(const Input& input, const io::Selection& cloud);

}  // namespace primfit::report

#endif  // PRIMFIT_REPORT_REPORT_H_
