// The header of LAS 1.0 to 1.4 (ASPRS, LAS Specification 1.4 R15, 2019): where the points are, how their
// integers become coordinates, and what the records before and after the points say of units and the
// coordinate system. Numbers are little-endian. Everything that the header promises is compared with the
// bytes that are there.
#ifndef PRIMFIT_IO_LAS_HEADER_H_
#define PRIMFIT_IO_LAS_HEADER_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "io/read_error.h"

namespace primfit::io {

struct LasHeader {
  int minorVersion = 0;           ///< of version 1
  int pointFormat = 0;            ///< 0 to 10
  std::size_t pointsBegin = 0;    ///< byte of the file
  std::size_t recordLength = 0;   ///< bytes of a point
  std::uint64_t points = 0;       ///< that the header promises
  std::array<double, 3> scale{};  ///< coordinate = scale * integer + offset
  std::array<double, 3> offset{};
};

/// A record of the file that is not a point: about the coordinate system, or of whatever a program has added.
struct LasRecord {
  std::string_view user;  ///< who defines the record, such as "LASF_Projection"
  int id;
  std::string_view data;
};

/// @throws ReadError for a header that is cut short or contradicts itself, for compressed points (LAZ), and
///     for more points than the file has bytes for
LasHeader ParseLasHeader(const Source& source);

/// The records before the points and, of version 1.4, behind them. A record that the file ends in is left
/// out, as the points may be whole.
std::vector<LasRecord> FindLasRecords(const Source& source, const LasHeader& header);

}  // namespace primfit::io

#endif  // PRIMFIT_IO_LAS_HEADER_H_
