// LAS, the exchange format of airborne and other laser scanning. The stages: header (las_header.h), records
// about the coordinate system (las_reference.h), points. Points are integers on a grid that the header gives,
// and are made coordinates with the same two operations, so that they are exact to a rounding.
#include "io/formats.h"
#include "io/las_header.h"
#include "io/las_reference.h"

namespace primfit::io {

bool LooksLikeLas(std::string_view bytes) { return bytes.starts_with("LASF"); }

PointCloud ReadLas(const Source& source) {
  const LasHeader header = ParseLasHeader(source);
  const std::vector<LasRecord> records = FindLasRecords(source, header);
  PointCloud cloud;
  cloud.format =
      "LAS 1." + std::to_string(header.minorVersion) + ", point format " + std::to_string(header.pointFormat);
  cloud.fields = LasFields(header, records);
  cloud.reference = ReferenceOf(records);
  AppendPoints(LasLayout(header), source.bytes.substr(header.pointsBegin), cloud);
  return cloud;
}

}  // namespace primfit::io
