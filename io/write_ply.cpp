#include "io/write_ply.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "io/words.h"

namespace primfit::io {

namespace {

const char* NameOf(std::span<const std::int32_t> /*values*/) { return "int"; }
const char* NameOf(std::span<const double> /*values*/) { return "double"; }

std::string HeaderOf(const PlyCloud& cloud) {
  std::string header = "ply\nformat binary_little_endian 1.0\n";
  for (const std::string& comment : cloud.comments) header += "comment " + OneLine(comment) + "\n";
  header += "element vertex " + std::to_string(cloud.points.size()) + "\n";
  const char* type = cloud.coordinates == PlyCoordinates::kFloat ? "float" : "double";
  for (const char* axis : {"x", "y", "z"}) header += std::string("property ") + type + " " + axis + "\n";
  for (const PlyColumn& column : cloud.columns) {
    const char* name = std::visit([](const auto& values) { return NameOf(values); }, column.values);
    header += std::string("property ") + name + " " + column.name + "\n";
  }
  if (!cloud.colours.empty()) header += "property uchar red\nproperty uchar green\nproperty uchar blue\n";
  return header + "end_header\n";
}

template <class T>
void Append(T value, std::string& row) {
  char bytes[sizeof value];
  std::copy_n(reinterpret_cast<const char*>(&value), sizeof value, bytes);
  if constexpr (std::endian::native == std::endian::big) std::reverse(bytes, bytes + sizeof value);
  row.append(bytes, sizeof value);
}

void AppendPoint(const Eigen::Vector3d& p, PlyCoordinates type, std::string& row) {
  for (const double coordinate : p) {
    if (type == PlyCoordinates::kFloat)
      Append(static_cast<float>(coordinate), row);
    else
      Append(coordinate, row);
  }
}

}  // namespace

PlyCoordinates CoordinatesWithin(std::span<const Eigen::Vector3d> points, double distance) {
  const bool floats = std::all_of(points.begin(), points.end(), [&](const Eigen::Vector3d& p) {
    return std::all_of(p.begin(), p.end(), [&](double coordinate) {
      return std::abs(coordinate - static_cast<double>(static_cast<float>(coordinate))) <= distance;
    });
  });
  return floats ? PlyCoordinates::kFloat : PlyCoordinates::kDouble;
}

void WritePly(const PlyCloud& cloud, OutputFile& file) {
  file.Write(HeaderOf(cloud));
  std::string row;
  for (std::size_t i = 0; i < cloud.points.size(); ++i) {
    row.clear();
    AppendPoint(cloud.points[i], cloud.coordinates, row);
    for (const PlyColumn& column : cloud.columns)
      std::visit([&](const auto& values) { Append(values[i], row); }, column.values);
    if (!cloud.colours.empty()) row.append(cloud.colours[i].begin(), cloud.colours[i].end());
    file.Write(row);
  }
}

}  // namespace primfit::io
