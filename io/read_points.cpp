// Files and bytes in memory go through the same function, so that tests and the fuzzer can reach all of the
// readers without a file.
#include "io/read_points.h"

#include "io/file_bytes.h"

namespace primfit::io {

namespace {

/// The name by which the format of what a file unpacks to may be known.
std::string_view UnpackedName(std::string_view name) {
  if (name.ends_with(".gz")) name.remove_suffix(3);
  return name;
}

}  // namespace

FileHead StreamPoints(const Readers& readers, const Source& source, const ReadRequest& request,
                      PointSink& sink) {
  const Reader& reader = readers.For(source);
  if (!request.columns.empty() && &reader != &readers.fallback)
    throw ReadError(source.name, "",
                    "columns can be chosen in text only; this is " + reader.name + ", which names its own");
  FileHead head = reader.read(source, request, sink);
  head.bytes = source.bytes.size();
  return head;
}

FileHead StreamPoints(const Readers& readers, const std::string& path, const ReadRequest& request,
                      PointSink& sink) {
  FileBytes file(path);
  const std::string_view name = path == "-" ? "standard input" : std::string_view(path);
  FileHead head = StreamPoints(readers, {file.WasPacked() ? UnpackedName(name) : name, file.View(), &file},
                               request, sink);
  head.bytes = file.Size();
  head.xxh128 = file.Xxh128();
  if (file.WasPacked()) head.format += " in gzip";
  return head;
}

PointCloud ParsePoints(const Readers& readers, std::string_view name, std::string_view bytes,
                       const ReadRequest& request) {
  PointCloud cloud;
  Collector collector(cloud);
  static_cast<FileHead&>(cloud) = StreamPoints(readers, Source{name, bytes}, request, collector);
  return cloud;
}

PointCloud ReadPoints(const Readers& readers, const std::string& path, const ReadRequest& request) {
  PointCloud cloud;
  Collector collector(cloud);
  static_cast<FileHead&>(cloud) = StreamPoints(readers, path, request, collector);
  return cloud;
}

}  // namespace primfit::io
