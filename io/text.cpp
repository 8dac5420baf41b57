// Text clouds: XYZ, ASC, TXT, CSV, PTS and whatever else holds a point a line.
#include <algorithm>
#include <array>
#include <optional>
#include <string>

#include "io/formats.h"
#include "io/rows.h"
#include "io/scalar.h"
#include "io/words.h"

namespace primfit::io {

namespace {

constexpr std::size_t kShortestRow = 6;  // "1 2 3" and a line end

/// Length of the mark that begins a comment, 0 when the line is none.
std::size_t CommentMark(std::string_view line) {
  if (line.starts_with("//")) return 2;
  return line.starts_with('#') || line.starts_with(';') || line.starts_with('%') ? 1 : 0;
}

Separator SeparatorOf(std::string_view line) {
  if (line.find(';') != std::string_view::npos) return Separator::kSemicolon;
  return line.find(',') != std::string_view::npos ? Separator::kComma : Separator::kBlanks;
}

bool HasNumber(std::string_view line) {
  const Separator separator = SeparatorOf(line);
  FieldCursor fields(line, separator);
  double value = 0;
  for (std::string_view field; fields.Next(field);) {
    if (ParseNumber(field, value, separator == Separator::kSemicolon)) return true;
  }
  return false;
}

/// The bare name of a column: X, "x" and x [m] are all x.
std::string BareName(std::string_view field) {
  if (field.size() > 1 && field.front() == '"' && field.back() == '"')
    field = field.substr(1, field.size() - 2);
  std::string name(Trimmed(field.substr(0, field.find_first_of("[("))));
  std::transform(name.begin(), name.end(), name.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  return name;
}

/// Column names of a header line.
struct Header {
  std::vector<Field> fields;
  std::array<std::size_t, 3> columns{};  // of x, y, z
};

/// @return nothing when x, y and z are not among the names
std::optional<Header> ParseHeader(std::string_view line) {
  Header header;
  std::vector<std::string> names;
  FieldCursor cursor(line, SeparatorOf(line));
  for (std::string_view field; cursor.Next(field);) {
    header.fields.push_back({std::string(field), ""});
    names.push_back(BareName(field));
  }
  constexpr std::array<std::string_view, 3> kAxes = {"x", "y", "z"};
  for (std::size_t axis = 0; axis < 3; ++axis) {
    const auto at = std::find(names.begin(), names.end(), kAxes[axis]);
    if (at == names.end()) return std::nullopt;
    header.columns[axis] = static_cast<std::size_t>(at - names.begin());
  }
  return header;
}

/// Number of points to make room for, by the lines of the first part of the text.
std::size_t EstimateRows(std::string_view bytes) {
  const std::string_view sample = bytes.substr(0, std::size_t{1} << 16);
  const auto lines = static_cast<std::size_t>(std::count(sample.begin(), sample.end(), '\n')) + 1;
  const double rows = 1.02 * static_cast<double>(bytes.size()) / static_cast<double>(sample.size()) *
                      static_cast<double>(lines);
  return std::min(static_cast<std::size_t>(rows) + 1, bytes.size() / kShortestRow + 1);
}

class TextReader {
 public:
  explicit TextReader(const Source& source) : source_(source), lines_(source.bytes) {}

  PointCloud Read() {
    for (std::string_view line; lines_.NextFilled(line);) {
      if (lines_.Number() == 1 && line.starts_with("\xef\xbb\xbf")) line.remove_prefix(3);  // byte order mark
      line = Trimmed(line);
      if (const std::size_t mark = CommentMark(line); mark > 0) {
        if (!shape_) NoteHeader(line.substr(mark), true);
      } else if (shape_) {
        Row(line);
      } else {
        Preamble(line);
      }
    }
    CheckSection("the text ends");
    if (!shape_) {
      source_.FailAtLine(lines_.Number(),
                         "the text ends without a line of three numbers; is it a point cloud?");
    }
    cloud_.format = "text, " + std::string(NameOfSeparator());
    return std::move(cloud_);
  }

 private:
  // Lines before the first point: names of columns, prose without numbers, and the count line of PTS.
  void Preamble(std::string_view line) {
    if (line.empty()) return;
    if (TakeCount(line)) return;
    if (!HasNumber(line)) return NoteHeader(line, false);
    separator_ = SeparatorOf(line);
    const std::size_t count = CountFields(line, separator_);
    // The names in a comment may be prose; those of as many columns as there are hardly ever are.
    if (header_ && headerIsComment_ && header_->fields.size() != count) header_.reset();
    shape_.emplace(separator_, header_ ? header_->columns : std::array<std::size_t, 3>{0, 1, 2},
                   std::nullopt);
    cloud_.fields = header_ ? header_->fields : std::vector<Field>(count);
    Reserve(cloud_, EstimateRows(source_.bytes.substr(lines_.Offset() - line.size())));
    Row(line);
  }

  void NoteHeader(std::string_view line, bool isComment) {
    if (header_ && isComment && !headerIsComment_) return;
    std::optional<Header> header = ParseHeader(line);
    if (!header) return;
    header_ = std::move(header);
    headerIsComment_ = isComment;
  }

  void Row(std::string_view line) {
    Eigen::Vector3d point;
    if (!shape_->Read(line, point)) {
      if (promised_ && TakeCount(line)) return;
      source_.FailAtLine(lines_.Number(), shape_->Fault(line));
    }
    AppendPoint(point, cloud_);
    if (promised_ && cloud_.points.size() - sectionStart_ > *promised_) {
      source_.FailAtLine(lines_.Number(), "a point more than the " + std::to_string(*promised_) +
                                              " of the count line " + std::to_string(promiseLine_) +
                                              "; correct that line or remove it");
    }
  }

  /// PTS has a line with the number of points before each scan.
  bool TakeCount(std::string_view line) {
    const std::optional<std::uint64_t> count = ParseCount(line);
    if (!count) return false;
    CheckSection("the next count line comes");
    promised_ = count;
    promiseLine_ = lines_.Number();
    sectionStart_ = cloud_.points.size();
    return true;
  }

  void CheckSection(const char* what) const {
    const std::size_t got = cloud_.points.size() - sectionStart_;
    if (!promised_ || got == *promised_) return;
    source_.FailAtLine(lines_.Number(), std::string(what) + " after " + std::to_string(got) + " of the " +
                                            Counted(*promised_, "point") + " that line " +
                                            std::to_string(promiseLine_) +
                                            " promises; copy or export the file again");
  }

  const char* NameOfSeparator() const {
    switch (separator_) {
      case Separator::kComma:
        return "values between commas";
      case Separator::kSemicolon:
        return "values between semicolons";
      case Separator::kBlanks:
        break;
    }
    return "values between blanks";
  }

  Source source_;
  LineReader lines_;
  PointCloud cloud_;
  std::optional<Header> header_;
  bool headerIsComment_ = false;
  Separator separator_ = Separator::kBlanks;
  std::optional<RowShape> shape_;  // none before the first point
  std::optional<std::uint64_t> promised_;
  std::size_t promiseLine_ = 0;
  std::size_t sectionStart_ = 0;
};

}  // namespace

PointCloud ReadText(const Source& source) {
  constexpr std::size_t kProbe = 4096;
  if (const std::size_t at = source.bytes.substr(0, kProbe).find('\0'); at != std::string_view::npos) {
    source.FailAtByte(at, "is neither PLY nor PCD nor text; convert the file to one of them first");
  }
  return TextReader(source).Read();
}

}  // namespace primfit::io
