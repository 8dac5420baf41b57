// What all shapes share: point-set evaluation over the virtual interface, names, summaries.
#include "primfit/shapes/output_shape.h"

#include <omp.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <string_view>
#include <typeinfo>

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
  out.reserve(static_cast<std::size_t>(n));
  SetDistSqrdThreshod(t);
  primfit::SelectClose(*this, points, n, out);
  return !out.empty();
}

namespace {

/// Sums over a chunk of residuals, merged in chunk order.
struct ResidualSums {
  double squares = 0;
  double magnitudes = 0;
  double values = 0;
  double largest = 0;

  void Add(double d) {
    squares += d * d;
    magnitudes += std::abs(d);
    values += d;
    largest = std::max(largest, std::abs(d));
  }
  void Merge(const ResidualSums& chunk) {
    squares += chunk.squares;
    magnitudes += chunk.magnitudes;
    values += chunk.values;
    largest = std::max(largest, chunk.largest);
  }
};

}  // namespace

FitQuality OutputShape::CalculateQuality(double sigma, int n, const Vector3d* points) {
  if (n < 1 || points == nullptr) return {};
  const auto residuals = std::make_unique_for_overwrite<double[]>(static_cast<std::size_t>(n));
  primfit::Distances(*this, points, n, residuals.get());

  // One chunk a processor, evaluated in order on this thread.
  const int chunks = std::max(1, omp_get_num_procs());
  const int chunkSize = n / chunks;
  ResidualSums sums;
  for (int chunk = 0; chunk < chunks; ++chunk) {
    const int end = chunk == chunks - 1 ? n : (chunk + 1) * chunkSize;
    ResidualSums partial;
    for (int i = chunk * chunkSize; i < end; ++i) {
      const double d = residuals[i];
      partial.Add(d);
      residuals[i] = std::abs(d);
    }
    sums.Merge(partial);
  }
  return {std::sqrt(sums.squares / n), sums.magnitudes / n, sums.values / n, sums.largest,
          FitHistogram(sigma, residuals.get(), n)};
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

/// Writes the name of the exact dynamic type; a subclass of a named class has none.
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
  const double budget = allowed > 0 ? allowed : 0;
  int outliers = 0;
  for (int i = 0; i < n; ++i) {
    if (Distance(points[i]) > tolerance && ++outliers > budget) return false;
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
