// A checksum by which a result can be matched with the file that it is of.
#ifndef PRIMFIT_IO_CHECKSUM_H_
#define PRIMFIT_IO_CHECKSUM_H_

#include <string>
#include <string_view>

#include "io/file_bytes.h"

namespace primfit::io {

/// XXH128 of the bytes (Collet, xxHash 0.8), as 32 hexadecimal digits: what `xxh128sum` prints. It finds
/// changes by accident, not those by intent, and is as fast as memory.
std::string Xxh128(std::string_view bytes);

/// The same of a file, which stays in memory only piece by piece.
std::string Xxh128(Mapping& file);

}  // namespace primfit::io

#endif  // PRIMFIT_IO_CHECKSUM_H_
