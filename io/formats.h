// The readers that stand in the table of readers.h, and how each knows its format by the contents. Only that
// table includes this header; other code asks the table, so that it treats all formats alike.
#ifndef PRIMFIT_IO_FORMATS_H_
#define PRIMFIT_IO_FORMATS_H_

#include <string_view>

#include "io/point_cloud.h"
#include "io/read_error.h"

namespace primfit::io {

bool LooksLikePly(std::string_view bytes);
PointCloud ReadPly(const Source& source);

bool LooksLikePcd(std::string_view bytes);
PointCloud ReadPcd(const Source& source);

bool LooksLikeLas(std::string_view bytes);
PointCloud ReadLas(const Source& source);

PointCloud ReadText(const Source& source);

}  // namespace primfit::io

#endif  // PRIMFIT_IO_FORMATS_H_
