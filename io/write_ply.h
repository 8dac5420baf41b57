// Points with attributes as PLY (Turk 1994), binary and little-endian: what all viewers of scans read.
#ifndef PRIMFIT_IO_WRITE_PLY_H_
#define PRIMFIT_IO_WRITE_PLY_H_

#include <Eigen/Core>
#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "io/output_file.h"

namespace primfit::io {

/// An attribute of the points: a property of PLY with a value for each of them.
struct PlyColumn {
  std::string name;
  std::variant<std::span<const std::int32_t>, std::span<const double>> values;
};

/// Red, green, blue.
using PlyColour = std::array<std::uint8_t, 3>;

enum class PlyCoordinates { kFloat, kDouble };

/// The smaller type that keeps every coordinate to within a distance.
PlyCoordinates CoordinatesWithin(std::span<const Eigen::Vector3d> points, double distance);

struct PlyCloud {
  std::span<const Eigen::Vector3d> points;
  PlyCoordinates coordinates = PlyCoordinates::kDouble;
  std::vector<PlyColumn> columns{};
  std::span<const PlyColour> colours{};  ///< one for each point; none: without colours
  std::vector<std::string> comments{};   ///< lines of the header
};

/// Writes header and points; the file is then committed by the caller.
/// @throws WriteError
void WritePly(const PlyCloud& cloud, OutputFile& file);

}  // namespace primfit::io

#endif  // PRIMFIT_IO_WRITE_PLY_H_
