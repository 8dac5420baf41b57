#ifndef PRIMFIT_IO_READ_POINTS_H_
#define PRIMFIT_IO_READ_POINTS_H_

#include <string>
#include <string_view>

#include "io/point_cloud.h"
#include "io/read_error.h"

namespace primfit::io {

/// Reads the points of a PLY, PCD or text file (XYZ, ASC, TXT, CSV, PTS and the like). The contents decide
/// which of them it is; where they do not, the name's extension does, and text is what remains.
///
/// - PLY: ascii and both binary byte orders; the element "vertex" with numbers x, y, z of any type. What
///   follows the vertices is not read.
/// - PCD: ascii, binary, binary_compressed; fields x, y, z of any type. The viewpoint is not applied: the
///   points stay in the frame in which the file has them.
/// - Text: a point a line; blanks or tabs, commas, or semicolons between the values, as the first point has
///   them. Columns named x, y, z in a header line are used, the first three otherwise. Lines that begin with
///   #, //, ; or % are comments; the count lines of PTS are checked. Between semicolons a comma is a decimal
///   comma; nowhere else is it one.
///
/// Values such as nan and inf are points without measurement. Memory is bounded by a small multiple of the
/// file's size, whatever its header promises.
/// @param path  "-" reads standard input
/// @throws ReadError when the file cannot be opened, is none of these formats, is cut short, holds less than
///         it promises, or has a value that is not a number
PointCloud ReadPoints(const std::string& path);

/// The same for contents that are in memory.
/// @param name  for errors; its extension counts as that of a file
PointCloud ParsePoints(std::string_view name, std::string_view bytes);

}  // namespace primfit::io

#endif  // PRIMFIT_IO_READ_POINTS_H_
