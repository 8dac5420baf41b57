// What can be read: a table with a row for each format. It is a value that the host of the program passes in,
// so that a host with more libraries, such as an interpreter, can add formats without a change here.
#ifndef PRIMFIT_IO_READERS_H_
#define PRIMFIT_IO_READERS_H_

#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "io/point_cloud.h"
#include "io/read_error.h"

namespace primfit::io {

/// The reader of a format.
struct Reader {
  std::string name;                                        ///< for people, such as "PLY"
  std::vector<std::string> extensions;                     ///< of file names, in lower case, such as ".ply"
  std::function<bool(std::string_view bytes)> recognizes;  ///< whether the contents are surely of this format
  /// Passes on the points with the attributes of the request, in its order, and tells of the file.
  /// @throws ReadError
  std::function<FileHead(const Source&, const ReadRequest&, PointSink&)> read;
};

/// The readers that a program has: a value, which its host makes and may add to.
struct Readers {
  std::vector<Reader> formats;  ///< in the order in which they are asked
  Reader fallback;              ///< for what none of them claims; what it recognizes does not matter

  /// Adds a reader, which is asked before those that are there: it may so take over a format, or the part of
  /// one that they refuse.
  void Add(Reader reader) { formats.insert(formats.begin(), std::move(reader)); }
  /// The one that a file is for. The contents decide; where they do not, the name's extension does.
  /// @throws ReadError for contents that are empty or of a known format that no reader has
  const Reader& For(const Source& source) const;
  /// Names of all, for people: "PLY, PCD, LAS, or text: XYZ, ASC".
  std::string Names() const;
};

/// PLY, PCD, LAS, PTX, PTS, and text for all else (XYZ, ASC, TXT, CSV and the like).
///
/// - PLY: ascii and both binary byte orders; the element "vertex" with numbers x, y, z of any type. What
///   follows the vertices is not read.
/// - PCD: ascii, binary, binary_compressed; fields x, y, z of any type. The viewpoint is not applied: the
///   points stay in the frame in which the file has them, and it is told where the sensor was.
/// - LAS 1.0 to 1.4: every point format, by the scale and offset of the header. Points that are marked as
///   withheld are left out. Units and coordinate system are told and change nothing. Compressed points (LAZ)
///   are refused.
/// - PTX: all scans, in their common frame; points that the scanner missed are left out, and it is told where
///   it stood.
/// - PTS: all scans. More points than a count line promises are read and noted.
/// - Text: a point a line; blanks or tabs, commas, or semicolons between the values, as the first point has
///   them. Columns named x, y, z (or easting, northing, height) in a header line are used, or those that are
///   asked for, the first three otherwise. Lines that begin with #, //, ; or % are comments. Between
///   semicolons a comma is a decimal comma; nowhere else is it one.
///
/// Values such as nan and inf are points without measurement. Memory is bounded by a small multiple of the
/// file's size, whatever its header promises.
Readers NativeReaders();

}  // namespace primfit::io

#endif  // PRIMFIT_IO_READERS_H_
