// Which reader a file is for. File names are wrong more often than contents, so the contents are asked first.
// Formats that no reader here can read are known by their first bytes, and the error says what to do with
// them.
#include "io/readers.h"

#include <algorithm>
#include <filesystem>

#include "io/formats.h"

namespace primfit::io {

namespace {

std::string LowerExtension(std::string_view name) {
  std::string extension = std::filesystem::path(name).extension().string();
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  return extension;
}

// Files that people hand to a point reader although it cannot read them.
struct UnsupportedFormat {
  std::string_view magic;
  std::string_view reason;
};
constexpr UnsupportedFormat kUnsupported[] = {
    {"\x1f\x8b", "is compressed with gzip twice; unpack it first"},
    {"PK\x03\x04", "is a zip archive; unpack it first"},
    {"\xfd"
     "7zXZ",
     "is compressed with xz; unpack it first (xz -dk), or pipe it: xzcat FILE | primfit ... -"},
    {"BZh", "is compressed with bzip2; unpack it first, or pipe it: bzcat FILE | primfit ... -"},
    {"\x28\xb5\x2f\xfd",
     "is compressed with zstd; unpack it first, or pipe it: zstdcat FILE | primfit ... -"},
    {"\x04\x22\x4d\x18", "is compressed with lz4; unpack it first, or pipe it: lz4cat FILE | primfit ... -"},
    {"7z\xbc\xaf\x27\x1c", "is a 7z archive; unpack it first"},
    {"Rar!", "is a rar archive; unpack it first"},
    {"ASTM-E57",
     "is an E57 file, which this program reads only with a library that its host adds; convert it, such as "
     "with: pdal translate in.e57 out.las"},
    {"\x89HDF", "is an HDF5 file; convert it to LAS, PLY or text first"},
    {"\xff\xfe", "is text in UTF-16; save it as UTF-8"},
    {"\xfe\xff", "is text in UTF-16; save it as UTF-8"},
};

}  // namespace

const Reader& Readers::For(const Source& source) const {
  if (source.bytes.empty()) {
    throw ReadError(source.name, "", "the file is empty; check that it was written to the end");
  }
  for (const Reader& reader : formats) {
    if (reader.recognizes(source.bytes)) return reader;
  }
  for (const UnsupportedFormat& format : kUnsupported) {
    if (source.bytes.starts_with(format.magic)) source.FailAtByte(0, format.reason);
  }
  const std::string extension = LowerExtension(source.name);
  for (const Reader& reader : formats) {
    if (std::find(reader.extensions.begin(), reader.extensions.end(), extension) != reader.extensions.end())
      return reader;
  }
  return fallback;
}

std::string Readers::Names() const {
  std::string names;
  for (const Reader& reader : formats) names += reader.name + ", ";
  names += "or " + fallback.name;
  const char* before = ": ";
  for (const std::string& extension : fallback.extensions) {
    names += before;
    for (const char c : extension.substr(1))
      names += c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    before = ", ";
  }
  return names;
}

Readers NativeReaders() {
  return {{{"PLY", {".ply"}, LooksLikePly, ReadPly},
           {"PCD", {".pcd"}, LooksLikePcd, ReadPcd},
           {"LAS", {".las"}, LooksLikeLas, ReadLas},
           {"PTX", {".ptx"}, LooksLikePtx, ReadPtx},
           {"PTS", {".pts"}, LooksLikePts, ReadPts}},
          {"text", {".xyz", ".asc", ".txt", ".csv"}, [](std::string_view) { return true; }, ReadText}};
}

}  // namespace primfit::io
