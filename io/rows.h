// Lines, fields and numbers of text.
#ifndef PRIMFIT_IO_ROWS_H_
#define PRIMFIT_IO_ROWS_H_

#include <Eigen/Core>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace primfit::io {

/// Splits text into lines that end in LF, CR LF or, where the first one does, in CR.
class LineReader {
 public:
  explicit LineReader(std::string_view bytes);

  /// The next line, without its end.
  /// @return false at the end of the text
  bool Next(std::string_view& line);
  /// The next line that holds more than blanks.
  bool NextFilled(std::string_view& line);
  /// Number of the last line, from 1; 0 before the first.
  std::size_t Number() const { return number_; }
  /// Bytes up to the end of the last line.
  std::size_t Offset() const { return offset_; }

 private:
  std::string_view bytes_;
  std::size_t offset_ = 0;
  std::size_t number_ = 0;
  char newline_;
};

std::string_view Trimmed(std::string_view text);

enum class Separator : char { kBlanks = ' ', kComma = ',', kSemicolon = ';' };

/// Walks over the fields of a line. Blanks and tabs around a field do not belong to it; a separator at the
/// end of the line begins no further field.
class FieldCursor {
 public:
  FieldCursor(std::string_view line, Separator separator) : rest_(line), separator_(separator) {}

  bool Next(std::string_view& field);
  bool Skip(std::size_t fields);

 private:
  std::string_view rest_;
  Separator separator_;
};

std::size_t CountFields(std::string_view line, Separator separator);

/// A decimal number in any usual notation: 1, +1., .5, 1e-3, Fortran's 1d-3, nan, inf, and what older C
/// libraries of Windows print for these (1.#QNAN, 1.#INF).
/// @param decimalComma  whether 1,5 is a number as well
/// @return false when the field is anything else; value is then undefined
bool ParseNumber(std::string_view field, double& value, bool decimalComma = false);

/// Digits only.
std::optional<std::uint64_t> ParseCount(std::string_view field);

/// Where the coordinates stand among the fields of a line.
class RowShape {
 public:
  /// @param columns  of x, y and z, from 0
  /// @param exactly  number of fields that every line has; none: any number that reaches to the coordinates
  RowShape(Separator separator, std::array<std::size_t, 3> columns, std::optional<std::size_t> exactly);

  /// @return false when the line does not have this shape; point is then undefined
  bool Read(std::string_view line, Eigen::Vector3d& point) const;
  /// Why Read() returned false, with what to do about it.
  std::string Fault(std::string_view line) const;

 private:
  struct Step {
    std::size_t column;
    Eigen::Index axis;
  };
  Separator separator_;
  std::array<Step, 3> steps_;  // by column
  std::optional<std::size_t> exactly_;
};

/// The points of an ascii body can be at most this many: each takes a digit and a separator per field.
inline std::size_t MostRows(std::size_t bytes, std::size_t fields) { return (bytes + 1) / (2 * fields); }

}  // namespace primfit::io

#endif  // PRIMFIT_IO_ROWS_H_
