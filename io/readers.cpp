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
struct ForeignFormat {
  std::string_view magic;
  std::string_view reason;
};
constexpr ForeignFormat kForeign[] = {
    {"\x1f\x8b", "is compressed with gzip; unpack it first, or pipe it: zcat FILE | primfit ... -"},
    {"PK\x03\x04", "is a zip archive; unpack it first"},
    {"\xfd"
     "7zXZ",
     "is compressed with xz; unpack it first"},
    {"LASF", "is a LAS or LAZ file; convert it to PLY, PCD or text first"},
    {"ASTM-E57", "is an E57 file; convert it to PLY, PCD or text first"},
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
  for (const ForeignFormat& foreign : kForeign) {
    if (source.bytes.starts_with(foreign.magic)) source.FailAtByte(0, foreign.reason);
  }
  const std::string extension = LowerExtension(source.name);
  for (const Reader& reader : formats) {
    if (std::find(reader.endings.begin(), reader.endings.end(), extension) != reader.endings.end())
      return reader;
  }
  return otherwise;
}

std::string Readers::Names() const {
  std::string names;
  for (const Reader& reader : formats) names += reader.name + ", ";
  names += "or " + otherwise.name;
  const char* before = ": ";
  for (const std::string& ending : otherwise.endings) {
    names += before;
    for (const char c : ending.substr(1))
      names += c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    before = ", ";
  }
  return names;
}

Readers NativeReaders() {
  return {
      {{"PLY", {".ply"}, LooksLikePly, ReadPly}, {"PCD", {".pcd"}, LooksLikePcd, ReadPcd}},
      {"text", {".xyz", ".asc", ".txt", ".csv", ".pts"}, [](std::string_view) { return true; }, ReadText}};
}

}  // namespace primfit::io
