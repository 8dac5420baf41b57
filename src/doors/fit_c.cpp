// The adaptive fit behind C: arrays and flags become the options of primfit::fit, and its result becomes one
// block that the caller frees. Nothing is decided here. C cannot catch what C++ throws, so every failure
// leaves as a code and a text.
#include "primfit/fit_c.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <exception>
#include <iterator>
#include <limits>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "fit/messages.h"
#include "primfit/fit.h"
#include "primitives/records.h"

using Eigen::Vector3d;

namespace primfit {

namespace {

/// Bytes of the options of each version, up to the end of its last member. A version only adds members, which
/// are zero for callers of an earlier one; zero has to mean that nothing is said.
constexpr std::size_t kOptionSizes[] = {0, offsetof(primfit_options, user) + sizeof(void*),
                                        offsetof(primfit_options, station_count) + sizeof(std::size_t)};
static_assert(std::size(kOptionSizes) == PRIMFIT_OPTIONS_VERSION + 1);

bool IsKnown(int version) { return version >= 1 && version <= PRIMFIT_OPTIONS_VERSION; }

primfit_options DefaultsOf(int version) {
  constexpr double kUnset = std::numeric_limits<double>::quiet_NaN();
  const FitOptionsBase defaults;
  primfit_options options = {};
  options.version = version;
  options.noise = options.tolerance = options.outlier_share = kUnset;
  options.confidence = defaults.confidence;
  options.most_draws = defaults.mostDraws;
  options.time_limit = defaults.timeLimit;
  for (double* range : {options.radius, options.minor_radius, options.half_angle})
    range[1] = SizeRange().high;
  std::fill(std::begin(options.passes), std::end(options.passes), kUnset);
  return options;
}

/// The result with all that it points to.
struct OwnedResult : primfit_result {
  std::vector<primfit_parameter> free, simplerFree;
  std::vector<double> matrix, vertices, bounds, simplerMatrix;
  std::vector<std::uint32_t> inlierPositions;
  std::string reasonText;
  std::optional<primfit_simpler> simplerShape;
};

/// The corners of a patch; other shapes have none.
template <class Record>
std::vector<double> CornersOf(const Record& record) {
  if constexpr (std::is_same_v<Record, FitOutputParamsPatch>) {
    const double* corners = nullptr;
    Vector3d u;
    const int count = record.Loop(corners, u);
    return {corners, corners + 2 * static_cast<std::ptrdiff_t>(count)};
  } else {
    return {};
  }
}

/// The host's function as the library calls it.
class HostProgress : public FitProgressUpdater {
 public:
  explicit HostProgress(const primfit_options& o) : call_(o.progress), user_(o.user) {}
  void ReportProgress(double share) override { stop_ = stop_ || call_(share, user_) != 0; }
  bool StopRequested() override { return stop_; }

