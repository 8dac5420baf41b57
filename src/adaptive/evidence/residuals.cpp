#include "adaptive/evidence/residuals.h"

#include <Eigen/Eigenvalues>
#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numbers>
#include <numeric>

#include "shapes/shape_of_model.h"

using Eigen::Vector3d;

namespace primfit::adaptive {

namespace {

/// Slots of the tolerance at whose ends the distribution of distances is compared.
constexpr int kSlots = 64;
/// More slots than this say that some distances are out of all proportion to the rest.
constexpr double kMostSlots = 1000;
/// A polynomial in three variables has so many terms at the most; on a surface fewer differ.
constexpr int kMostDegree = 4;
constexpr int kMostTerms = 35;
/// Points for each term at the least, so that a polynomial explains little of pure noise.
constexpr std::size_t kPointsPerTerm = 10;
/// Eigenvalues below this share of the largest one belong to terms that are the same on the surface.
constexpr double kSameTerms = 1e-9;
/// Sides of a box below this share of the largest one are rounding.
constexpr double kFlat = 1e-6;
/// From one size of cells that is tried to the next. On a surface two of them halve the number of points.
constexpr double kNextCell = 1.4;
constexpr int kMostCellSizes = 30;

/// The share of noise within a distance.
double NoiseWithin(const NoiseModel& model, double distance) {
  const double z = distance / model.noise;
  return model.curve ? -std::expm1(-z * z / 2) : std::erf(z / std::numbers::sqrt2);
}

/// The share of all points within a part of the tolerance.
/// @param allNoise  the share of noise within the whole of it
double ShareWithin(const NoiseModel& model, double part, double allNoise) {
  return (1 - model.strayShare) * NoiseWithin(model, part * model.tolerance) / allNoise +
         model.strayShare * (model.curve ? part * part : part);
}

using Terms = Eigen::Matrix<double, Eigen::Dynamic, 1, 0, kMostTerms, 1>;
using TermMatrix = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, 0, kMostTerms, kMostTerms>;

int TermsOfDegree(int degree) { return (degree + 1) * (degree + 2) * (degree + 3) / 6; }

/// All products of powers of the coordinates up to a degree.
Terms TermsAt(const Vector3d& p, int degree) {
  std::array<Vector3d, kMostDegree + 1> powers;
  powers[0].setOnes();
  for (int k = 1; k <= degree; ++k)
    powers[static_cast<std::size_t>(k)] = powers[static_cast<std::size_t>(k - 1)].cwiseProduct(p);
  Terms terms(TermsOfDegree(degree));
  int count = 0;
  for (std::size_t x = 0; x <= static_cast<std::size_t>(degree); ++x) {
    for (std::size_t y = 0; x + y <= static_cast<std::size_t>(degree); ++y) {
      for (std::size_t z = 0; x + y + z <= static_cast<std::size_t>(degree); ++z)
        terms[count++] = powers[x].x() * powers[y].y() * powers[z].z();
    }
  }
  return terms;
}

/// The highest degree for which there are enough points, 0 for none.
int DegreeFor(std::size_t points) {
  int degree = kMostDegree;
  while (degree > 0 && kPointsPerTerm * static_cast<std::size_t>(TermsOfDegree(degree)) > points) --degree;
  return degree > 1 ? degree : 0;
}

/// The minimum norm solution, in which terms that are the same on the surface share their factor.
/// @param rank  receives how many terms differ
Terms Solve(const TermMatrix& matrix, const Terms& right, int& rank) {
  const Eigen::SelfAdjointEigenSolver<TermMatrix> solver(matrix);
  const auto& values = solver.eigenvalues();
  Terms solution = Terms::Zero(right.size());
  rank = 0;
  for (Eigen::Index k = 0; k < values.size(); ++k) {
    if (!(values[k] > kSameTerms * values[values.size() - 1])) continue;
    solution += solver.eigenvectors().col(k) * (solver.eigenvectors().col(k).dot(right) / values[k]);
    ++rank;
  }
  return solution;
}

/// A value in a cell of a cubic grid.
struct CellValue {
  std::array<std::int32_t, 3> cell;
  double value;
};

/// The values by their cells of some size, those of a cell side by side.
std::vector<CellValue> ByCells(std::span<const Vector3d> places, std::span<const double> values,
                               double size) {
  std::vector<CellValue> entries(places.size());
  for (std::size_t k = 0; k < places.size(); ++k) {
    const Eigen::Array3d q = ((places[k] - places.front()) / size).array().floor();
    entries[k] = {{static_cast<std::int32_t>(q.x()), static_cast<std::int32_t>(q.y()),
                   static_cast<std::int32_t>(q.z())},
                  values[k]};
  }
  std::sort(entries.begin(), entries.end(),
            [](const CellValue& a, const CellValue& b) { return a.cell < b.cell; });
  return entries;
}

/// Adds up values of one cell after the other.
class CellSums {
 public:
  void Add(double sum, double squares, std::size_t count) {
    if (count == 0) return;
    ++cells_;
    count_ += count;
    squares_ += squares;
    explained_ += sum * sum / static_cast<double>(count);
  }
  CellVariances Variances() const {
    const double n = std::max(1.0, static_cast<double>(count_));
    return {cells_, explained_ / n, std::max(0.0, squares_ - explained_) / n};
  }

