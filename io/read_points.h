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

/// Reads the points of a file with the reader that it is for, and passes them on block by block. A file that
/// is compressed with gzip is read as what it unpacks to.
/// @param path  "-" reads standard input
/// @throws ReadError when the file cannot be opened, is of no format that is read, is cut short, holds less
///     than it promises, has a value that is not a number, or lacks an attribute that is asked for
FileHead StreamPoints(const Readers& readers, const std::string& path, const ReadRequest& request,
                      PointSink& sink);

/// The same for contents that are in memory.
FileHead StreamPoints(const Readers& readers, const Source& source, const ReadRequest& request,
                      PointSink& sink);

/// Reads all points of a file.
/// @throws ReadError as StreamPoints does
PointCloud ReadPoints(const Readers& readers, const std::string& path, const ReadRequest& request = {});

/// The same for contents that are in memory.
/// @param name  for errors; its extension counts as that of a file
PointCloud ParsePoints(const Readers& readers, std::string_view name, std::string_view bytes,
                       const ReadRequest& request = {});

}  // namespace primfit::io

#endif  // PRIMFIT_IO_READ_POINTS_H_
