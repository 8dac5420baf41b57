// gzip (RFC 1952), in which point files are mostly stored when they are packed.
#ifndef PRIMFIT_IO_GZIP_H_
#define PRIMFIT_IO_GZIP_H_

#include <string>
#include <string_view>

#include "io/spool.h"

namespace primfit::io {

inline bool IsGzip(std::string_view bytes) { return bytes.starts_with("\x1f\x8b"); }

/// Unpacks all members of a file.
/// @param path    for errors
/// @param source  is told how far its bytes have been read
/// @throws ReadError for data that are damaged or cut short
void UnpackGzip(const std::string& path, std::string_view packed, Mapping& source, Spool& to);

}  // namespace primfit::io

#endif  // PRIMFIT_IO_GZIP_H_
