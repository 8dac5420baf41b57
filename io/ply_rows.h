// The rows of a PLY element: where the values of one stand, in binary form and as text. All rows of an
// element are alike unless it has lists. The length of a list may differ from row to row, so the place of
// what follows it is known only after the row has been read up to there.
#ifndef PRIMFIT_IO_PLY_ROWS_H_
#define PRIMFIT_IO_PLY_ROWS_H_

#include <bit>
#include <cstddef>
#include <string_view>
#include <vector>

#include "io/binary_layout.h"
#include "io/ply_header.h"
#include "io/text_layout.h"

namespace primfit::io {

/// Where the points stand in the binary rows of an element without lists.
/// @param properties  indices of x, y and z, then those of attributes
BinaryLayout PlyBinaryLayout(const PlyElement& element, const std::vector<std::size_t>& properties,
                             std::endian order);

/// Where the values stand in one line of an element, which may have lists.
/// @param line        number of the line, for errors
/// @param properties  as above
/// @throws ReadError where the length of a list is no number
TextLayout PlyTextLayout(const Source& source, std::size_t line, const PlyElement& element,
                         const std::vector<std::size_t>& properties, std::string_view text);

/// A binary row of an element with lists, taken apart.
struct PlyRow {
  std::vector<std::size_t> properties;  ///< the byte of the file that each begins at; of a list, its length
  std::size_t end = 0;                  ///< the byte after the row
};

/// @param begin  the byte of the file that the row begins at
/// @param row    is overwritten; given so that its memory serves for all rows
/// @throws ReadError where the file ends inside the row or a list has a negative length
void LocatePlyRow(const Source& source, const PlyElement& element, std::endian order, std::size_t begin,
                  PlyRow& row);

}  // namespace primfit::io

#endif  // PRIMFIT_IO_PLY_ROWS_H_
