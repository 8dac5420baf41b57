// What a command knows when it has ended: plain data, of which its result is made.
#ifndef PRIMFIT_REPORT_RUN_H_
#define PRIMFIT_REPORT_RUN_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "io/selection.h"
#include "primfit/fit.h"
#include "primfit/fit/fit_quality.h"
#include "primitives/model.h"
#include "primitives/part.h"
#include "report/limits.h"
#include "report/result.h"
#include "report/units.h"

namespace primfit::report {

/// How the program was called.
struct Invocation {
  std::string version;                 ///< of the program
  std::string command;                 ///< the sub-command
  std::vector<std::string> arguments;  ///< all behind the program's name
};

/// What a command is told of its input.
struct Input {
  std::string path;
  Unit unit = kUnits.front();
  UnitSource unitSource = UnitSource::kAssumed;
  io::Filter filter = {};
  std::vector<std::string> columns = {};  ///< of text that are x, y and z; none: what the file suggests
};

/// What a fit is asked for.
struct FitRequest {
  Method method = Method::kAdaptive;
  std::optional<double> tolerance;  ///< the fixed pipeline has one always, and a share of outliers as well
  std::optional<double> outliers;
  std::vector<double> start;  ///< the parts that a start has, one after the other; empty for none
  std::vector<bool> fixed;    ///< for each part

  // Of the adaptive method.
  bool allPoints = false;
  std::vector<Eigen::Vector3d> stations;  ///< where the scanner stood, as the file says it
  std::optional<double> noise;
  double confidence = 0;
  int mostDraws = 0;
  std::optional<double> timeLimit;
  std::array<std::vector<double>, kLimits.size()> limits;  ///< numbers of their parts, or empty

  // Of the fixed pipeline.
  double scannerError = 0;
  double probability = 0;
  int sampleSize = 0;
  std::vector<double> pick;     ///< numbers of kPickParts, or empty
  std::vector<double> section;  ///< numbers of kSectionParts, or empty
  bool skipSearch = false;
  bool refineOnce = false;
  bool anyQuality = false;
};

/// What the adaptive method tells beside the shape, in metres and radians.
struct Evidence {
  FitCovariance covariance;
  FitReport report;
  FitExtents extents;
};

struct FittedShape {
  std::string_view kind;        ///< the primitive's name
  std::vector<double> shape;    ///< its parts, one after the other
  std::vector<double> numbers;  ///< the same in the order of primfit/fit_c.h
  Model model;                  ///< the unbounded shape, in metres and radians
  FitQuality quality;
  std::vector<double> outline;  ///< of a patch: its corners, three numbers each, counter-clockwise
  std::optional<Evidence> evidence;
  std::vector<std::uint32_t> inliers;  ///< positions in the points used, ascending
  std::optional<FormError> formError;
};

/// A fit that has ended.
struct FitRun {
  std::span<const Part> parts;  ///< of its record
  const Input* input;
  const io::Selection* cloud;
  FitRequest request;   ///< in the units that the user sees
  FittedShape result;   ///< its numbers in these units; quality and form error in metres
  std::string failure;  ///< why there is no shape; empty when there is one
  std::size_t judged;   ///< points among which the inliers were counted
  std::uint64_t seed;
  bool stopped;  ///< by Ctrl-C
  double fittingSeconds;
};

}  // namespace primfit::report

#endif  // PRIMFIT_REPORT_RUN_H_
