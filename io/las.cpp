// LAS, the exchange format of airborne and other laser scanning. The stages: header (las_header.h), where the
// values of a point stand (las_points.h), records about the coordinate system (las_reference.h), points.
// Coordinates are integers on a grid that the header gives, and are made from them with its scale and offset,
// so that they are exact to a rounding.
#include "io/formats.h"
#include "io/las_points.h"
#include "io/las_reference.h"

namespace primfit::io {

namespace {

/// Leaves out the points whose last attribute is not 0, and that attribute.
class WithoutWithheld : public PointSink {
 public:
  explicit WithoutWithheld(PointSink& next) : next_(next) {}
  std::uint64_t Withheld() const { return withheld_; }

  void Expect(std::uint64_t points) override { next_.Expect(points); }
  void Take(PointBlock& block) override {
    kept_.clear();
    for (const double flag : block.attributes.back()) kept_.push_back(flag == 0 ? 1 : 0);
    // The block gets its room for the flags back for the next points.
    std::vector<double> flags = std::move(block.attributes.back());
    block.attributes.pop_back();
    const std::size_t before = block.points.size();
    block.Keep(kept_);
    withheld_ += before - block.points.size();
    next_.Take(block);
    block.attributes.push_back(std::move(flags));
  }

 private:
  PointSink& next_;
  std::vector<unsigned char> kept_;
  std::uint64_t withheld_ = 0;
};

}  // namespace

bool LooksLikeLas(std::string_view bytes) { return bytes.starts_with("LASF"); }

FileHead ReadLas(const Source& source, const ReadRequest& request, PointSink& sink) {
  const LasHeader header = ParseLasHeader(source);
  const std::vector<LasRecord> records = FindLasRecords(source, header);
  const std::vector<NamedColumn> columns = LasColumns(header, records);
  FileHead head;
  head.format =
      "LAS 1." + std::to_string(header.minorVersion) + ", point format " + std::to_string(header.pointFormat);
  head.fields = FieldsOf(columns);
  head.reference = ReferenceOf(records);
  BinaryLayout layout = LasLayout(header);
  layout.attributes = ColumnsOf(source, columns, request);
  layout.attributes.push_back(LasWithheldColumn(header));
  WithoutWithheld rest(sink);
  StreamPoints(layout, source, header.pointsBegin, rest);
  head.marked = rest.Withheld();
  return head;
}

}  // namespace primfit::io
