// What the records of a LAS file say of its unit of length and its coordinate system. There are two ways: the
// keys of GeoTIFF (OGC 19-008r4, also in the LAS specification), and well-known text (OGC 12-063r5 and its
// predecessors), which takes precedence. Only what a user has to know of the numbers is read: the unit, and
// which system it is.
#ifndef PRIMFIT_IO_LAS_REFERENCE_H_
#define PRIMFIT_IO_LAS_REFERENCE_H_

#include <string_view>
#include <vector>

#include "io/las_header.h"
#include "io/point_cloud.h"

namespace primfit::io {

/// Of a system in degrees the units of length stay unknown.
CoordinateReference ReferenceOf(const std::vector<LasRecord>& records);

/// The same from well-known text alone: the name behind the first bracket, and the units.
CoordinateReference ReferenceFromText(std::string_view text);

}  // namespace primfit::io

#endif  // PRIMFIT_IO_LAS_REFERENCE_H_
