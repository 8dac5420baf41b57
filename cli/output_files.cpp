// Points are written in the order, unit and frame of the file that they come from.
#include "cli/output_files.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "cli/deviations.h"
#include "io/output_file.h"
#include "io/write_ply.h"
#include "report/colour_scale.h"
#include "report/result_json.h"

namespace primfit::cli {

using report::Colour;
using report::FitRun;
using report::FoundShape;
using report::Result;

namespace {

/// Of each point the index of the shape that it is on; -1 for none.
std::vector<std::int32_t> LabelsOf(const FitRun& run) {
  std::vector<std::int32_t> labels(run.cloud->Used(), -1);
  for (const std::uint32_t i : run.result.inliers) labels[i] = 0;
  return labels;
}

std::vector<Eigen::Vector3d> PointsWith(const std::vector<std::int32_t>& labels, bool onShape,
                                        std::span<const Eigen::Vector3d> points) {
  std::vector<Eigen::Vector3d> chosen;
  for (std::size_t i = 0; i < points.size(); ++i) {
    if ((labels[i] >= 0) == onShape) chosen.push_back(points[i]);
  }
  return chosen;
}

/// Coordinates may be changed by a tenth of the noise, which no one can see in them; where the noise is not
/// known by a millionth of the unit.
double AllowedRounding(const FoundShape& shape) {
  constexpr double kMillionth = 1e-6;
  return shape.noise.value_or(0) > 0 ? *shape.noise / 10 : kMillionth;
}

/// What the scale of colours ends at: three standard deviations from the shape.
double ColourRange(const FoundShape& shape) { return 3 * shape.noise.value_or(shape.quality.rms); }

/// Points of no shape are dark grey.
std::vector<Colour> ColoursOf(const std::vector<double>& deviations, const std::vector<std::int32_t>& labels,
                              double range) {
  constexpr Colour kOfNoShape = {96, 96, 96};
  constexpr int kSteps = 255;  // to either side
  std::vector<Colour> scale;
  for (int i = -kSteps; i <= kSteps; ++i) scale.push_back(report::DivergingColour(i / double{kSteps}));
  std::vector<Colour> colours(deviations.size());
  for (std::size_t i = 0; i < deviations.size(); ++i) {
    const double share = range > 0 ? std::clamp(deviations[i] / range, -1.0, 1.0) : 0;
    colours[i] =
        labels[i] < 0 ? kOfNoShape : scale[static_cast<std::size_t>(std::lround(kSteps * (1 + share)))];
  }
  return colours;
}

/// Writes points with the lines of the header that every file of this program has, and more.
void WriteCloud(const std::string& path, const Result& result, io::PlyCloud cloud) {
  cloud.coordinates = io::CoordinatesWithin(cloud.points, AllowedRounding(result.shapes.front()));
  std::vector<std::string> head = {
      fmt::format("{} {}, {} of {}", result.program.name, result.program.version, result.command,
                  result.input.path),
      fmt::format("lengths in {} of {:.10g} m", result.units.length, result.units.lengthMetres)};
  cloud.comments.insert(cloud.comments.begin(), head.begin(), head.end());
  io::OutputFile file(path);
  io::WritePly(cloud, file);
  file.Commit();
}

void WriteDeviations(const std::string& path, const FitRun& run, const Result& result,
                     const std::vector<std::int32_t>& labels) {
  const std::span<const Eigen::Vector3d> points = run.cloud->file.points;
  const std::vector<double> deviations = SignedDistances(run.result.model, points, run.input->unit.metres);
  const double range = ColourRange(result.shapes.front());
  const std::vector<Colour> colours = ColoursOf(deviations, labels, range);
  WriteCloud(
      path, result,
      {.points = points,
       .columns = {{"deviation", std::span(deviations)}},
       .colours = colours,
       .comments = {"deviation: signed distance from the shape, negative inside or behind a plane's normal",
                    fmt::format("colours: blue {:.6g}, light grey 0, red {:.6g}, dark grey of no shape",
                                -range, range)}});
}

}  // namespace

void WriteResultFile(const OutputOptions& options, const Result& result) {
  if (!options.result) return;
  io::OutputFile file(*options.result);
  file.Write(report::WriteResult(result));
  file.Commit();
}

void WritePointFiles(const OutputOptions& options, const FitRun& run, const Result& result) {
  if (result.shapes.empty()) return;
  if (!options.labels && !options.deviations && !options.inliers && !options.rest) return;
  const std::span<const Eigen::Vector3d> points = run.cloud->file.points;
  const std::vector<std::int32_t> labels = LabelsOf(run);
  if (options.labels)
    WriteCloud(*options.labels, result,
               {.points = points,
                .columns = {{"label", std::span(labels)}},
                .comments = {"label: index of the shape in the result, -1 for none"}});
  if (options.deviations) WriteDeviations(*options.deviations, run, result, labels);
  if (options.inliers) WriteCloud(*options.inliers, result, {.points = PointsWith(labels, true, points)});
  if (options.rest) WriteCloud(*options.rest, result, {.points = PointsWith(labels, false, points)});
}

}  // namespace primfit::cli