 private:
  int (*call_)(double, void*);
  void* user_;
  bool stop_ = false;
};

/// NaN says that the caller leaves an option to the data.
std::optional<double> IfSet(double value) { return std::isnan(value) ? std::nullopt : std::optional(value); }

void ReadOptions(const primfit_options& from, std::size_t n, FitOptionsBase& to) {
  to.noise = IfSet(from.noise);
  to.tolerance = IfSet(from.tolerance);
  to.outlierShare = IfSet(from.outlier_share);
  if (from.weights != nullptr) to.weights = {from.weights, n};
  to.confidence = from.confidence;
  to.mostDraws = from.most_draws;
  to.timeLimit = from.time_limit;
  if (from.has_seed != 0) to.seed = from.seed;
  to.radius = {from.radius[0], from.radius[1]};
  to.minorRadius = {from.minor_radius[0], from.minor_radius[1]};
  to.halfAngle = {from.half_angle[0], from.half_angle[1]};
  if (const Vector3d axis(from.axis_near); !axis.isZero(0)) to.axisNear = axis;
  to.axisWithin = from.axis_within;
  if (const Vector3d point(from.passes); !point.array().isNaN().all()) to.passes = point;
  to.passesWithin = from.passes_within;
}

/// @throws FitError for a count without stations
std::vector<Vector3d> StationsOf(const primfit_options& from) {
  if (from.station_count > 0 && from.stations == nullptr) throw FitError(messages::kOptionStations);
  std::vector<Vector3d> stations(from.station_count);
  for (std::size_t i = 0; i < stations.size(); ++i) stations[i] = Vector3d(from.stations + 3 * i);
  return stations;
}

void WriteTo(const FitQuality& q, OwnedResult& out) {
  out.rms = q.rmsDistance;
  out.mean = q.meanDistance;
  out.mean_signed = q.meanSignedDistance;
  out.largest = q.maxDistance;
  for (int k = 0; k < FitHistogram::NumberSplots(); ++k)
    out.histogram[k] = static_cast<int>(q.histogram.CountOnSlot(k));
  out.histogram_scale = q.histogram.Sigma();
}
void WriteTo(const FitCovariance& c, std::vector<primfit_parameter>& free, std::vector<double>& matrix,
             double* position) {
  for (const FitParameter& p : c.parameters) {
    free.push_back({static_cast<int>(p.kind), p.Name(), p.IsAngle() ? 1 : 0, {}, p.standardDeviation});
    Write(p.direction, free.back().direction);
  }
  matrix.assign(c.matrix.data(), c.matrix.data() + c.matrix.size());  // symmetric
  Write(c.position, position);
}
void WriteTo(const SimplerShape& s, OwnedResult& out) {
  primfit_simpler& to = out.simplerShape.emplace();
  ForEachPrimitive(
      [&]<class D>(D) {
        const auto* record = s.template As<typename D::Record>();
        if (record == nullptr) return;
        to.shape = D::kCode;
        to.number_count =
            static_cast<int>(WriteRecord<D, Listed::kForArrays>(*record, to.numbers) - to.numbers);
      },
      ShapeList<Line, Plane, Sphere, Cylinder>());
  to.rms = s.rms;
  WriteTo(s.covariance, out.simplerFree, out.simplerMatrix, to.position);
}
void WriteTo(const FitReport& r, OwnedResult& out) {
  out.draws = r.draws;
  out.refinements = r.refinements;
  out.inlier_share = r.inlierShare;
  out.noise = r.noise;
  out.tolerance = r.tolerance;
  out.stop_reason = static_cast<int>(r.stopReason);
  out.converged = r.converged ? 1 : 0;
  out.verdict = static_cast<int>(r.verdict);
  out.reasonText = r.reason;
  out.set_aside = r.setAside;
  out.step = r.step;
  out.least_deviation = r.leastDeviation;
  out.largest_deviation = r.largestDeviation;
  out.seen_from = static_cast<int>(r.seenFrom);
  if (r.simpler) WriteTo(*r.simpler, out);
}
static_assert(static_cast<int>(SeenFrom::kInside) == PRIMFIT_SEEN_INSIDE);
static_assert(static_cast<int>(StopReason::kStopped) == PRIMFIT_STOPPED &&
              static_cast<int>(Verdict::kSimpler) == PRIMFIT_SIMPLER &&
              static_cast<int>(ParameterKind::kMinorRadius) == PRIMFIT_MINOR_RADIUS);

template <class Shape>
std::unique_ptr<OwnedResult> FitOf(const PointView& points, const primfit_options& request) {
  using D = Description<Shape>;
  using StartD = typename D::StartDescription;
  FitOptions<Shape> options;
  ReadOptions(request, points.Count(), options);
  HostProgress progress(request);
  if (request.progress != nullptr) options.progress = &progress;
  typename StartD::Record start;
  if (request.start != nullptr) start = ReadStart<StartD, Listed::kForArrays>(request.start);
  typename D::Constraints constraints(&start);
  if (request.fix != nullptr) Hold<StartD>(request.fix, constraints);
  if (request.start != nullptr) options.constraints = &constraints;
  options.allPoints = request.all_points != 0;
  const std::vector<Vector3d> stations = StationsOf(request);
  options.stations = stations;
  FitResult<Shape> found = fit<Shape>(points, options);

  auto out = std::make_unique<OwnedResult>();
  const double* end = WriteRecord<D, Listed::kForArrays>(found.shape, out->numbers);
  out->number_count = static_cast<int>(end - out->numbers);
  out->vertices = CornersOf(found.shape);
  WriteTo(found.quality, *out);
  WriteTo(found.covariance, out->free, out->matrix, out->position);
  WriteTo(found.report, *out);
  out->inlierPositions = std::move(found.inliers);
  out->bounds = std::move(found.extents.sizes);
  out->start_deviation = found.extents.start;
  return out;
}

/// The fits by their code.
template <class... Shapes>
std::unique_ptr<OwnedResult> FitAny(int shape, const PointView& points, const primfit_options& options,
                                    ShapeList<Shapes...> /*all*/) {
  using Fit = std::unique_ptr<OwnedResult> (*)(const PointView&, const primfit_options&);
  constexpr Fit kFits[] = {&FitOf<Shapes>...};
  constexpr int kCodes[] = {Description<Shapes>::kCode...};
  for (std::size_t i = 0; i < std::size(kFits); ++i) {
    if (kCodes[i] == shape) return kFits[i](points, options);
  }
  throw FitError(messages::kUnknownShape);
}

/// Says why there is no result; an option by the name that it has in C: outlierShare is outlier_share.
/// @return the code
int TellFailure(const FitError& error, char* message) {
  if (message == nullptr) return static_cast<int>(error.Code());
  const bool option = IsOption(error.Code());
  char* const end = message + PRIMFIT_MESSAGE_SIZE - 2;
  char* to = message;
  for (const char* text = error.what(); *text != 0 && to < end; ++text) {
    const bool inWord = option && std::isupper(static_cast<unsigned char>(*text)) != 0 && to != message;
    if (inWord) *to++ = '_';
    *to++ = inWord ? static_cast<char>(std::tolower(static_cast<unsigned char>(*text))) : *text;
  }
  *to = 0;
  return static_cast<int>(error.Code());
}

/// The arrays of a result as C sees them.
void PointToOwned(OwnedResult& found) {
  found.parameter_count = static_cast<int>(found.free.size());
  found.parameters = found.free.data();
  found.covariance = found.matrix.data();
  found.reason = found.reasonText.c_str();
  found.inlier_count = found.inlierPositions.size();
  found.inliers = found.inlierPositions.data();
  found.outline_count = found.vertices.size() / 2;
  found.outline = found.vertices.data();
  found.extent_count = found.bounds.size();
  found.extents = found.bounds.data();
  if (!found.simplerShape) return;
  found.simplerShape->parameter_count = static_cast<int>(found.simplerFree.size());
  found.simplerShape->parameters = found.simplerFree.data();
  found.simplerShape->covariance = found.simplerMatrix.data();
  found.simpler = &*found.simplerShape;
}

/// The options of any version as those of this one.
/// @throws FitError for a version that is unknown
primfit_options Current(const primfit_options* options) {
  if (options == nullptr) return DefaultsOf(PRIMFIT_OPTIONS_VERSION);
  if (!IsKnown(options->version)) throw FitError(messages::kOptionsVersion);
  primfit_options current = {};
  std::memcpy(&current, options, kOptionSizes[options->version]);
  return current;
}

/// primfit_fit for either type of coordinates.
template <class Number>
int Fit(int shape, std::size_t n, const Number* points, std::size_t stride, const primfit_options* options,
        primfit_result** result, char* message) {
  try {
    if (result == nullptr) throw FitError(messages::kNoResult);
    const primfit_options current = Current(options);
    if (stride < 3) throw FitError(messages::kStride);
    if (current.fix != nullptr && current.start == nullptr) throw FitError(messages::kFixWithoutStart);
    auto found = FitAny(shape, PointView(points, n, stride), current, AllShapes());
    PointToOwned(*found);
    *result = found.release();
    return 0;
  } catch (const FitError& error) {
    return TellFailure(error, message);
  } catch (const std::bad_alloc&) {
    return TellFailure(messages::kOutOfMemory, message);
  } catch (const std::exception& error) {
    return TellFailure({FitErrorCode::kOther, error.what()}, message);
  } catch (...) {
    return TellFailure(messages::kHostThrew, message);
  }
}

}  // namespace

}  // namespace primfit

int primfit_default_options(primfit_options* options, int version) {
  if (options == nullptr) return PRIMFIT_ERROR_NO_RESULT;
  if (!primfit::IsKnown(version)) return PRIMFIT_ERROR_OPTION_VERSION;
  const primfit_options defaults = primfit::DefaultsOf(version);
  std::memcpy(options, &defaults, primfit::kOptionSizes[version]);
  return 0;
}

int primfit_fit(int shape, size_t n, const double* points, size_t stride, const primfit_options* options,
                primfit_result** result, char* message) {
  return primfit::Fit(shape, n, points, stride, options, result, message);
}

int primfit_fit_float(int shape, size_t n, const float* points, size_t stride, const primfit_options* options,
                      primfit_result** result, char* message) {
  return primfit::Fit(shape, n, points, stride, options, result, message);
}

void primfit_free(primfit_result* result) { delete static_cast<primfit::OwnedResult*>(result); }
