#include "io/attributes.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "io/rows.h"

namespace primfit::io {

namespace {

struct Names {
  std::string_view usual;
  std::array<std::string_view, 4> others;  // empty where there are fewer
};

// The other names are those of LAS, of the usual exporters of PLY and PCD, and of tables.
constexpr Names kAttributes[] = {
    {"intensity", {"scalar_intensity", "reflectance", "scalar_reflectance", "i"}},
    {"classification", {"scalar_classification", "class"}},
    {"return_number", {"scalar_returnnumber", "returnnumber"}},
    {"red", {"r", "diffuse_red"}},
    {"green", {"g", "diffuse_green"}},
    {"blue", {"b", "diffuse_blue"}},
    {"nx", {"normal_x", "normalx"}},
    {"ny", {"normal_y", "normaly"}},
    {"nz", {"normal_z", "normalz"}},
    {"time", {"gps_time", "scalar_gpstime", "gpstime", "timestamp"}},
    {"scan", {"scan_id", "scanid", "point_source_id", "scalar_pointsourceid"}},
};

constexpr Names kCoordinates[] = {{"x", {"easting", "east"}},
                                  {"y", {"northing", "north"}},
                                  {"z", {"elevation", "height", "altitude", "h"}}};

std::optional<std::size_t> FindField(const std::vector<Field>& fields, std::string_view name) {
  const auto at =
      std::find_if(fields.begin(), fields.end(), [&](const Field& f) { return BareName(f.name) == name; });
  if (at == fields.end() || name.empty()) return std::nullopt;
  return static_cast<std::size_t>(at - fields.begin());
}

std::optional<std::size_t> FindByAnyName(const std::vector<Field>& fields, const Names& names) {
  std::optional<std::size_t> found = FindField(fields, names.usual);
  for (std::size_t k = 0; !found && k < names.others.size(); ++k) found = FindField(fields, names.others[k]);
  return found;
}

/// The names that fields have, for an error.
std::string NamesOf(const std::vector<Field>& fields) {
  std::string names;
  for (const Field& field : fields) {
    if (!field.name.empty()) names.append(names.empty() ? "" : ", ").append(BareName(field.name));
  }
  return names;
}

}  // namespace

std::string BareName(std::string_view field) {
  if (field.size() > 1 && field.front() == '"' && field.back() == '"')
    field = field.substr(1, field.size() - 2);
  std::string name(Trimmed(field.substr(0, field.find_first_of("[("))));
  std::transform(name.begin(), name.end(), name.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  return name;
}

std::optional<std::size_t> FindAttribute(const std::vector<Field>& fields, std::string_view name) {
  const std::string bare = BareName(name);
  if (const auto own = FindField(fields, bare)) return own;
  for (const Names& names : kAttributes) {
    if (names.usual == bare) return FindByAnyName(fields, names);
  }
  return std::nullopt;
}

std::vector<std::size_t> FindAttributes(const Source& source, const std::vector<Field>& fields,
                                        const std::vector<std::string>& names) {
  std::vector<std::size_t> found;
  for (const std::string& name : names) {
    const auto at = FindAttribute(fields, name);
    if (!at) {
      const std::string known = NamesOf(fields);
      throw ReadError(
          source.name, "",
          "the points have no attribute " + Quoted(name) +
              (known.empty() ? "; the file has no names for its values" : "; they have " + known));
    }
    found.push_back(*at);
  }
  return found;
}

std::optional<std::array<std::size_t, 3>> FindCoordinates(const std::vector<Field>& fields) {
  std::array<std::size_t, 3> coordinates{};
  for (std::size_t axis = 0; axis < 3; ++axis) {
    const auto at = FindByAnyName(fields, kCoordinates[axis]);
    if (!at) return std::nullopt;
    coordinates[axis] = *at;
  }
  return coordinates;
}

}  // namespace primfit::io
