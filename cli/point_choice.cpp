#include "cli/point_choice.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <string_view>

#include "cli/errors.h"
#include "cli/numbers.h"
#include "io/rows.h"

namespace primfit::cli {

namespace {

/// "2,6" or "10..20,50": values and ranges between commas. A range may be open at one end.
std::vector<io::Condition::Range> RangesOf(const std::string& option, std::string_view text) {
  std::vector<io::Condition::Range> ranges;
  io::FieldCursor fields(text, io::Separator::kComma);
  for (std::string_view field; fields.Next(field);) {
    const std::size_t dots = field.find("..");
    io::Condition::Range range{-HUGE_VAL, HUGE_VAL};
    bool good = true;
    if (dots == std::string_view::npos) {
      good = io::ParseNumber(field, range.low);
      range.high = range.low;
    } else {
      const std::string_view low = io::Trimmed(field.substr(0, dots));
      const std::string_view high = io::Trimmed(field.substr(dots + 2));
      good = (low.empty() || io::ParseNumber(low, range.low)) &&
             (high.empty() || io::ParseNumber(high, range.high)) && !(low.empty() && high.empty());
    }
    if (!good || !(range.low <= range.high))
      throw UsageError(fmt::format(
          "{}: \"{}\" is no value and no range such as 10..20, the smaller number first", option, field));
    ranges.push_back(range);
  }
  if (ranges.empty())
    throw UsageError(fmt::format("{} has no value; write for example 2,6 or 10..20", option));
  return ranges;
}

io::Condition ConditionOf(const std::string& text) {
  const std::size_t equals = text.find('=');
  if (equals == std::string::npos || io::Trimmed(std::string_view(text).substr(0, equals)).empty())
    throw UsageError(
        fmt::format("--where \"{}\" is not an attribute and its values, such as classification=2,6", text));
  return {std::string(io::Trimmed(std::string_view(text).substr(0, equals))),
          RangesOf("--where", std::string_view(text).substr(equals + 1))};
}

io::Region RegionOf(const PointChoice& choice) {
  io::Region region;
  if (choice.near) {
    region.ball = ParseNumbers("--near", *choice.near, 4, "x,y,z,r");
    if (!(region.ball[3] > 0)) throw UsageError("--near needs a radius above 0 as its fourth number");
  }
  if (choice.box) {
    region.box = ParseNumbers("--box", *choice.box, 6, "x0,y0,z0,x1,y1,z1");
    for (std::size_t axis = 0; axis < 3; ++axis) {
      if (region.box[axis] <= region.box[axis + 3]) continue;
      throw UsageError("--box needs the smallest x, y, z first and the largest after them");
    }
  }
  return region;
}

}  // namespace

void AddPointChoice(CLI::App& command, PointChoice& choice) {
  const auto option = [&](const char* name, auto& value, const char* type, const char* help) {
    command.add_option(name, value, help)->type_name(type);
  };
  option("--near", choice.near, "x,y,z,r",
         "Use only the points within r of x,y,z, in the file's unit (default: all)");
  option("--box", choice.box, "x0,y0,z0,x1,y1,z1",
         "Use only the points in this box, in the file's unit (default: all)");
  option(
      "--where", choice.where, "NAME=VALUES",
      "Use only the points whose attribute has one of these values or lies in one of these ranges, such as "
      "classification=2,6 or intensity=10..200; may be given several times (default: all)");
  option("--scan", choice.scan, "NUMBERS",
         "Use only the points of these scans, which PTX and PTS count from 1 (default: all)");
  option("--every", choice.every, "COUNT",
         "Use only one of so many points, in the order of the file (default: all)");
  option("--columns", choice.columns, "X,Y,Z",
         "The columns of text that are x, y and z, by number from 1 or by name (default: those named x, y, z "
         "or easting, northing, height, else the first three)");
  command.get_option("--where")->expected(1)->take_all();
}

io::Filter FilterOf(const PointChoice& choice) {
  io::Filter filter{.region = RegionOf(choice)};
  for (const std::string& text : choice.where) filter.where.push_back(ConditionOf(text));
  if (choice.scan) filter.where.push_back({"scan", RangesOf("--scan", *choice.scan)});
  if (choice.every) filter.every = static_cast<std::uint64_t>(CountOf("--every", *choice.every));
  return filter;
}

std::vector<std::string> ColumnsOf(const PointChoice& choice) {
  std::vector<std::string> columns;
  if (!choice.columns) return columns;
  io::FieldCursor fields(*choice.columns, io::Separator::kComma);
  for (std::string_view field; fields.Next(field);) columns.emplace_back(field);
  if (columns.size() != 3 ||
      std::any_of(columns.begin(), columns.end(), [](const auto& c) { return c.empty(); }))
    throw UsageError(
        fmt::format("--columns \"{}\" is not three columns, such as 2,3,4 or e,n,h", *choice.columns));
  return columns;
}

}  // namespace primfit::cli
