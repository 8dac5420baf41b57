// A function for each paragraph. Texts of the result that may come from a file go through OneLine.
#include "report/result_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <optional>

#include "io/words.h"
#include "report/histogram_text.h"
#include "report/number_text.h"
#include "report/units.h"
#include "report/verdicts.h"

namespace primfit::report {

namespace {

/// A line of a paragraph: a name, and what it is.
std::string Row(std::string_view name, std::string_view value) {
  return fmt::format("  {:<16} {}\n", name, value);
}

const OptionValue* Find(const Named<OptionValue>& options, std::string_view name) {
  const auto at =
      std::find_if(options.begin(), options.end(), [&](const auto& option) { return option.first == name; });
  return at == options.end() ? nullptr : &at->second;
}

/// What the user has told the adaptive method of a length that the result gives.
std::string Told(const Result& result, std::string_view option) {
  const OptionValue* value = Find(result.options, option);
  const double* length = value == nullptr ? nullptr : std::get_if<double>(value);
  const bool takesItFromPoints = result.report.method == Method::kAdaptive;
  return length != nullptr && takesItFromPoints ? fmt::format(" (told {})", LengthText(*length, result.units))
                                                : "";
}

std::string UnitText(const Units& units) {
  switch (units.lengthSource) {
    case UnitSource::kTold:
      return io::OneLine(units.length) + " (told)";
    case UnitSource::kFile:
      return io::OneLine(units.length) + " (from the file)";
    case UnitSource::kAssumed:
      break;
  }
  return io::OneLine(units.length) + " (assumed; --unit tells another)";
}

std::string PointsText(const Result& result) {
  const PointCounts& points = result.points;
  const bool hasRegion = Find(result.options, "near") != nullptr || Find(result.options, "box") != nullptr;
  std::string text =
      "points\n" +
      Row("in the file", fmt::format("{} ({})", points.total, io::OneLine(result.input.format))) +
      Row("unit", UnitText(result.units));
  if (points.marked > 0)
    text += Row("missing", fmt::format("{} more (marked so in the file, left out)", points.marked));
  if (points.passedOver > 0) text += Row("passed over", fmt::format("{} (--every)", points.passedOver));
  if (points.notFinite > 0)
    text += Row("no measurement", fmt::format("{} (not finite, left out)", points.notFinite));
  if (Find(result.options, "where") != nullptr)
    text += Row("other attributes", std::to_string(points.notWhere));
  if (hasRegion) text += Row("outside region", std::to_string(points.outsideRegion));
  text += Row("used", std::to_string(points.used));
  if (points.sampled && *points.sampled < points.used)
    text += Row("sampled", fmt::format("{} (a random subset)", *points.sampled));
  if (points.setAside && *points.setAside > 0)
    text += Row("set aside",
                fmt::format("{} (hundreds at one place, as missing returns are stored)", *points.setAside));
  for (const std::string& note : result.input.notes) text += Row("note", io::OneLine(note));
  return text;
}

/// The simpler shape that explains the inliers as well, its parts on one line.
std::string SimplerText(const Simpler& simpler, const Units& units) {
  std::string parts;
  for (const auto& [name, part] : simpler.parts)
    parts += fmt::format("{}{} {}", parts.empty() ? "" : "; ", io::OneLine(name), PartText(part, units));
  return fmt::format("{:<18} a {} explains the same points as well: {}; rms {}\n", "simpler shape",
                     io::OneLine(simpler.kind), parts, LengthText(simpler.rms, units));
}

/// The parts of a shape, each with how exactly it is known, and its corners.
std::string PartsText(const FoundShape& shape, const Units& units) {
  std::string text;
  for (const auto& [name, part] : shape.parts)
    text += Row(io::OneLine(name), PartText(part, units) + (part.held ? " (held)" : ""));
  if (shape.seenFrom) text += Row("seen from", *shape.seenFrom == SeenFrom::kInside ? "inside" : "outside");
  for (std::size_t i = 0; i < shape.outline.size(); ++i) {
    const Corner& corner = shape.outline[i];
    const PartValue place{.quantity = Quantity::kPosition,
                          .value = {corner.position.begin(), corner.position.end()},
                          .standardDeviation = corner.standardDeviation};
    text += Row(fmt::format("corner {}", i + 1), PartText(place, units));
  }
  return text;
}

std::string InliersText(const FoundShape& shape, const Result& result) {
  const std::uint64_t of = result.points.sampled.value_or(result.points.used);
  const double share = of == 0 ? 0 : static_cast<double>(shape.inliers) / static_cast<double>(of);
  return Row("inliers", fmt::format("{} of {} ({:.1f} %) within {}{}", shape.inliers, of, 100 * share,
                                    LengthText(shape.tolerance, result.units), Told(result, "tolerance")));
}

std::string DistancesText(const FoundShape& shape, const Result& result) {
  const Units& units = result.units;
  const Quality& quality = shape.quality;
  std::string text = "distances of the inliers\n";
  if (shape.noise) text += Row("noise", LengthText(*shape.noise, units) + Told(result, "noise"));
  if (shape.coordinateStep && *shape.coordinateStep > 0)
    text += Row("coordinate step",
                LengthText(*shape.coordinateStep, units) + ", coarser than the rest of the noise");
  text += Row("rms", LengthText(quality.rms, units)) + Row("mean", LengthText(quality.mean, units)) +
          Row("mean signed", LengthText(quality.meanSigned, units)) +
          Row("largest", LengthText(quality.largest, units));
  if (quality.formError)
    text += Row("form error", RangeText(quality.formError->least, quality.formError->largest, units));
  if (quality.acceptable == false) text += "  fails the quality test for this scanner error\n";
  return text + HistogramText(quality.histogram, units);
}

std::string_view EndText(StopReason reason) {
  switch (reason) {
    case StopReason::kConfident:
      return "confident that no better shape was missed";
    case StopReason::kDrawLimit:
      return "at the most draws";
    case StopReason::kTimeLimit:
      return "stopped before the search was done, by the time limit";
    case StopReason::kStopped:
      break;
  }
  return "stopped before the search was done";
}

std::string SearchText(const SearchReport& search) {
  return "search\n" +
         Row("draws",
             io::Counted(search.draws, "sample") + ", " + io::Counted(search.refinements, "refinement")) +
         Row("end", EndText(search.stopReason));
}

std::string TimesText(const RunReport& report) {
  std::string text = "time\n" + Row("reading", Fixed(report.times.reading, 3) + " s");
  const std::string seed = report.seed ? fmt::format(" (seed {})", *report.seed) : "";
  if (report.times.fitting)
    text += Row("fitting", fmt::format("{} s{}", Fixed(*report.times.fitting, 3), seed));
  return text;
}

std::string VerdictText(const FoundShape& shape, const Units& units) {
  return (shape.simpler ? SimplerText(*shape.simpler, units) : "") +
         fmt::format("{:<18} {}: {}\n", "verdict", NameOf(*shape.verdict).text,
                     io::OneLine(shape.reason.value_or("")));
}

std::string HeadText(const Result& result) {
  const std::string command = io::OneLine(result.command), path = io::OneLine(result.input.path);
  if (result.shapes.empty())
    return fmt::format("no {} found in {}: {}\n", command, path, io::OneLine(result.reason.value_or("")));
  if (command == "check")
    return fmt::format("{} compared with {}\n", io::OneLine(result.shapes[0].kind), path);
  std::string text = fmt::format("{} fitted to {}\n", command, path);
  if (result.status == Status::kStopped) text += "stopped by Ctrl-C: the best found until then\n";
  return text;
}

std::string FitText(const Result& result) {
  std::string text = HeadText(result);
  const bool isOne = result.shapes.size() == 1;
  const auto title = [&](const FoundShape& shape) {
    return isOne ? "" : fmt::format("shape {}: {}\n", shape.id, io::OneLine(shape.kind));
  };
  for (const FoundShape& shape : result.shapes) text += title(shape) + PartsText(shape, result.units);
  text += PointsText(result);
  for (const FoundShape& shape : result.shapes)
    text += title(shape) + InliersText(shape, result) + DistancesText(shape, result);
  if (result.report.search) text += SearchText(*result.report.search);
  for (const FoundShape& shape : result.shapes) {
    if (shape.converged == false)
      text += title(shape) + "  not converged: inliers or shape still changed at the end\n";
  }
  text += TimesText(result.report);
  for (const FoundShape& shape : result.shapes)
    text += shape.verdict ? title(shape) + VerdictText(shape, result.units) : "";
  return text;
}

// What a file holds.

std::string FieldsText(const std::vector<FieldOfPoints>& fields) {
  std::string names;
  for (const FieldOfPoints& field : fields) {
    if (field.name.empty()) continue;
    names += names.empty() ? ": " : ", ";
    names += field.name + (field.type.empty() ? "" : " ") + field.type;
  }
  return std::to_string(fields.size()) + io::OneLine(names);
}

/// The unit of length of the file; horizontally and vertically where these differ.
std::string UnitInFileText(const CoordinateSystem& system) {
  const auto metres = [](const std::optional<double>& value) {
    if (!value || !std::isfinite(*value)) return std::string("not told");
    return fmt::format("{:.10g} m", *value);
  };
  std::string text = metres(system.horizontalUnitMetres);
  if (system.verticalUnitMetres && system.verticalUnitMetres != system.horizontalUnitMetres)
    text += ", vertically " + metres(system.verticalUnitMetres);
  return text;
}

/// The unit of the heights, which of a file can be another one than that of x and y.
Units VerticalUnits(const Result& result) {
  const std::optional<double>& vertical = result.coordinateSystem.verticalUnitMetres;
  Units units = result.units;
  if (units.lengthSource != UnitSource::kFile || !vertical || !(*vertical > 0)) return units;
  if (IsSameLength(*vertical, units.lengthMetres)) return units;
  units.length = UnitOfMetres(*vertical).name;
  units.lengthMetres = *vertical;
  return units;
}

std::string ExtentText(const Box& extent, const Result& result) {
  std::string text = "extent\n";
  for (std::size_t axis = 0; axis < 3; ++axis)
    text += Row(std::string_view("xyz").substr(axis, 1),
                RangeText(extent.low.at(axis), extent.high.at(axis),
                          axis == 2 ? VerticalUnits(result) : result.units));
  return text;
}

/// Steps of the coordinates that are coarser than a millimetre: what the points cannot tell apart.
std::string StepText(const Result& result) {
  constexpr double kMillimetre = 1e-3;
  const std::optional<Vector>& step = result.input.coordinateStep;
  if (!step) return "";
  const double coarsest = *std::max_element(step->begin(), step->end());
  if (!(coarsest * result.units.lengthMetres > (1 + 1e-9) * kMillimetre)) return "";
  const PartValue steps{.quantity = Quantity::kPosition, .value = {step->begin(), step->end()}};
  return Row("coordinate step", PartText(steps, result.units) + ", coarser than a millimetre");
}

/// How many scans there are, and where the first of them were taken from.
std::string ScansText(const Result& result) {
  constexpr std::size_t kMostShown = 10;
  const std::vector<ScanOfFile>& scans = result.input.scans;
  std::string text = scans.empty() ? "" : Row("scans", std::to_string(scans.size()));
  for (std::size_t i = 0; i < std::min(scans.size(), kMostShown); ++i) {
    const std::optional<Vector>& station = scans[i].station;
    if (!station) continue;
    const PartValue place{.quantity = Quantity::kPosition, .value = {station->begin(), station->end()}};
    text += Row(fmt::format("station {}", i + 1),
                fmt::format("{}, {}", PartText(place, result.units), io::Counted(scans[i].points, "point")));
  }
  return scans.size() > kMostShown ? text + Row("", "...") : text;
}

std::string InfoText(const Result& result) {
  const CoordinateSystem& system = result.coordinateSystem;
  std::string text =
      io::OneLine(result.input.path) + "\n" + Row("size", fmt::format("{} bytes", result.input.bytes));
  if (result.input.xxh128) text += Row("checksum", "XXH128 " + io::OneLine(*result.input.xxh128));
  text += Row("values a point", FieldsText(result.input.fields));
  if (system.name) text += Row("coordinates", '"' + io::OneLine(*system.name) + '"');
  if (system.horizontalUnitMetres || system.verticalUnitMetres)
    text += Row("unit in the file", UnitInFileText(system));
  text += ScansText(result) + PointsText(result);
  if (result.extent) text += ExtentText(*result.extent, result) + StepText(result);
  return text + TimesText(result.report);
}

}  // namespace

std::string TextOf(const Result& result) {
  return result.status == Status::kRead ? InfoText(result) : FitText(result);
}

}  // namespace primfit::report
