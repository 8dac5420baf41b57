// A line of the header of PLY or PCD: a keyword and its values. It carries its place, so that the function
// that parses one kind of entry needs no other argument to report an error.
#ifndef PRIMFIT_IO_HEADER_LINE_H_
#define PRIMFIT_IO_HEADER_LINE_H_

#include <cstddef>
#include <string_view>

#include "io/read_error.h"
#include "io/rows.h"

namespace primfit::io {

struct HeaderLine {
  HeaderLine(const Source& file, const LineReader& lines, std::string_view line)
      : source(file), number(lines.Number()), values(line, Separator::kBlanks) {
    values.Next(keyword);
  }
  [[noreturn]] void Fail(std::string_view reason) const { source.FailAtLine(number, reason); }

  const Source& source;
  std::size_t number;  ///< of the line, from 1
  std::string_view keyword;
  FieldCursor values;
};

}  // namespace primfit::io

#endif  // PRIMFIT_IO_HEADER_LINE_H_
