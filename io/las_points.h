// Where the values of a LAS point stand. Each of the eleven point formats is a row of numbers, some of which
// share a byte; what a program adds to them stands behind and is described by a record.
#ifndef PRIMFIT_IO_LAS_POINTS_H_
#define PRIMFIT_IO_LAS_POINTS_H_

#include <vector>

#include "io/binary_layout.h"
#include "io/las_header.h"

namespace primfit::io {

/// What every point has, by the names of the format: X, Y, Z (as coordinates), intensity, return_number, ...,
/// then the extra bytes of the records that describe them.
std::vector<NamedColumn> LasColumns(const LasHeader& header, const std::vector<LasRecord>& records);

/// Whether a point is deleted without being taken out ("withheld").
Column LasWithheldColumn(const LasHeader& header);

/// The coordinates, without attributes.
BinaryLayout LasLayout(const LasHeader& header);

}  // namespace primfit::io

#endif  // PRIMFIT_IO_LAS_POINTS_H_
