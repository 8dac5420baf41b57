// The entry points as one table: a scene of each primitive and the fit of it.
#ifndef PRIMFIT_TESTS_API_ENTRIES_H_
#define PRIMFIT_TESTS_API_ENTRIES_H_

#include <functional>
#include <memory>
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
  /// The default fit with an outlier share and a scanner error.
  Found (*fit)(const Points& points, double outliers, double scannerError);
  std::shared_ptr<OutputShape> (*truth)(const Pose& pose);
};

const std::vector<Entry>& Entries();

std::string MessageOf(const std::function<void()>& call);

}  // namespace primfit::testing

#endif  // PRIMFIT_TESTS_API_ENTRIES_H_
