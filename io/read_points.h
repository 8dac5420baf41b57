// The entry point of the readers: a file or its contents in, points out. It joins opening a file, choosing a
// reader and reading, so that a caller need not know about these steps.
#ifndef PRIMFIT_IO_READ_POINTS_H_
#define PRIMFIT_IO_READ_POINTS_H_

#include <string>
#include <string_view>

#include "io/point_cloud.h"
#include "io/read_error.h"
#include "io/readers.h"

namespace primfit::io {

/// Reads the points of a file with the reader that it is for.
/// @param path  "-" reads standard input
/// @throws ReadError when the file cannot be opened, is of no format that is read, is cut short, holds less
///     than it promises, or has a value that is not a number
PointCloud ReadPoints(const Readers& readers, const std::string& path);

/// The same for contents that are in memory.
/// @param name  for errors; its extension counts as that of a file
PointCloud ParsePoints(const Readers& readers, std::string_view name, std::string_view bytes);

}  // namespace primfit::io

#endif  // PRIMFIT_IO_READ_POINTS_H_
