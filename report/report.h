// What a fit tells the user.
#ifndef PRIMFIT_REPORT_REPORT_H_
#define PRIMFIT_REPORT_REPORT_H_

#include <cstdint>
#include <string>

#include "cli/primitives.h"
#include "io/cloud.h"

namespace primfit::tool {

/// A fit that has ended: everything that a report is made of.
struct FitRun {
  const Primitive* primitive;
  const Input* input;
  const Cloud* cloud;
  FitRequest request;  ///< in the units that the user sees
  FitResult result;    ///< the shape in these units; the quality as the library gave it, in metres
  std::size_t judged;  ///< points among which the inliers were counted
  std::uint64_t seed;
  bool stopped;  ///< by Ctrl-C
  double fittingSeconds;
};

std::string TextReport(const FitRun& run);

/// One object. Numbers round-trip, those that are not finite are null; lengths are in the unit named by
/// units.length.
std::string JsonReport(const FitRun& run);

/// The same when nothing was found: all but the shape and what is known of it, and the reason.
std::string JsonNothing(const FitRun& run, const std::string& reason);

std::string TextInfo(const Input& input, const Cloud& cloud);
std::string JsonInfo(const Input& input, const Cloud& cloud);

}  // namespace primfit::tool

#endif  // PRIMFIT_REPORT_REPORT_H_
