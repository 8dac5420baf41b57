#include "io/checksum.h"

#define XXH_INLINE_ALL  // the header holds all of it; nothing is linked
#include <xxhash.h>

namespace primfit::io {

std::string Xxh128(std::string_view bytes) {
  XXH128_canonical_t canonical;  // the larger half first, in either order of bytes of the machine
  XXH128_canonicalFromHash(&canonical, XXH3_128bits(bytes.data(), bytes.size()));
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  for (const unsigned char byte : canonical.digest) {
    text += kDigits[byte >> 4U];
    text += kDigits[byte & 15U];
  }
  return text;
}

}  // namespace primfit::io
