// What all shapes share: selection of close points, the quality record, names, and summaries over point sets.
// The hot loops are in kernels/batch.h.
#include "primfit/shapes/output_shape.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string_view>
#include <typeinfo>

#include "fit/histogram_bins.h"
#include "primfit/shapes/output_circle.h"
#include "primfit/shapes/output_cone.h"
#include "primfit/shapes/output_cylinder.h"
#include "primfit/shapes/output_line.h"
#include "primfit/shapes/output_plane.h"
#include "primfit/shapes/output_sphere.h"
#include "primfit/shapes/output_torus.h"
#include "shapes/kernels/batch.h"

using Eigen::Vector3d;

OutputShape::~OutputShape() = default;

bool OutputShape::GetClosePoints(const Vector3d* points, int n, double t, std::vector<Vector3d>& out,
                                 bool all) {
  out.clear();
  if (points == nullptr || n <= 0) return false;
  if (all) {
    out.assign(points, points + n);
    return true;
  }
  out.resize(static_cast<std::size_t>(n) + 1);
  SetDistSqrdThreshod(t);
  out.resize(static_cast<std::size_t>(primfit::SelectClose(*this, points, n, out.data())));
  return !out.empty();
}

namespace {

/// Sums over residuals. Each is kept in eight lanes that are added up in a fixed order at the end, so that
/// the compiler may use vectors of any width and the sums have the same bits on every machine.
class ResidualSums {
 public:
  /// Adds residuals and replaces them by their magnitudes.
  void Add(double* residuals, int n) {
    int i = 0;
    for (; i + kLanes <= n; i += kLanes) {
      for (int lane = 0; lane < kLanes; ++lane) AddOne(residuals[i + lane], lane);
    }
    for (int lane = 0; i + lane < n; ++lane) AddOne(residuals[i + lane], lane);
    for (i = 0; i < n; ++i) residuals[i] = std::abs(residuals[i]);
  }
  double Squares() const { return Total(squares_); }
  double Magnitudes() const { return Total(magnitudes_); }
  double Values() const { return Total(values_); }
  double Largest() const { return *std::max_element(largest_, largest_ + kLanes); }

 private:
  static constexpr int kLanes = 8;

  void AddOne(double d, int lane) {
    const double magnitude = std::abs(d);
    squares_[lane] += d * d;
    magnitudes_[lane] += magnitude;
    values_[lane] += d;
    largest_[lane] = std::max(largest_[lane], magnitude);
  }
  static double Total(const double* s) {
    return ((s[0] + s[4]) + (s[2] + s[6])) + ((s[1] + s[5]) + (s[3] + s[7]));
  }

  double squares_[kLanes] = {};
  double magnitudes_[kLanes] = {};
  double values_[kLanes] = {};
  double largest_[kLanes] = {};
};

}  // namespace

FitQuality OutputShape::CalculateQuality(double sigma, int n, const Vector3d* points) {
  if (n < 1 || points == nullptr) return {};
  FitHistogram histogram(sigma);
  primfit::HistogramBins bins(histogram.Sigma());
  ResidualSums sums;
  constexpr int kBlock = 512;
  double residuals[kBlock];
  for (int begin = 0, count = 0; begin < n; begin += count) {
    count = std::min(kBlock, n - begin);
    primfit::Distances(*this, points + begin, count, residuals);
    sums.Add(residuals, count);
    bins.Add(residuals, count);
  }
  histogram.Take(bins, n);
  return {std::sqrt(sums.Squares() / n), sums.Magnitudes() / n, sums.Values() / n, sums.Largest(), histogram};
}

double OutputShape::RootMeanSquare(const std::list<Vector3d>& points) const {
  if (points.empty()) return -1.0;
  double sum = 0;
  for (const Vector3d& p : points) {
    const double d = Distance(p);
    sum += d * d;
  }
  return std::sqrt(sum / static_cast<double>(points.size()));
}

double OutputShape::RootMeanSquare(int n, const Vector3d* points) const {
  if (n < 1 || points == nullptr) return -1.0;
  double sum = 0;
  for (int i = 0; i < n; ++i) {
    const double d = Distance(points[i]);
    sum += d * d;
  }
  return std::sqrt(sum / n);
}

namespace {

/// Writes a name and a terminating zero. Names are those of the exact dynamic type: a subclass of a named
/// class may be another shape, and is "Unknown".
void WriteName(std::string_view name, char* buffer) { buffer[name.copy(buffer, name.size())] = '\0'; }

}  // namespace

void OutputCurve::Name(char* buffer) const {
  const std::type_info& type = typeid(*this);
  WriteName(type == typeid(OutputLine)     ? "Line"
            : type == typeid(OutputCircle) ? "Circle"
                                           : "Unknown",
            buffer);
}

double OutputCurve::Check(std::list<Vector3d>& points) { return RootMeanSquare(points); }

double OutputCurve::Check(int n, Vector3d* points) { return RootMeanSquare(n, points); }

void OutputSurface::Name(char* buffer) const {
  const std::type_info& type = typeid(*this);
  WriteName(type == typeid(OutputPlane)      ? "Plane"
            : type == typeid(OutputSphere)   ? "Sphere"
            : type == typeid(OutputCylinder) ? "Cylinder"
            : type == typeid(OutputCone)     ? "Cone"
            : type == typeid(OutputTorus)    ? "Torus"
                                             : "Unknown",
            buffer);
}

double OutputSurface::Check(std::list<Vector3d>& points) { return RootMeanSquare(points); }

double OutputSurface::Check(int n, Vector3d* points) { return RootMeanSquare(n, points); }

bool OutputSurface::GoodFit(int n, Vector3d* points, double fraction, double tolerance) {
  if (n < 1 || points == nullptr) return false;
  const double allowed = n - std::trunc(n * fraction);
  const double mostOutliers = allowed > 0 ? allowed : 0;
  int outliers = 0;
  for (int i = 0; i < n; ++i) {
    // Deliberate: the distance with its sign, so points behind the surface never count as outliers.
    if (Distance(points[i]) > tolerance && ++outliers > mostOutliers) return false;
  }
  return true;
}

double OutputSurface::Median(int n, Vector3d* points, double q) {
  if (n < 1 || points == nullptr) return -1.0;
  std::vector<double> distances(static_cast<std::size_t>(n));
  primfit::Distances(*this, points, n, distances.data());
  // A NaN has no place in an order: it counts as farthest.
  std::replace_if(
      distances.begin(), distances.end(), [](double d) { return std::isnan(d); },
      std::numeric_limits<double>::infinity());
  std::sort(distances.begin(), distances.end());
  const double quantile = q > 0 ? std::min(q, 1.0) : 0.0;
  return distances[static_cast<std::size_t>((n - 1) * quantile)];
}
