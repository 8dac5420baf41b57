// The members of a result and their keys in JSON, once for the writer and the reader. `visit.Member(key,
// value)` is for what is always there, `visit.Optional(key, value)` for what is left out where it does not
// apply.
#ifndef PRIMFIT_REPORT_RESULT_MEMBERS_H_
#define PRIMFIT_REPORT_RESULT_MEMBERS_H_

#include <array>
#include <string_view>
#include <utility>

#include "report/result.h"
#include "report/verdicts.h"

namespace primfit::report {

/// The words that JSON has for the values of an enumeration, in the order of the values.
template <class Enum>
struct Words;
template <>
struct Words<Status> {
  static constexpr std::array<std::string_view, 4> kAll = {"read", "fitted", "nothing", "stopped"};
};
template <>
struct Words<UnitSource> {
  static constexpr std::array<std::string_view, 3> kAll = {"told", "file", "assumed"};
};
template <>
struct Words<Quantity> {
  static constexpr std::array<std::string_view, 4> kAll = {"position", "direction", "length", "angle"};
};
template <>
struct Words<Verdict> {
  static constexpr auto kAll = [] {
    std::array<std::string_view, kVerdicts.size()> keys;
    for (std::size_t i = 0; i < keys.size(); ++i) keys[i] = kVerdicts[i].key;
    return keys;
  }();
};
template <>
struct Words<SeenFrom> {
  static constexpr std::array<std::string_view, 3> kAll = {"unknown", "outside", "inside"};
};
template <>
struct Words<Method> {
  static constexpr std::array<std::string_view, 2> kAll = {"adaptive", "classic"};
};
template <>
struct Words<StopReason> {
  static constexpr std::array<std::string_view, 4> kAll = {"confident", "draw_limit", "time_limit",
                                                           "stopped"};
};

template <class Visit>
void Members(Visit& visit, Program& program) {
  visit.Member("name", program.name);
  visit.Member("version", program.version);
}

template <class Visit>
void Members(Visit& visit, FieldOfPoints& field) {
  visit.Member("name", field.name);
  visit.Member("type", field.type);
}

template <class Visit>
void Members(Visit& visit, ScanOfFile& scan) {
  visit.Member("points", scan.points);
  visit.Optional("station", scan.station);
}

template <class Visit>
void Members(Visit& visit, InputFile& input) {
  visit.Member("path", input.path);
  visit.Member("format", input.format);
  visit.Member("bytes", input.bytes);
  visit.Optional("xxh128", input.xxh128);
  visit.Member("fields", input.fields);
  visit.Member("scans", input.scans);
  visit.Member("notes", input.notes);
  visit.Optional("coordinate_step", input.coordinateStep);
}

template <class Visit>
void Members(Visit& visit, PointCounts& points) {
  visit.Member("total", points.total);
  visit.Member("marked", points.marked);
  visit.Member("passed_over", points.passedOver);
  visit.Member("not_finite", points.notFinite);
  visit.Member("not_where", points.notWhere);
  visit.Member("outside_region", points.outsideRegion);
  visit.Member("used", points.used);
  visit.Optional("sampled", points.sampled);
  visit.Optional("set_aside", points.setAside);
  visit.Optional("of_no_shape", points.ofNoShape);
}

template <class Visit>
void Members(Visit& visit, Box& box) {
  visit.Member("low", box.low);
  visit.Member("high", box.high);
}

template <class Visit>
void Members(Visit& visit, Units& units) {
  visit.Member("length", units.length);
  visit.Member("length_metres", units.lengthMetres);
  visit.Member("length_source", units.lengthSource);
  visit.Member("angle", units.angle);
  visit.Member("time", units.time);
}

template <class Visit>
void Members(Visit& visit, CoordinateSystem& system) {
  visit.Optional("name", system.name);
  visit.Optional("horizontal_unit_metres", system.horizontalUnitMetres);
  visit.Optional("vertical_unit_metres", system.verticalUnitMetres);
}

template <class Visit>
void Members(Visit& visit, PartValue& part) {
  visit.Member("quantity", part.quantity);
  visit.Member("value", part.value, SizeOf(part.quantity));
  visit.Optional("standard_deviation", part.standardDeviation);
  visit.Member("held", part.held);
  visit.Member("bound", part.bound);
}

template <class Visit>
void Members(Visit& visit, Corner& corner) {
  visit.Member("position", corner.position);
  visit.Optional("standard_deviation", corner.standardDeviation);
}

template <class Visit>
void Members(Visit& visit, Parameter& parameter) {
  visit.Member("name", parameter.name);
  visit.Member("unit", parameter.unit);
  visit.Optional("direction", parameter.direction);
  visit.Member("standard_deviation", parameter.standardDeviation);
}

template <class Visit>
void Members(Visit& visit, Covariance& covariance) {
  visit.Member("position", covariance.position);
  visit.Member("parameters", covariance.parameters);
  visit.Member("matrix", covariance.matrix);
}

template <class Visit>
void Members(Visit& visit, HistogramSlot& slot) {
  visit.Member("from", slot.from);
  visit.Member("to", slot.to);
  visit.Member("count", slot.count);
  visit.Member("share", slot.share);
}

template <class Visit>
void Members(Visit& visit, FormError& error) {
  visit.Member("least", error.least);
  visit.Member("largest", error.largest);
}

template <class Visit>
void Members(Visit& visit, Quality& quality) {
  visit.Member("rms", quality.rms);
  visit.Member("mean", quality.mean);
  visit.Member("mean_signed", quality.meanSigned);
  visit.Member("largest", quality.largest);
  visit.Optional("form_error", quality.formError);
  visit.Optional("acceptable", quality.acceptable);
  visit.Member("histogram", quality.histogram);
}

template <class Visit>
void Members(Visit& visit, Simpler& simpler) {
  visit.Member("kind", simpler.kind);
  visit.Member("numbers", simpler.numbers);
  visit.Member("parts", simpler.parts);
  visit.Member("rms", simpler.rms);
  visit.Member("covariance", simpler.covariance);
}

template <class Visit>
void Members(Visit& visit, FoundShape& shape) {
  visit.Member("id", shape.id);
  visit.Member("kind", shape.kind);
  visit.Member("numbers", shape.numbers);
  visit.Member("parts", shape.parts);
  visit.Member("outline", shape.outline);
  visit.Member("coverage_factor", shape.coverageFactor);
  visit.Optional("covariance", shape.covariance);
  visit.Optional("verdict", shape.verdict);
  visit.Optional("reason", shape.reason);
  visit.Optional("simpler", shape.simpler);
  visit.Optional("converged", shape.converged);
  visit.Member("inliers", shape.inliers);
  visit.Optional("inlier_share", shape.inlierShare);
  visit.Optional("noise", shape.noise);
  visit.Member("tolerance", shape.tolerance);
  visit.Optional("coordinate_step", shape.coordinateStep);
  visit.Optional("seen_from", shape.seenFrom);
  visit.Member("quality", shape.quality);
}

template <class Visit>
void Members(Visit& visit, SearchReport& search) {
  visit.Member("draws", search.draws);
  visit.Member("refinements", search.refinements);
  visit.Member("stop_reason", search.stopReason);
}

template <class Visit>
void Members(Visit& visit, Times& times) {
  visit.Member("reading", times.reading);
  visit.Optional("fitting", times.fitting);
}

template <class Visit>
void Members(Visit& visit, RunReport& report) {
  visit.Optional("method", report.method);
  visit.Optional("seed", report.seed);
  visit.Optional("search", report.search);
  visit.Member("times", report.times);
}

template <class Visit>
void Members(Visit& visit, Result& result) {
  visit.Member("program", result.program);
  visit.Member("command", result.command);
  visit.Member("arguments", result.arguments);
  visit.Member("status", result.status);
  visit.Optional("reason", result.reason);
  visit.Member("input", result.input);
  visit.Member("points", result.points);
  visit.Optional("extent", result.extent);
  visit.Member("units", result.units);
  visit.Member("coordinate_system", result.coordinateSystem);
  visit.Member("shift", result.shift);
  visit.Member("options", result.options);
  visit.Member("shapes", result.shapes);
  visit.Nothing("joints");
  visit.Nothing("runs");
  visit.Member("report", result.report);
}

}  // namespace primfit::report

#endif  // PRIMFIT_REPORT_RESULT_MEMBERS_H_
