// Results as JSON: one object by the schema in result.schema.json, which docs/result.md explains.
#ifndef PRIMFIT_REPORT_RESULT_JSON_H_
#define PRIMFIT_REPORT_RESULT_JSON_H_

#include <stdexcept>
#include <string>
#include <string_view>

#include "report/result.h"

namespace primfit::report {

/// Why a text is no result. what() is one line: the place as a JSON pointer (RFC 6901), what was expected
/// there, or what to do.
class ResultError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The object, with a line feed behind it. Numbers round-trip; those that are not finite are null.
std::string WriteResult(const Result& result);

/// The result that a text holds. Members that this version does not know are left out.
/// @throws ResultError for a text that is no JSON, for another or a newer schema, and for members that are
///     missing or of another type
Result ReadResult(std::string_view text);

/// The text with what is no UTF-8 in it replaced by U+FFFD: names of files may be of any bytes.
std::string Utf8(std::string_view text);

}  // namespace primfit::report

#endif  // PRIMFIT_REPORT_RESULT_JSON_H_
