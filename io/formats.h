// The readers that stand in the table of readers.h, and how each knows its format by the contents. Only that
// table includes this header; other code asks the table, so that it treats all formats alike.
#ifndef PRIMFIT_IO_FORMATS_H_
#define PRIMFIT_IO_FORMATS_H_

#include <string_view>

#include "io/point_cloud.h"
#include "io/read_error.h"

namespace primfit::io {

bool LooksLikePly(std::string_view bytes);
FileHead ReadPly(const Source& source, const ReadRequest& request, PointSink& sink);

bool LooksLikePcd(std::string_view bytes);
FileHead ReadPcd(const Source& source, const ReadRequest& request, PointSink& sink);

bool LooksLikeLas(std::string_view bytes);
FileHead ReadLas(const Source& source, const ReadRequest& request, PointSink& sink);

bool LooksLikePtx(std::string_view bytes);
FileHead ReadPtx(const Source& source, const ReadRequest& request, PointSink& sink);

bool LooksLikePts(std::string_view bytes);
FileHead ReadPts(const Source& source, const ReadRequest& request, PointSink& sink);

FileHead ReadText(const Source& source, const ReadRequest& request, PointSink& sink);

}  // namespace primfit::io

#endif  // PRIMFIT_IO_FORMATS_H_
