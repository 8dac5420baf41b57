// Text taken apart: lines, the fields of a line, the number in a field. Text clouds, headers and ascii bodies
// are read with it, and so are numbers on the command line. Streams of the standard library will not do: they
// depend on the locale, do not read nan, and take many times as long.
#ifndef PRIMFIT_IO_ROWS_H_
#define PRIMFIT_IO_ROWS_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace primfit::io {

/// A place between two lines of a text.
struct TextPlace {
  std::size_t line = 0;  ///< number of the line before it, from 1; 0 at the begin
  std::size_t byte = 0;  ///< that the next line begins with
};

/// Splits text into lines that end in LF, CR LF or, where the first one of the text does, in CR.
class LineReader {
 public:
  /// @param from  where to begin, such as the end of a header
  explicit LineReader(std::string_view bytes, TextPlace from = {});

  /// The next line, without its end.
  /// @return false at the end of the text
  bool Next(std::string_view& line);
  /// The next line that holds more than blanks.
  bool NextFilled(std::string_view& line);
  /// Number of the last line, from 1; 0 before the first.
  std::size_t Number() const { return place_.line; }
  /// The end of the last line.
  const TextPlace& Place() const { return place_; }

 private:
  std::string_view bytes_;
  TextPlace place_;
  char newline_;
};

/// Without the blanks and tabs around it.
std::string_view Trimmed(std::string_view text);

enum class Separator : char { kBlanks = ' ', kComma = ',', kSemicolon = ';' };

/// Walks over the fields of a line. Blanks and tabs around a field do not belong to it; a separator at the
/// end of the line begins no further field.
class FieldCursor {
 public:
  FieldCursor(std::string_view line, Separator separator) : rest_(line), separator_(separator) {}

  /// @return false after the last field; field then stays as it is
  bool Next(std::string_view& field);
  /// Takes the next field as a number, in one pass where it is written in the usual way.
  /// @return false when there is none, or it is no number; value is then undefined
  bool NextNumber(double& value);
  /// @return false when the line has fewer
  bool Skip(std::size_t fields) {
    std::string_view field;
    for (; fields > 0; --fields) {
      if (!Next(field)) return false;
    }
    return true;
  }

 private:
  std::string_view rest_;
  Separator separator_;
};

/// The separator that a line of numbers shows: semicolons before commas, which may be decimal then.
Separator SeparatorOf(std::string_view line);
/// Length of the mark that begins a comment (#, //, ; or %), 0 when the line is none.
std::size_t CommentMarkLength(std::string_view line);

std::size_t CountFields(std::string_view line, Separator separator);

/// A decimal number in any usual notation: 1, +1., .5, 1e-3, Fortran's 1d-3, nan, inf, and what older C
/// libraries of Windows print for these (1.#QNAN, 1.#INF).
/// @param decimalComma  whether 1,5 is a number as well
/// @return false when the field is anything else; value is then undefined
bool ParseNumber(std::string_view field, double& value, bool decimalComma = false);

/// Digits only.
std::optional<std::uint64_t> ParseCount(std::string_view field);

}  // namespace primfit::io

#endif  // PRIMFIT_IO_ROWS_H_
