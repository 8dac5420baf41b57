// Two shapes of reading meet here: a reader of C is asked for the next points, one of this program passes
// them on. What the host's functions say is checked before it is believed.
#include "cli/c_readers.h"

#include <fmt/format.h>

#include <array>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "cli/errors.h"

namespace primfit::cli {

namespace {

using Message = std::array<char, PRIMFIT_READER_MESSAGE_SIZE>;

std::string TextOf(const char* text) { return text != nullptr ? text : ""; }

[[noreturn]] void Fail(const io::Source& source, Message& message) {
  message.back() = 0;
  throw io::ReadError(source.name, "",
                      message.front() != 0 ? message.data() : "its reader failed and did not say why");
}

io::FileHead HeadOf(const primfit_file_head& from, const char* name) {
  io::FileHead head;
  head.format = from.format != nullptr ? from.format : name;
  for (std::size_t k = 0; from.fields != nullptr && k < from.field_count; ++k)
    head.fields.push_back(
        {TextOf(from.fields[k]), from.field_types != nullptr ? TextOf(from.field_types[k]) : ""});
  head.reference = {from.horizontal_metres, from.vertical_metres, TextOf(from.coordinate_system)};
  for (std::size_t k = 0; k < from.scan_count; ++k) {
    io::Scan scan;
    if (from.scan_points != nullptr) scan.points = from.scan_points[k];
    if (from.stations != nullptr) scan.station = Eigen::Vector3d(from.stations + 3 * k);
    if (scan.station && !scan.station->allFinite()) scan.station.reset();
    head.scans.push_back(scan);
  }
  head.marked = from.marked;
  return head;
}

/// Passes on all blocks of an open file.
void Stream(const primfit_reader& reader, void* handle, const io::Source& source, std::size_t attributes,
            io::PointSink& sink) {
  io::PointBlock block;
  block.attributes.resize(attributes);
  std::vector<double*> columns;
  for (;;) {
    block.Resize(io::PointBlock::kMostPoints);
    columns.clear();
    for (std::vector<double>& values : block.attributes) columns.push_back(values.data());
    const primfit_block room = {block.points.size(), block.points.front().data(), columns.data()};
    Message message{};
    const std::size_t got = reader.next(handle, &room, message.data(), reader.user);
    if (got == 0) return;
    if (got > room.room) Fail(source, message);
    block.Resize(got);
    sink.Take(block);
  }
}

io::FileHead Read(const primfit_reader& reader, const io::Source& source, const io::ReadRequest& request,
                  io::PointSink& sink) {
  std::vector<const char*> attributes;
  for (const std::string& name : request.attributes) attributes.push_back(name.c_str());
  const std::string path = source.name == "standard input" ? "-" : std::string(source.name);
  primfit_file_head head = {};
  Message message{};
  const auto close = [&](void* handle) {
    if (reader.close != nullptr) reader.close(handle, reader.user);
  };
  const std::unique_ptr<void, decltype(close)> handle(
      reader.open(path.c_str(), source.bytes.data(), source.bytes.size(), attributes.data(),
                  attributes.size(), &head, message.data(), reader.user),
      close);
  if (!handle) Fail(source, message);
  sink.Expect(head.most_points);
  Stream(reader, handle.get(), source, attributes.size(), sink);
  return HeadOf(head, reader.name);
}

}  // namespace

io::Reader ReaderFromC(const primfit_reader& reader) {
  if (reader.version != PRIMFIT_READER_VERSION)
    throw UsageError(fmt::format("a reader of the host is of version {}; this program takes {}",
                                 reader.version, int{PRIMFIT_READER_VERSION}));
  if (reader.name == nullptr || reader.open == nullptr || reader.next == nullptr)
    throw UsageError("a reader of the host has no name, or no function open or next");
  io::Reader row;
  row.name = reader.name;
  std::istringstream extensions(TextOf(reader.extensions));
  for (std::string extension; extensions >> extension;) row.extensions.push_back(extension);
  row.recognizes = [reader](std::string_view bytes) {
    return reader.recognizes != nullptr && reader.recognizes(bytes.data(), bytes.size(), reader.user) != 0;
  };
  row.read = [reader](const io::Source& source, const io::ReadRequest& request, io::PointSink& sink) {
    return Read(reader, source, request, sink);
  };
  return row;
}

}  // namespace primfit::cli
