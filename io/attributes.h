// The attributes of points by their usual names. Formats and programs call the same value by many names; a
// user asks for "time" and gets LAS's gps_time or whatever a text cloud has over its column.
#ifndef PRIMFIT_IO_ATTRIBUTES_H_
#define PRIMFIT_IO_ATTRIBUTES_H_

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "io/point_cloud.h"
#include "io/read_error.h"

namespace primfit::io {

/// The bare name of a column, in lower case: X, "x" and x [m] are all x.
std::string BareName(std::string_view field);

/// The field that an attribute is. Its own name comes first, then the other names of intensity,
/// classification, return_number, red, green, blue, nx, ny, nz, time and scan.
std::optional<std::size_t> FindAttribute(const std::vector<Field>& fields, std::string_view name);

/// The fields that attributes are, in the order of their names.
/// @throws ReadError for one that the file does not have, with those that it has
std::vector<std::size_t> FindAttributes(const Source& source, const std::vector<Field>& fields,
                                        const std::vector<std::string>& names);

/// The fields that are x, y and z, or easting, northing and height.
std::optional<std::array<std::size_t, 3>> FindCoordinates(const std::vector<Field>& fields);

}  // namespace primfit::io

#endif  // PRIMFIT_IO_ATTRIBUTES_H_
