// Text and JSON of a run. Lengths are in the unit of the file and angles in degrees; a value that is known to
// a standard deviation is written with as many digits as that lets mean something.
#include "report/report.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>

#include "io/read_error.h"
#include "io/words.h"
#include "report/uncertainty.h"
#include "report/verdicts.h"

namespace primfit::report {

namespace {

using Json = nlohmann::ordered_json;

constexpr int kBarWidth = 40;
constexpr int kDirectionDecimals = 9;
constexpr int kAngleDecimals = 6;

/// A fixed number of decimals, and no minus before a zero.
std::string Fixed(double value, int decimals) {
  std::string text = fmt::format("{:.{}f}", value, decimals);
  if (text.find_first_not_of("-0.") == std::string::npos && text.front() == '-') text.erase(0, 1);
  return text;
}

std::string Length(double value, const Unit& unit) {
  return fmt::format("{} {}", Fixed(value, unit.decimals), unit.name);
}

/// What the user has told of a length that the report gives.
std::string Told(const std::optional<double>& value, const Unit& unit) {
  return value ? fmt::format(" (told {})", Length(*value, unit)) : "";
}

/// Decimals that show two digits of a standard deviation.
int DecimalsOf(double deviation) {
  return static_cast<int>(std::clamp(1 - std::floor(std::log10(deviation)), 0.0, 12.0));
}

/// @param deviation  standard deviation, of a direction in degrees; it says how many decimals mean something.
///                   Infinite: not determined
std::string PartText(const Part& part, const double* numbers, const Unit& unit,
                     std::optional<double> deviation = {}) {
  const bool direction = QuantityOf(part) == Quantity::kDirection;
  const bool angle = QuantityOf(part) == Quantity::kAngle;
  int decimals = direction ? kDirectionDecimals : angle ? kAngleDecimals : unit.decimals;
  std::string after;
  const bool known = deviation && std::isfinite(*deviation);
  if (known) {
    const std::string_view name = direction || angle ? "deg" : unit.name;
    decimals = DecimalsOf(direction ? *deviation * FactorOf(Quantity::kAngle, unit) : *deviation);
    after = fmt::format(" ± {} {}", Fixed(*deviation, DecimalsOf(*deviation)), name);
  } else if (!direction) {
    after = fmt::format(" {}", angle ? "deg" : unit.name);
  }
  if (deviation && !known) after += " ± not determined by the points";
  std::string text = Fixed(numbers[0], decimals);
  for (std::size_t i = 1; i < part.Size(); ++i) text += ", " + Fixed(numbers[i], decimals);
  return text + after;
}

/// Bounds of a histogram slot, in units of its scale (the scanner error, of the adaptive method twice the
/// noise): eighths of two, then up to four, then all else.
double SlotStart(int k) { return k <= 8 ? 0.25 * k : 4.0; }

struct Slot {
  double from;  // unit of the file
  double to;    // infinite for the last one
  int count;
  double share;
};

std::vector<Slot> SlotsOf(const FitHistogram& histogram, const Unit& unit) {
  std::vector<Slot> slots;
  const double sigma = histogram.Sigma() / unit.metres;
  const int last = FitHistogram::NumberSplots() - 1;
  for (int k = 0; k <= last; ++k) {
    const double to = k == last ? HUGE_VAL : SlotStart(k + 1) * sigma;
    slots.push_back({SlotStart(k) * sigma, to, static_cast<int>(histogram.CountOnSlot(k)),
                     histogram.DistributionOnSplot(k)});
  }
  return slots;
}

std::string HistogramText(const FitHistogram& histogram, const Unit& unit) {
  const std::vector<Slot> slots = SlotsOf(histogram, unit);
  const double most = std::max_element(slots.begin(), slots.end(), [](const Slot& a, const Slot& b) {
                        return a.share < b.share;
                      })->share;
  std::string text;
  for (const Slot& slot : slots) {
    const std::string bar(
        static_cast<std::size_t>(std::lround(kBarWidth * slot.share / std::max(most, 1e-300))), '#');
    const std::string range =
        std::isinf(slot.to) ? fmt::format("{} and more", Length(slot.from, unit))
                            : fmt::format("{} to {}", Fixed(slot.from, unit.decimals), Length(slot.to, unit));
    text += fmt::format("  {:<26} {:>8} {:>5.1f} %{}{}\n", range, slot.count, 100 * slot.share,
                        bar.empty() ? "" : "  ", bar);
  }
  return text;
}

double ShareOf(std::size_t part, std::size_t whole) {
  return whole == 0 ? 0.0 : static_cast<double>(part) / static_cast<double>(whole);
}

std::string CountsText(const Input& input, const io::Selection& cloud) {
  std::string text = fmt::format("  {:<16} {} ({})\n", "in the file", cloud.total, cloud.file.format);
  if (cloud.file.nonFinite > 0)
    text += fmt::format("  {:<16} {} (not finite, left out)\n", "no measurement", cloud.file.nonFinite);
  if (!input.filter.region.Everywhere())
    text += fmt::format("  {:<16} {}\n", "outside region", cloud.outside);
  return text + fmt::format("  {:<16} {}\n", "used", cloud.Used());
}

/// The corners of a patch, one a line.
std::string OutlineText(const std::vector<double>& outline, const Unit& unit) {
  constexpr Part kCorner{"corner", PartKind::kPosition, Role::kResult};
  std::string text;
  for (std::size_t i = 0; i < outline.size(); i += 3)
    text += fmt::format("  corner {:<9} {}\n", i / 3 + 1, PartText(kCorner, outline.data() + i, unit));
  return text;
}

/// Whether the residuals pass the test that a fit has to pass unless any quality is accepted.
bool PassesQualityTest(const FitQuality& quality) { return quality.histogram.Successful(0.5, 0.8); }

Json PartJson(const Part& part, const double* numbers) {
  if (part.Size() == 1) return *numbers;
  return Json::array({numbers[0], numbers[1], numbers[2]});
}

Json PartsJson(std::span<const Part> parts, const std::vector<double>& numbers) {
  Json json = Json::object();
  ForEachPart(parts, numbers.size(), [&](const Part& part, std::size_t, std::size_t offset) {
    json[std::string(part.name)] = PartJson(part, numbers.data() + offset);
  });
  return json;
}

template <class T>
Json OrNull(const std::optional<T>& value) {
  return value ? Json(*value) : Json();
}

Json RequestJson(const FitRun& run) {
  const FitRequest& r = run.request;
  Json fixed = Json::array();
  for (std::size_t i = 0; i < r.fixed.size(); ++i) {
    if (r.fixed[i]) fixed.push_back(run.parts[i].name);
  }
  Json json = {{"tolerance", OrNull(r.tolerance)}};
  if (r.method == Method::kAdaptive) {
    json.update({{"noise", OrNull(r.noise)},
                 {"outliers", OrNull(r.outliers)},
                 {"confidence", r.confidence},
                 {"most_draws", r.mostDraws},
                 {"time_limit", OrNull(r.timeLimit)}});
    for (std::size_t i = 0; i < kLimits.size(); ++i) {
      if (!r.limits[i].empty()) json[kLimits[i].key] = PartsJson(kLimits[i].parts, r.limits[i]);
    }
  } else {
    json.update({{"scanner_error", r.scannerError},
                 {"outliers", OrNull(r.outliers)},
                 {"probability", r.probability},
                 {"sample_size", r.sampleSize},
                 {"skip_search", r.skipSearch},
                 {"refine_once", r.refineOnce},
                 {"any_quality", r.anyQuality}});
  }
  json.update({{"start", PartsJson(run.parts, r.start)}, {"fixed", fixed}, {"seed", run.seed}});
  if (!r.pick.empty()) json.update(PartsJson(kPickParts, r.pick));
  if (!r.section.empty()) json["through"] = PartsJson(kSectionParts, r.section);
  return json;
}

Json HistogramJson(const FitHistogram& histogram, const Unit& unit) {
  Json json = Json::array();
  for (const Slot& slot : SlotsOf(histogram, unit)) {
    const Json to = std::isinf(slot.to) ? Json() : Json(slot.to);
    json.push_back({{"from", slot.from}, {"to", to}, {"count", slot.count}, {"share", slot.share}});
  }
  return json;
}

Json QualityJson(const FitQuality& q, const Unit& unit) {
  return {{"rms", q.rmsDistance / unit.metres},
          {"mean", q.meanDistance / unit.metres},
          {"mean_signed", q.meanSignedDistance / unit.metres},
          {"max", q.maxDistance / unit.metres},
          {"histogram", HistogramJson(q.histogram, unit)}};
}

Json CountsJson(const io::Selection& cloud) {
  return {{"total", cloud.total},
          {"not_finite", cloud.file.nonFinite},
          {"outside_region", cloud.outside},
          {"used", cloud.Used()}};
}

Json HeadJson(std::string_view command, const Input& input, const io::Selection& cloud) {
  return {{"command", command},
          {"file", input.path},
          {"format", cloud.file.format},
          {"units", {{"length", input.unit->name}, {"angle", "deg"}, {"time", "s"}}}};
}

/// Why a search ended: for programs and for people.
struct End {
  const char* key;
  const char* text;
};
End EndOf(StopReason reason) {
  switch (reason) {
    case StopReason::kConfident:
      return {"confident", "confident that no better shape was missed"};
    case StopReason::kDrawLimit:
      return {"draw_limit", "at the most draws"};
    case StopReason::kTimeLimit:
      return {"time_limit", "stopped before the search was done, by the time limit"};
    case StopReason::kStopped:
      break;
  }
  return {"stopped", "stopped before the search was done"};
}

Json CovarianceJson(const FitCovariance& c, const Unit& unit) {
  Json parameters = Json::array();
  Json matrix = Json::array();
  for (std::size_t i = 0; i < c.parameters.size(); ++i) {
    const FitParameter& p = c.parameters[i];
    Json json = {{"name", p.Name()}, {"unit", p.IsAngle() ? "deg" : unit.name}};
    if (!p.direction.isZero(0)) json["direction"] = Json(p.direction);
    json["standard_deviation"] = p.standardDeviation / FactorOf(p, unit);
    parameters.push_back(std::move(json));
    Json row = Json::array();
    for (std::size_t j = 0; j < c.parameters.size(); ++j) {
      row.push_back(c.matrix(static_cast<Eigen::Index>(i), static_cast<Eigen::Index>(j)) /
                    (FactorOf(p, unit) * FactorOf(c.parameters[j], unit)));
    }
    matrix.push_back(std::move(row));
  }
  return {{"position", Json(Eigen::Vector3d(c.position / unit.metres))},
          {"parameters", std::move(parameters)},
          {"matrix", std::move(matrix)}};
}

/// The parts of the shape, each with how exactly it is known.
std::string ShapeText(const FitRun& run) {
  std::string text;
  ForEachPart(run.parts, run.result.shape.size(), [&](const Part& part, std::size_t i, std::size_t offset) {
    const bool held = run.request.fixed[i];
    const std::optional<double> deviation = held ? std::nullopt : DeviationOf(run, part, offset);
    text += fmt::format("  {:<16} {}{}\n", part.name,
                        PartText(part, run.result.shape.data() + offset, *run.input->unit, deviation),
                        held ? " (held)" : "");
  });
  return text + OutlineText(run.result.outline, *run.input->unit);
}

std::string Times(int count, std::string_view noun) {
  return io::Counted(static_cast<std::uint64_t>(count), noun);
}

std::string SearchText(const FitReport& report) {
  std::string text =
      fmt::format("search\n  {:<16} {}, {}\n  {:<16} {}\n", "draws", Times(report.draws, "sample"),
                  Times(report.refinements, "refinement"), "end", EndOf(report.stopReason).text);
  if (!report.converged) text += "  not converged: inliers or shape still changed at the end\n";
  return text;
}

/// What the adaptive method tells beside the shape.
Json EvidenceJson(const Evidence& evidence, const Unit& unit) {
  const FitReport& r = evidence.report;
  return {{"noise", r.noise / unit.metres},
          {"tolerance", r.tolerance / unit.metres},
          {"verdict", NameOf(r.verdict).key},
          {"reason", r.reason},
          {"stop_reason", EndOf(r.stopReason).key},
          {"converged", r.converged},
          {"draws", r.draws},
          {"refinements", r.refinements},
          {"inlier_share", r.inlierShare},
          {"set_aside", r.setAside},
          {"coordinate_step", r.step / unit.metres},
          {"covariance", CovarianceJson(evidence.covariance, unit)}};
}

const char* NameOf(Method method) { return method == Method::kAdaptive ? "adaptive" : "classic"; }

/// What every fit tells of its points, parameters and end, whether or not it found something.
void AppendCircumstances(const FitRun& run, Json& json) {
  json["points"] = CountsJson(*run.cloud);
  json["points"]["judged"] = run.judged;
  json["parameters"] = RequestJson(run);
  json["time"] = {{"reading", run.cloud->seconds}, {"fitting", run.fittingSeconds}};
  json["stopped"] = run.stopped;
}

// A file name need not be UTF-8, JSON has to be.
std::string Dump(const Json& json) { return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n"; }

/// The smallest box about the points.
struct Box {
  Eigen::Vector3d low;
  Eigen::Vector3d high;
};

Box BoxOf(const io::Selection& cloud) {
  Box e{Eigen::Vector3d::Constant(HUGE_VAL), Eigen::Vector3d::Constant(-HUGE_VAL)};
  for (const Eigen::Vector3d& p : cloud.file.points) e = {e.low.cwiseMin(p), e.high.cwiseMax(p)};
  return e;
}

}  // namespace

std::string TextReport(const FitRun& run) {
  const Unit& unit = *run.input->unit;
  const FitQuality& q = run.result.quality;
  const FitReport* report = run.result.evidence ? &run.result.evidence->report : nullptr;
  std::string text = fmt::format("{} fitted to {}\n", run.primitive, run.input->path);
  if (run.stopped) text += "stopped by Ctrl-C: the best found until then\n";
  text += ShapeText(run);
  const auto inliers = static_cast<std::size_t>(q.GetInlierCount());
  text += "points\n" + CountsText(*run.input, *run.cloud);
  if (run.judged < run.cloud->Used())
    text += fmt::format("  {:<16} {} (a random subset)\n", "sampled", run.judged);
  if (report != nullptr && report->setAside > 0)
    text += fmt::format("  {:<16} {} (hundreds at one place, as missing returns are stored)\n", "set aside",
                        report->setAside);
  const double tolerance =
      report != nullptr ? report->tolerance / unit.metres : run.request.tolerance.value();
  text += fmt::format("  {:<16} {} of {} ({:.1f} %) within {}{}\n", "inliers", inliers, run.judged,
                      100 * ShareOf(inliers, run.judged), Length(tolerance, unit),
                      report != nullptr ? Told(run.request.tolerance, unit) : "");
  text += "distances of the inliers\n";
  const auto length = [&](const char* name, double metres, const std::string& after = {}) {
    text += fmt::format("  {:<16} {}{}\n", name, Length(metres / unit.metres, unit), after);
  };
  if (report != nullptr) length("noise", report->noise, Told(run.request.noise, unit));
  if (report != nullptr && report->step > 0)
    length("coordinate step", report->step, ", coarser than the rest of the noise");
  length("rms", q.rmsDistance);
  length("mean", q.meanDistance);
  length("mean signed", q.meanSignedDistance);
  length("largest", q.maxDistance);
  if (report == nullptr && !PassesQualityTest(q)) text += "  fails the quality test for this scanner error\n";
  text += HistogramText(q.histogram, unit);
  if (report != nullptr) text += SearchText(*report);
  text += fmt::format("time\n  {:<16} {:.3f} s\n  {:<16} {:.3f} s (seed {})\n", "reading", run.cloud->seconds,
                      "fitting", run.fittingSeconds, run.seed);
  if (report != nullptr)
    text += fmt::format("{:<18} {}: {}\n", "verdict", NameOf(report->verdict).text, report->reason);
  return text;
}

std::string JsonReport(const FitRun& run) {
  Json json = HeadJson(run.primitive, *run.input, *run.cloud);
  json["status"] = run.stopped ? "stopped" : "fitted";
  json["shape"] = PartsJson(run.parts, run.result.shape);
  if (!run.result.outline.empty()) {
    Json& outline = json["shape"]["outline"] = Json::array();
    for (std::size_t i = 0; i < run.result.outline.size(); i += 3)
      outline.push_back({run.result.outline[i], run.result.outline[i + 1], run.result.outline[i + 2]});
  }
  json["quality"] = QualityJson(run.result.quality, *run.input->unit);
  json["method"] = NameOf(run.request.method);
  if (run.result.evidence)
    json.update(EvidenceJson(*run.result.evidence, *run.input->unit));
  else
    json["quality"]["acceptable"] = PassesQualityTest(run.result.quality);
  AppendCircumstances(run, json);
  json["points"]["inliers"] = run.result.quality.GetInlierCount();
  return Dump(json);
}

std::string JsonNothing(const FitRun& run, const std::string& reason) {
  Json json = HeadJson(run.primitive, *run.input, *run.cloud);
  json["status"] = run.stopped ? "stopped" : "nothing";
  json["reason"] = reason;
  json["method"] = NameOf(run.request.method);
  AppendCircumstances(run, json);
  return Dump(json);
}

namespace {

/// What the file says of its unit of length; horizontally and vertically where these differ.
std::string UnitText(const io::CoordinateReference& reference) {
  const auto metres = [](double value) {
    return value > 0 ? fmt::format("{:.10g} m", value) : std::string("not told");
  };
  std::string text = metres(reference.horizontalMetres);
  if (reference.verticalMetres > 0 && reference.verticalMetres != reference.horizontalMetres)
    text += fmt::format(", vertically {}", metres(reference.verticalMetres));
  return text;
}

std::string ReferenceText(const io::CoordinateReference& reference) {
  std::string text;
  if (!reference.system.empty())
    text += fmt::format("  {:<16} {}\n", "coordinates", io::Quoted(reference.system));
  if (reference.horizontalMetres > 0 || reference.verticalMetres > 0)
    text += fmt::format("  {:<16} {}\n", "unit in the file", UnitText(reference));
  return text;
}

Json ReferenceJson(const io::CoordinateReference& reference) {
  const auto metres = [](double value) { return value > 0 ? Json(value) : Json(); };
  return {{"system", reference.system.empty() ? Json() : Json(reference.system)},
          {"horizontal_unit_metres", metres(reference.horizontalMetres)},
          {"vertical_unit_metres", metres(reference.verticalMetres)}};
}

}  // namespace

std::string TextInfo(const Input& input, const io::Selection& cloud) {
  std::string text = fmt::format("{}\n", input.path);
  text += fmt::format("  {:<16} {} bytes\n", "size", cloud.file.bytes);
  text += fmt::format("  {:<16} {}", "values a point", cloud.file.fields.size());
  std::string names;
  for (const io::Field& field : cloud.file.fields) {
    if (field.name.empty()) continue;
    names += fmt::format("{}{}{}{}", names.empty() ? ": " : ", ", field.name, field.type.empty() ? "" : " ",
                         field.type);
  }
  text += names + "\n" + ReferenceText(cloud.file.reference) + "points\n" + CountsText(input, cloud);
  if (cloud.Used() > 0) {
    const Box e = BoxOf(cloud);
    text += "extent\n";
    for (Eigen::Index axis = 0; axis < 3; ++axis) {
      text += fmt::format("  {:<16} {} to {}\n", "xyz"[axis], Fixed(e.low[axis], input.unit->decimals),
                          Length(e.high[axis], *input.unit));
    }
  }
  return text + fmt::format("time\n  {:<16} {:.3f} s\n", "reading", cloud.seconds);
}

std::string JsonInfo(const Input& input, const io::Selection& cloud) {
  Json json = HeadJson("info", input, cloud);
  json["bytes"] = cloud.file.bytes;
  json["fields"] = Json::array();
  for (const io::Field& field : cloud.file.fields)
    json["fields"].push_back({{"name", field.name}, {"type", field.type}});
  json["reference"] = ReferenceJson(cloud.file.reference);
  json["points"] = CountsJson(cloud);
  json["extent"] = Json();
  if (cloud.Used() > 0) {
    const Box e = BoxOf(cloud);
    json["extent"] = {{"low", {e.low.x(), e.low.y(), e.low.z()}},
                      {"high", {e.high.x(), e.high.y(), e.high.z()}}};
  }
  json["time"] = {{"reading", cloud.seconds}};
  return Dump(json);
}

}  // namespace primfit::report
