// The result of a command as plain data: all that a reader of it needs, and nothing of how it came about.
// Text, JSON and every exporter are made from it alone. Lengths are in the unit that the result names, angles
// in degrees, times in seconds; docs/result.md says what each member means.
#ifndef PRIMFIT_REPORT_RESULT_H_
#define PRIMFIT_REPORT_RESULT_H_

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "primfit/fit.h"
#include "primitives/part.h"

namespace primfit::report {

inline constexpr std::string_view kSchemaName = "primfit-result";
/// Grows when a member changes its meaning or goes away, not when one is added.
inline constexpr int kSchemaVersion = 1;

using Vector = std::array<double, 3>;

/// Values by name, in an order that is kept.
template <class T>
using Named = std::vector<std::pair<std::string, T>>;

struct Program {
  std::string name = "primfit";
  std::string version;
};

enum class Status {
  kRead,     ///< the points were read, and no shape was looked for
  kFitted,   ///< there are shapes
  kNothing,  ///< no shape was found
  kStopped,  ///< by the user; shapes that were complete by then are there
};

/// What every point of a file has.
struct FieldOfPoints {
  std::string name, type;  ///< empty where the file names none
};

/// Points that were taken from one place.
struct ScanOfFile {
  std::uint64_t points = 0;
  std::optional<Vector> station;  ///< where the scanner stood, in the frame of the points
};

struct InputFile {
  std::string path;  ///< "-" for standard input
  std::string format;
  std::uint64_t bytes = 0;
  std::optional<std::string> xxh128;  ///< checksum of the bytes, as 32 hexadecimal digits
  std::vector<FieldOfPoints> fields;
  std::vector<ScanOfFile> scans;   ///< empty for formats that know none
  std::vector<std::string> notes;  ///< what the user should know although the points could be read
  /// Steps by which the coordinates were rounded, 0 where none shows; told by commands that only read.
  std::optional<Vector> coordinateStep;
};

struct PointCounts {
  std::uint64_t total = 0;
  std::uint64_t marked = 0;      ///< further ones, which the file itself marks as missing or deleted
  std::uint64_t passedOver = 0;  ///< between those of which every n-th counts
  std::uint64_t notFinite = 0;
  std::uint64_t notWhere = 0;  ///< finite ones whose attributes are others than those asked for
  std::uint64_t outsideRegion = 0;
  std::uint64_t used = 0;
  std::optional<std::uint64_t> sampled;    ///< of the used ones, those that a fit has looked at
  std::optional<std::uint64_t> setAside;   ///< of the used ones, those at crowded places
  std::optional<std::uint64_t> ofNoShape;  ///< used ones that are inliers of no shape
};

/// The smallest box about the points used.
struct Box {
  Vector low{}, high{};
};

enum class UnitSource { kTold, kFile, kAssumed };

struct Units {
  std::string length = "m";
  double lengthMetres = 1;
  UnitSource lengthSource = UnitSource::kAssumed;
  std::string angle = "deg";
  std::string time = "s";
};

/// What the file says of its coordinates.
struct CoordinateSystem {
  std::optional<std::string> name;
  std::optional<double> horizontalUnitMetres, verticalUnitMetres;
};

/// A value of an option: true or false, a number, a word, numbers or words.
using OptionValue =
    std::variant<bool, std::int64_t, double, std::string, std::vector<double>, std::vector<std::string>>;

/// A part of a shape with how exactly it is known.
struct PartValue {
  Quantity quantity = Quantity::kLength;
  std::vector<double> value;  ///< one number; three for a position or direction
  /// Of a position or direction that of its worst direction. Not finite: the points do not determine the
  /// part.
  std::optional<double> standardDeviation = {};
  bool held = false;   ///< as the user told it
  bool bound = false;  ///< tells how far the points reach, and is no parameter of the unbounded shape
};

/// A corner of a patch.
struct Corner {
  Vector position{};
  std::optional<double> standardDeviation;
};

/// A free parameter of a shape.
struct Parameter {
  std::string name;
  std::string unit;
  std::optional<Vector> direction;  ///< in which a position or direction moves
  double standardDeviation = 0;
};

struct Covariance {
  Vector position{};  ///< where the position is stated
  std::vector<Parameter> parameters;
  std::vector<std::vector<double>> matrix;
};

/// How many inliers are so far from the shape.
struct HistogramSlot {
  double from = 0;
  double to = 0;  ///< not finite for the last slot
  std::uint64_t count = 0;
  double share = 0;
};

/// The signed distances between which all inliers lie.
struct FormError {
  double least = 0, largest = 0;
};

/// Distances of the inliers from the shape.
struct Quality {
  double rms = 0, mean = 0, meanSigned = 0, largest = 0;
  std::optional<FormError> formError;
  std::optional<bool> acceptable;  ///< whether the residuals pass the test of the fixed pipeline
  std::vector<HistogramSlot> histogram;
};

/// A shape with fewer parameters that explains the inliers of another as well. It has no bounds.
struct Simpler {
  std::string kind;
  std::vector<double> numbers;  ///< in the order of primfit/fit_c.h; a line's length is 0
  Named<PartValue> parts;
  double rms = 0;  ///< of the distances of the inliers from it
  Covariance covariance;
};

struct FoundShape {
  int id = 1;  ///< from 1, in the order of the shapes
  std::string kind;
  std::vector<double> numbers;  ///< in the order of primfit/fit_c.h, but angles in degrees
  Named<PartValue> parts;
  std::vector<Corner> outline;
  double coverageFactor = 1;  ///< of all uncertainties: they are standard deviations
  std::optional<Covariance> covariance;
  std::optional<Verdict> verdict;
  std::optional<std::string> reason;  ///< of the verdict
  std::optional<Simpler> simpler;
  std::optional<bool> converged;
  std::uint64_t inliers = 0;
  std::optional<double> inlierShare;  ///< of the points that were not set aside
  std::optional<double> noise;
  double tolerance = 0;  ///< distance within which points are inliers
  std::optional<double> coordinateStep;
  std::optional<SeenFrom> seenFrom;  ///< the side from which a curved surface was scanned, where it is known
  Quality quality;
};

enum class Method {
  kAdaptive,  ///< primfit::fit, which takes from the points what it is not told
  kClassic    ///< the fixed pipeline of the functions named after the shapes
};

struct SearchReport {
  std::uint64_t draws = 0, refinements = 0;
  StopReason stopReason = StopReason::kConfident;
};

struct Times {
  double reading = 0;
  std::optional<double> fitting;
};

struct RunReport {
  std::optional<Method> method;
  std::optional<std::uint64_t> seed;
  std::optional<SearchReport> search;
  Times times;
};

struct Result {
  Program program;
  std::string command;                 ///< the sub-command
  std::vector<std::string> arguments;  ///< all of the command line behind the program's name
  Status status = Status::kRead;
  std::optional<std::string> reason;  ///< why there is no shape
  InputFile input;
  PointCounts points;
  std::optional<Box> extent;
  Units units;
  CoordinateSystem coordinateSystem;
  Vector shift{};  ///< what was subtracted from the coordinates of the file
  Named<OptionValue> options;
  std::vector<FoundShape> shapes;
  RunReport report;
};

}  // namespace primfit::report

#endif  // PRIMFIT_REPORT_RESULT_H_