 private:
  std::size_t cells_ = 0, count_ = 0;
  double squares_ = 0, explained_ = 0;
};

CellVariances VariancesOfCells(std::span<const Vector3d> places, std::span<const double> values,
                               double size) {
  const std::vector<CellValue> entries = ByCells(places, values, size);
  CellSums sums;
  for (std::size_t k = 0; k < entries.size();) {
    const std::size_t first = k;
    double sum = 0, squares = 0;
    for (; k < entries.size() && entries[k].cell == entries[first].cell; ++k) {
      sum += entries[k].value;
      squares += entries[k].value * entries[k].value;
    }
    sums.Add(sum, squares, k - first);
  }
  return sums.Variances();
}

/// The principal axes of places as rows, and the mean.
struct PrincipalFrame {
  Vector3d mean = Vector3d::Zero();
  Eigen::Matrix3d axes = Eigen::Matrix3d::Identity();
};
PrincipalFrame FrameOf(std::span<const Vector3d> places) {
  PrincipalFrame frame;
  if (places.empty()) return frame;
  // One pass, about the first place: products of small numbers lose little in the difference below.
  const Vector3d origin = places.front();
  const double n = static_cast<double>(places.size());
  Vector3d sum = Vector3d::Zero(), squares = Vector3d::Zero(), products = Vector3d::Zero();
  for (const Vector3d& p : places) {
    const Vector3d q = p - origin;
    sum += q;
    squares += q.cwiseProduct(q);
    products += Vector3d(q.y() * q.z(), q.z() * q.x(), q.x() * q.y());
  }
  const Vector3d mean = sum / n;
  frame.mean = origin + mean;
  squares = squares / n - mean.cwiseProduct(mean);
  products = products / n - Vector3d(mean.y() * mean.z(), mean.z() * mean.x(), mean.x() * mean.y());
  Eigen::Matrix3d scatter;
  scatter << squares.x(), products.z(), products.y(), products.z(), squares.y(), products.x(), products.y(),
      products.x(), squares.z();
  Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d> solver;
  solver.computeDirect(scatter);
  frame.axes = solver.eigenvectors().transpose();
  return frame;
}

}  // namespace

Residuals ResidualsOf(const Model& model, std::span<const Vector3d> points,
                      std::span<const std::uint32_t> inliers, std::size_t most) {
  const std::size_t count = std::min(inliers.size(), most);
  Residuals residuals;
  residuals.feet.reserve(count);
  residuals.distances.reserve(count);
  WithShape(model, [&](const auto& shape) {
    for (std::size_t k = 0; k < count; ++k) {
      const Vector3d& p = points[inliers[k * inliers.size() / count]];
      residuals.feet.push_back(shape.ClosestPoint(p));
      residuals.distances.push_back(shape.Distance(p));
    }
  });
  return residuals;
}

double ShortfallNearShape(std::span<const double> distances, const NoiseModel& model) {
  std::array<std::size_t, kSlots> counts{};
  for (const double d : distances) {
    const double slot = std::min(std::abs(d) / model.tolerance * kSlots, kSlots - 1.0);
    ++counts[static_cast<std::size_t>(slot)];
  }
  const double allNoise = NoiseWithin(model, model.tolerance);
  double shortfall = 0;
  std::size_t within = 0;
  for (std::size_t k = 0; k + 1 < kSlots; ++k) {
    within += counts[k];
    const double part = static_cast<double>(k + 1) / kSlots;
    const double share = static_cast<double>(within) / static_cast<double>(distances.size());
    shortfall = std::max(shortfall, ShareWithin(model, part, allNoise) - share);
  }
  return shortfall;
}

Valley DeepestValley(std::span<const double> distances, double slotWidth) {
  if (distances.empty() || !(slotWidth > 0)) return {};
  const auto [low, high] = std::minmax_element(distances.begin(), distances.end());
  const double slots = (*high - *low) / slotWidth;
  if (!(slots < kMostSlots)) return {};
  std::vector<double> counts(static_cast<std::size_t>(slots) + 1), right(counts.size());
  for (const double d : distances) ++counts[static_cast<std::size_t>((d - *low) / slotWidth)];
  std::inclusive_scan(counts.rbegin(), counts.rend(), right.rbegin(),
                      [](double a, double b) { return std::max(a, b); });
  double left = 0, drop = 0;
  Valley deepest;
  for (std::size_t k = 0; k < counts.size(); ++k) {
    left = std::max(left, counts[k]);
    const double peak = std::min(left, right[k]);
    if (peak - counts[k] <= drop) continue;
    drop = peak - counts[k];
    deepest = {drop / peak, drop / std::sqrt(peak + counts[k])};
  }
  return deepest;
}

double SideOfBox(std::span<const Vector3d> places) {
  if (places.empty()) return 0;
  Vector3d low = places.front(), high = low;
  for (const Vector3d& p : places) {
    low = low.cwiseMin(p);
    high = high.cwiseMax(p);
  }
  return (high - low).maxCoeff();
}

double CellVariances::ExplainedOverRest(std::size_t count) const {
  if (count <= cells || !(rest > 0)) return 0;
  const double byChance = static_cast<double>(cells) / static_cast<double>(count - cells);
  return std::sqrt(std::max(0.0, explained / rest - byChance));
}

CellVariances VariancesOfGrid(const Residuals& residuals, int cellsAlongAxis) {
  const PrincipalFrame frame = FrameOf(residuals.feet);
  std::vector<Vector3d> places(residuals.feet.size());
  Vector3d low = Vector3d::Constant(std::numeric_limits<double>::infinity()), high = -low;
  for (std::size_t k = 0; k < places.size(); ++k) {
    places[k] = frame.axes * (residuals.feet[k] - frame.mean);
    low = low.cwiseMin(places[k]);
    high = high.cwiseMax(places[k]);
  }
  struct Cell {
    double sum = 0, squares = 0;
    std::size_t count = 0;
  };
  const auto side = static_cast<std::size_t>(cellsAlongAxis);
  std::vector<Cell> cells(side * side * side);
  // The feet on a plane have rounding as their third coordinate, which is one cell.
  const double largest = (high - low).maxCoeff();
  Vector3d perUnit;
  for (int i = 0; i < 3; ++i)
    perUnit[i] = high[i] - low[i] > kFlat * largest ? (1 - 1e-9) * cellsAlongAxis / (high[i] - low[i]) : 0;
  for (std::size_t k = 0; k < places.size(); ++k) {
    const Vector3d q = (places[k] - low).cwiseProduct(perUnit);
    Cell& cell = cells[(static_cast<std::size_t>(q.x()) * side + static_cast<std::size_t>(q.y())) * side +
                       static_cast<std::size_t>(q.z())];
    const double d = residuals.distances[k];
    cell.sum += d;
    cell.squares += d * d;
    ++cell.count;
  }
  CellSums sums;
  for (const Cell& cell : cells) sums.Add(cell.sum, cell.squares, cell.count);
  return sums.Variances();
}

// With m points in each cell the variances between cells and within them are m times the mean square of their
// means, and the mean square about these times m / (m - 1); the correlation is (B - W) / (B + (m - 1) W).
double CorrelationInCells(std::span<const Vector3d> places, std::span<const double> values,
                          double pointsInCell) {
  const double n = static_cast<double>(places.size());
  double size = SideOfBox(places);
  if (!(size > 0)) return 0;
  CellVariances cells = VariancesOfCells(places, values, size);
  for (int tries = 0; static_cast<double>(cells.cells) * pointsInCell < n && tries < kMostCellSizes;
       ++tries) {
    size /= kNextCell;
    cells = VariancesOfCells(places, values, size);
  }
  const double m = n / static_cast<double>(cells.cells);
  if (!(m > 1)) return 0;
  const double between = cells.explained * m, within = cells.rest * m / (m - 1);
  const double all = between + (m - 1) * within;
  return all > 0 ? std::max(0.0, (between - within) / all) : 0;
}

SmoothForm SmoothFormOf(const Residuals& residuals) {
  SmoothForm result;
  const int degree = DegreeFor(residuals.Count());
  const double scale = SideOfBox(residuals.feet);
  if (degree == 0 || !(scale > 0)) return result;
  const double n = static_cast<double>(residuals.Count());
  const Vector3d mean = std::accumulate(residuals.feet.begin(), residuals.feet.end(), Vector3d(0, 0, 0)) / n;
  const int count = TermsOfDegree(degree);
  const auto termsOf = [&](std::size_t k) {
    return TermsAt((residuals.feet[k] - mean) * (2 / scale), degree);
  };
  TermMatrix matrix = TermMatrix::Zero(count, count);
  Terms right = Terms::Zero(count);
  for (std::size_t k = 0; k < residuals.Count(); ++k) {
    const Terms terms = termsOf(k);
    matrix.selfadjointView<Eigen::Lower>().rankUpdate(terms, 1 / n);
    right += terms * (residuals.distances[k] / n);
  }
  const Terms factors = Solve(matrix, right, result.terms);
  std::vector<double>& rest = result.distances;
  rest.resize(residuals.Count());
  double formSquares = 0, restSquares = 0;
  for (std::size_t k = 0; k < rest.size(); ++k) {
    const double form = factors.dot(termsOf(k));
    rest[k] = residuals.distances[k] - form;
    formSquares += form * form;
    restSquares += rest[k] * rest[k];
  }
  result.form = std::sqrt(formSquares / n);
  result.rest = std::sqrt(restSquares / n);
  return result;
}

}  // namespace primfit::adaptive
