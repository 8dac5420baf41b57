// The library works in metres and radians, a result is in the user's units: the shape comes converted, all
// else is converted here. Text that the user or the file has given becomes UTF-8 here.
#include "report/result_from_run.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <span>
#include <utility>
#include <variant>

#include "primitives/records.h"
#include "report/result_json.h"
#include "report/uncertainty.h"

namespace primfit::report {

namespace {

Vector VectorOf(const Eigen::Vector3d& v) { return {v.x(), v.y(), v.z()}; }

std::optional<Box> ExtentOf(const io::Selection& cloud) {
  if (cloud.Used() == 0) return std::nullopt;
  Eigen::Vector3d low = cloud.file.points[0], high = low;
  for (const Eigen::Vector3d& p : cloud.file.points) {
    low = low.cwiseMin(p);
    high = high.cwiseMax(p);
  }
  return Box{VectorOf(low), VectorOf(high)};
}

InputFile InputFileOf(const Input& input, const io::FileHead& file) {
  InputFile result{.path = Utf8(input.path),
                   .format = Utf8(file.format),
                   .bytes = file.bytes,
                   .xxh128 = {},
                   .fields = {},
                   .scans = {},
                   .notes = {},
                   .coordinateStep = {}};
  if (!file.xxh128.empty()) result.xxh128 = file.xxh128;
  for (const io::Field& field : file.fields) result.fields.push_back({Utf8(field.name), Utf8(field.type)});
  for (const io::Scan& scan : file.scans) {
    ScanOfFile& to = result.scans.emplace_back();
    to.points = scan.points;
    if (scan.station) to.station = VectorOf(*scan.station);
  }
  for (const std::string& note : file.notes) result.notes.push_back(Utf8(note));
  return result;
}

CoordinateSystem SystemOf(const io::CoordinateReference& reference) {
  CoordinateSystem system;
  if (!reference.system.empty()) system.name = Utf8(reference.system);
  if (reference.horizontalMetres > 0) system.horizontalUnitMetres = reference.horizontalMetres;
  if (reference.verticalMetres > 0) system.verticalUnitMetres = reference.verticalMetres;
  return system;
}

void Add(Named<OptionValue>& options, std::string_view name, const std::vector<double>& numbers) {
  if (!numbers.empty()) options.emplace_back(name, numbers);
}
void Add(Named<OptionValue>& options, std::string_view name, const std::optional<double>& number) {
  if (number) options.emplace_back(name, *number);
}

/// Which points and columns the user has chosen.
void AddChoice(const Input& input, Named<OptionValue>& options) {
  const io::Filter& filter = input.filter;
  Add(options, "near", filter.region.ball);
  Add(options, "box", filter.region.box);
  std::vector<std::string> conditions;
  for (const io::Condition& condition : filter.where) {
    std::string text = Utf8(condition.attribute) + "=";
    for (const auto& [low, high] : condition.ranges)
      text += fmt::format("{}{}{}", text.back() == '=' ? "" : ",", low,
                          low == high ? "" : fmt::format("..{}", high));
    conditions.push_back(text);
  }
  if (!conditions.empty()) options.emplace_back("where", conditions);
  if (filter.every > 1) options.emplace_back("every", static_cast<std::int64_t>(filter.every));
  if (!input.columns.empty()) options.emplace_back("columns", input.columns);
}

/// The options that both methods have and that only one of them has.
Named<OptionValue> OptionsOf(const FitRun& run) {
  const FitRequest& r = run.request;
  Named<OptionValue> options;
  Add(options, "tolerance", r.tolerance);
  Add(options, "outliers", r.outliers);
  if (r.method == Method::kAdaptive) {
    if (r.allPoints) options.emplace_back("all_points", true);
    Add(options, "noise", r.noise);
    Add(options, "confidence", std::optional(r.confidence));
    options.emplace_back("most_draws", std::int64_t{r.mostDraws});
    Add(options, "time_limit", r.timeLimit);
    for (std::size_t i = 0; i < kLimits.size(); ++i) Add(options, kLimits[i].key, r.limits[i]);
  } else {
    Add(options, "scanner_error", std::optional(r.scannerError));
    Add(options, "probability", std::optional(r.probability));
    options.emplace_back("sample_size", std::int64_t{r.sampleSize});
    options.emplace_back("skip_search", r.skipSearch);
    options.emplace_back("refine_once", r.refineOnce);
    options.emplace_back("any_quality", r.anyQuality);
  }
  Add(options, "start", r.start);
  std::vector<std::string> held;
  for (std::size_t i = 0; i < r.fixed.size(); ++i) {
    if (r.fixed[i]) held.emplace_back(run.parts[i].name);
  }
  if (!held.empty()) options.emplace_back("fix", held);
  Add(options, "pick", r.pick);
  Add(options, "through", r.section);
  return options;
}

PartValue ValueOf(const Part& part, std::span<const double> numbers, std::size_t offset) {
  const std::span<const double> own = numbers.subspan(offset, part.Size());
  return {.quantity = QuantityOf(part),
          .value = {own.begin(), own.end()},
          .standardDeviation = {},
          .bound = !ParameterOf(part.kind)};
}

Named<PartValue> PartsOf(const FitRun& run) {
  Named<PartValue> values;
  const std::vector<double>& shape = run.result.shape;
  const std::optional<Evidence>& evidence = run.result.evidence;
  ForEachPart(run.parts, shape.size(), [&](const Part& part, std::size_t i, std::size_t offset) {
    PartValue value = ValueOf(part, shape, offset);
    value.held = i < run.request.fixed.size() && run.request.fixed[i];
    if (evidence && !value.held)
      value.standardDeviation = DeviationOf(
          {run.parts, shape, evidence->covariance, evidence->extents, run.input->unit}, part, offset);
    values.emplace_back(part.name, std::move(value));
  });
  return values;
}

std::vector<Corner> OutlineOf(const FittedShape& shape, const Unit& unit) {
  const std::vector<double>& numbers = shape.outline;
  std::vector<Corner> outline;
  for (std::size_t i = 0; i + 2 < numbers.size(); i += 3) {
    Corner corner{.position = {numbers[i], numbers[i + 1], numbers[i + 2]}, .standardDeviation = {}};
    if (shape.evidence && i / 3 < shape.evidence->extents.sizes.size())
      corner.standardDeviation = shape.evidence->extents.sizes[i / 3] / unit.metres;
    outline.push_back(corner);
  }
  return outline;
}

Covariance CovarianceOf(const FitCovariance& c, const Unit& unit) {
  Covariance result{.position = VectorOf(c.position / unit.metres), .parameters = {}, .matrix = {}};
  for (std::size_t i = 0; i < c.parameters.size(); ++i) {
    const FitParameter& p = c.parameters[i];
    Parameter parameter{.name = p.Name(),
                        .unit = std::string(p.IsAngle() ? "deg" : unit.name),
                        .direction = {},
                        .standardDeviation = p.standardDeviation / FactorOf(p, unit)};
    if (!p.direction.isZero(0)) parameter.direction = VectorOf(p.direction);
    result.parameters.push_back(std::move(parameter));
    std::vector<double>& row = result.matrix.emplace_back();
    for (std::size_t j = 0; j < c.parameters.size(); ++j)
      row.push_back(c.matrix(static_cast<Eigen::Index>(i), static_cast<Eigen::Index>(j)) /
                    (FactorOf(p, unit) * FactorOf(c.parameters[j], unit)));
  }
  return result;
}

/// The numbers of a record in a place, in the user's lengths and in degrees.
template <class D, Listed kPlace>
std::vector<double> NumbersOf(const typename D::Record& record, const Unit& unit) {
  const auto& parts = kPartsIn<D, kPlace>;
  std::vector<double> numbers(NumbersIn(parts));
  WriteRecord<D, kPlace>(record, numbers.data());
  ForEachPart(parts, numbers.size(), [&](const Part& part, std::size_t, std::size_t offset) {
    for (std::size_t i = 0; i < part.Size(); ++i) numbers[offset + i] /= FactorOf(QuantityOf(part), unit);
  });
  return numbers;
}

template <class D>
Simpler SimplerAs(const typename D::Record& record, const SimplerShape& shape, const Unit& unit) {
  const auto& parts = kPartsIn<D, Listed::kForPeople>;
  const std::vector<double> numbers = NumbersOf<D, Listed::kForPeople>(record, unit);
  const FitExtents noExtents;
  Simpler simpler{.kind = std::string(D::kName),
                  .numbers = NumbersOf<D, Listed::kForArrays>(record, unit),
                  .parts = {},
                  .rms = shape.rms / unit.metres,
                  .covariance = CovarianceOf(shape.covariance, unit)};
  ForEachPart(parts, numbers.size(), [&](const Part& part, std::size_t, std::size_t offset) {
    PartValue value = ValueOf(part, numbers, offset);
    if (value.bound) return;
    value.standardDeviation = DeviationOf({parts, numbers, shape.covariance, noExtents, unit}, part, offset);
    simpler.parts.emplace_back(part.name, std::move(value));
  });
  return simpler;
}

Simpler SimplerOf(const SimplerShape& shape, const Unit& unit) {
  Simpler simpler;
  ForEachPrimitive(
      [&]<class D>(D) {
        if (const auto* record = shape.template As<typename D::Record>())
          simpler = SimplerAs<D>(*record, shape, unit);
      },
      ShapeList<Line, Plane, Sphere, Cylinder>());
  return simpler;
}

/// Bounds of a histogram slot, in units of its scale (the scanner error, of the adaptive method twice the
/// noise): eighths of two, then up to four, then all else.
double SlotStart(int k) { return k <= 8 ? 0.25 * k : 4.0; }

std::vector<HistogramSlot> SlotsOf(const FitHistogram& histogram, const Unit& unit) {
  std::vector<HistogramSlot> slots;
  const double scale = histogram.Sigma() / unit.metres;
  const int last = FitHistogram::NumberSplots() - 1;
  for (int k = 0; k <= last; ++k) {
    const double to = k == last ? std::numeric_limits<double>::infinity() : SlotStart(k + 1) * scale;
    slots.push_back({SlotStart(k) * scale, to, static_cast<std::uint64_t>(histogram.CountOnSlot(k)),
                     histogram.DistributionOnSplot(k)});
  }
  return slots;
}

/// Whether the residuals pass the test that a fit has to pass unless any quality is accepted.
bool PassesQualityTest(const FitQuality& quality) { return quality.histogram.Successful(0.5, 0.8); }

Quality QualityOf(const FittedShape& shape, const Unit& unit) {
  const FitQuality& q = shape.quality;
  Quality quality{.rms = q.rmsDistance / unit.metres,
                  .mean = q.meanDistance / unit.metres,
                  .meanSigned = q.meanSignedDistance / unit.metres,
                  .largest = q.maxDistance / unit.metres,
                  .formError = {},
                  .acceptable = {},
                  .histogram = SlotsOf(q.histogram, unit)};
  if (shape.formError)
    quality.formError = {shape.formError->least / unit.metres, shape.formError->largest / unit.metres};
  if (!shape.evidence) quality.acceptable = PassesQualityTest(q);
  return quality;
}

/// What only the adaptive method tells of a shape.
void AddEvidence(const Evidence& evidence, const Unit& unit, FoundShape& shape) {
  const FitReport& report = evidence.report;
  shape.covariance = CovarianceOf(evidence.covariance, unit);
  shape.verdict = report.verdict;
  shape.reason = Utf8(report.reason);
  if (report.simpler) shape.simpler = SimplerOf(*report.simpler, unit);
  shape.converged = report.converged;
  shape.inlierShare = report.inlierShare;
  shape.noise = report.noise / unit.metres;
  shape.tolerance = report.tolerance / unit.metres;
  shape.coordinateStep = report.step / unit.metres;
  if (report.seenFrom != SeenFrom::kUnknown) shape.seenFrom = report.seenFrom;
}

/// Whether the shape was given whole, so that nothing was looked for nor judged.
bool IsGiven(const FitRun& run) {
  const std::vector<bool>& fixed = run.request.fixed;
  std::size_t free = 0;
  ForEachPart(run.parts, run.request.start.size(),
              [&](const Part&, std::size_t i, std::size_t) { free += fixed[i] ? 0 : 1; });
  return run.request.allPoints && !run.request.start.empty() && free == 0;
}

FoundShape ShapeOf(const FitRun& run) {
  FoundShape shape;
  shape.kind = run.result.kind;
  shape.numbers = run.result.numbers;
  shape.parts = PartsOf(run);
  shape.outline = OutlineOf(run.result, run.input->unit);
  shape.inliers = static_cast<std::uint64_t>(run.result.quality.GetInlierCount());
  shape.tolerance = run.request.tolerance.value_or(0);
  shape.quality = QualityOf(run.result, run.input->unit);
  if (run.result.evidence) AddEvidence(*run.result.evidence, run.input->unit, shape);
  if (IsGiven(run)) {
    shape.verdict.reset();
    shape.reason.reset();
    shape.converged.reset();
  }
  return shape;
}

}  // namespace

namespace {

/// What every command tells that reads points.
Result ResultOfInput(const Invocation& invocation, const Input& input, const io::FileHead& file,
                     const io::SelectionCounts& counts) {
  Result result;
  result.program.version = invocation.version;
  result.command = invocation.command;
  for (const std::string& argument : invocation.arguments) result.arguments.push_back(Utf8(argument));
  result.input = InputFileOf(input, file);
  PointCounts& points = result.points;
  points.total = counts.total;
  points.marked = file.marked;
  points.passedOver = counts.notEvery;
  points.notFinite = counts.nonFinite;
  points.notWhere = counts.notWhere;
  points.outsideRegion = counts.outside;
  points.used = counts.total - counts.notEvery - counts.nonFinite - counts.notWhere - counts.outside;
  result.units.length = input.unit.name;
  result.units.lengthMetres = input.unit.metres;
  result.units.lengthSource = input.unitSource;
  result.coordinateSystem = SystemOf(file.reference);
  AddChoice(input, result.options);
  return result;
}

}  // namespace

Result ResultOfReading(const Invocation& invocation, const Input& input, const io::Summary& summary) {
  Result result = ResultOfInput(invocation, input, summary.head, summary);
  if (summary.used > 0) result.extent = Box{VectorOf(summary.low), VectorOf(summary.high)};
  result.input.coordinateStep = VectorOf(summary.step);
  result.report.times.reading = summary.seconds;
  return result;
}

Result ResultOfFit(const Invocation& invocation, const FitRun& run) {
  Result result = ResultOfInput(invocation, *run.input, run.cloud->file, *run.cloud);
  result.extent = ExtentOf(*run.cloud);
  result.report.times.reading = run.cloud->seconds;
  const Named<OptionValue> options = OptionsOf(run);
  result.options.insert(result.options.end(), options.begin(), options.end());
  const bool found = run.failure.empty();
  result.status = run.stopped ? Status::kStopped : found ? Status::kFitted : Status::kNothing;
  if (found)
    result.shapes.push_back(ShapeOf(run));
  else
    result.reason = Utf8(run.failure);
  result.points.sampled = run.judged;
  result.points.ofNoShape = run.cloud->Used() - run.result.inliers.size();
  result.report.method = run.request.method;
  if (!IsGiven(run)) result.report.seed = run.seed;
  result.report.times.fitting = run.fittingSeconds;
  if (run.result.evidence) {
    const FitReport& report = run.result.evidence->report;
    result.points.setAside = report.setAside;
    if (!run.request.allPoints)
      result.report.search = {static_cast<std::uint64_t>(report.draws),
                              static_cast<std::uint64_t>(report.refinements), report.stopReason};
  }
  return result;
}

}  // namespace primfit::report
