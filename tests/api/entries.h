// The entry points as one table: a scene of each primitive and the fit of it.
#ifndef PRIMFIT_TESTS_API_ENTRIES_H_
#define PRIMFIT_TESTS_API_ENTRIES_H_

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "primfit/primfit.h"
#include "support/scenes.h"

namespace primfit::testing {

/// What a fit gave: the unbounded shape in the caller's coordinates, its quality, and the numbers of its
/// extent.
struct Found {
  std::shared_ptr<OutputShape> shape;
  FitQuality quality;
  std::vector<double> extent;
  std::vector<Eigen::Vector3d> ends;  // points that the extent names
};

struct Entry {
  const char* name;
  /// Points on the metre-sized shape in a pose; `outliers` of them uniform in the bounding box of the others.
  Points (*scene)(const Pose& pose, int n, double noise, double outliers, Random& random);
  Found (*defaultFit)(const Points& points);

  bool Is(const char* other) const { return name == std::string(other); }
  /// The default fit under a seed.
  Found Fit(const Points& points, std::uint64_t seed) const {
    const ScopedSeed scope(seed);
    return defaultFit(points);
  }
};

inline std::ostream& operator<<(std::ostream& out, const Entry& entry) { return out << entry.name; }

const std::vector<Entry>& Entries();
const Entry& EntryOf(const char* name);

/// The fit that IFit has for a pair of records; one takes a flag more.
template <class Record, class Params>
FitOutput<Record> FitBy(const Eigen::Vector3d* points, int n, const Params& params) {
  IFit<Params, Record> front;
  if constexpr (requires { front.Solve(points, n, params, nullptr, false); }) {
    return front.Solve(points, n, params, nullptr, false);
  } else {
    return front.Solve(points, n, params, nullptr);
  }
}

}  // namespace primfit::testing

#endif  // PRIMFIT_TESTS_API_ENTRIES_H_
