#include "io/checksum.h"

#define XXH_INLINE_ALL  // the header holds all of it; nothing is linked
#ifndef NDEBUG
#define XXH_NO_INLINE_HINTS \
  1  // compilers that hardly optimise refuse to inline what the header says they must
#endif
#include <xxhash.h>

namespace primfit::io {

namespace {

std::string TextOf(XXH128_hash_t hash) {
  XXH128_canonical_t canonical;  // the larger half first, in either order of bytes of the machine
  XXH128_canonicalFromHash(&canonical, hash);
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  for (const unsigned char byte : canonical.digest) {
    text += kDigits[byte >> 4U];
    text += kDigits[byte & 15U];
  }
  return text;
}

}  // namespace

std::string Xxh128(std::string_view bytes) { return TextOf(XXH3_128bits(bytes.data(), bytes.size())); }

std::string Xxh128(Mapping& file) {
  constexpr std::size_t kPiece = std::size_t{1} << 23;
  XXH3_state_t state;
  XXH3_128bits_reset(&state);
  for (std::size_t at = 0; at < file.View().size(); at += kPiece) {
    const std::string_view piece = file.View().substr(at, kPiece);
    XXH3_128bits_update(&state, piece.data(), piece.size());
    file.DoneBefore(at + piece.size());
  }
  file.Rewind();
  return TextOf(XXH3_128bits_digest(&state));
}

}  // namespace primfit::io
