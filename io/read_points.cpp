#include "io/read_points.h"

#include <algorithm>
#include <filesystem>

#include "io/file_bytes.h"
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

PointCloud Parse(const Source& source) {
  if (source.bytes.empty()) {
    throw ReadError(source.name, "", "the file is empty; check that it was written to the end");
  }
  if (LooksLikePly(source.bytes)) return ReadPly(source);
  if (LooksLikePcd(source.bytes)) return ReadPcd(source);
  for (const ForeignFormat& foreign : kForeign) {
    if (source.bytes.starts_with(foreign.magic)) source.FailAtByte(0, foreign.reason);
  }
  const std::string extension = LowerExtension(source.name);
  if (extension == ".ply") {
    source.FailAtByte(0, "is no PLY file: it does not begin with the line \"ply\"; check what wrote it");
  }
  return extension == ".pcd" ? ReadPcd(source) : ReadText(source);
}

}  // namespace

PointCloud ParsePoints(std::string_view name, std::string_view bytes) {
  PointCloud cloud = Parse({name, bytes});
  cloud.bytes = bytes.size();
  return cloud;
}

PointCloud ReadPoints(const std::string& path) {
  const FileBytes file(path);
  return ParsePoints(path == "-" ? "standard input" : path, file.View());
}

}  // namespace primfit::io
