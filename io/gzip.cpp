#include "io/gzip.h"

#include <zlib.h>

#include <algorithm>
#include <limits>
#include <new>
#include <vector>

#include "io/read_error.h"

namespace primfit::io {

namespace {

/// The state of the library, which has to be given back however unpacking ends.
class Inflater {
 public:
  Inflater() {
    constexpr int kGzip = 16 + MAX_WBITS;
    if (::inflateInit2(&stream, kGzip) != Z_OK) throw std::bad_alloc();
  }
  Inflater(const Inflater&) = delete;
  Inflater& operator=(const Inflater&) = delete;
  ~Inflater() { ::inflateEnd(&stream); }

  z_stream stream = {};
};

}  // namespace

void UnpackGzip(const std::string& path, std::string_view packed, Mapping& source, Spool& to) {
  constexpr std::size_t kMostAtOnce = std::size_t{1} << 24;  // so that lengths fit the library's integers
  std::vector<Bytef> out(std::size_t{1} << 17);
  Inflater inflater;
  z_stream& s = inflater.stream;
  std::size_t at = 0;  // bytes that have been given to the library
  for (;;) {
    if (s.avail_in == 0) {
      const std::size_t size = std::min(kMostAtOnce, packed.size() - at);
      s.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(packed.data() + at));
      s.avail_in = static_cast<uInt>(size);
      source.DoneBefore(at);
      at += size;
    }
    s.next_out = out.data();
    s.avail_out = static_cast<uInt>(out.size());
    const int status = ::inflate(&s, Z_NO_FLUSH);
    to.Append({reinterpret_cast<const char*>(out.data()), out.size() - s.avail_out});
    const std::size_t byte = at - s.avail_in;
    if (status == Z_STREAM_END) {
      // Members may follow one another; anything else behind them is not looked at, as gzip itself does.
      if (!IsGzip(packed.substr(byte))) return;
      ::inflateReset(&s);
    } else if (status == Z_BUF_ERROR && byte == packed.size()) {
      throw ReadError(path, "byte " + std::to_string(byte),
                      "the file ends inside its gzip data; copy it again");
    } else if (status != Z_OK && status != Z_BUF_ERROR) {
      throw ReadError(path, "byte " + std::to_string(byte),
                      "the gzip data are damaged (" + std::string(s.msg != nullptr ? s.msg : "unknown") +
                          "); copy the file again");
    }
  }
}

}  // namespace primfit::io
