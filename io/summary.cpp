#include "io/summary.h"

#include <algorithm>
#include <chrono>
#include <limits>

namespace primfit::io {

namespace {

/// The distance of 32-bit numbers about a value.
double StepOfFloats(double value) {
  const auto magnitude = static_cast<float>(std::abs(value));
  return static_cast<double>(std::nextafter(magnitude, std::numeric_limits<float>::infinity()) - magnitude);
}

/// The coarsest power of ten of which all values are multiples to a tolerance; 0 for none.
double DecimalStep(const std::vector<double>& values, double tolerance) {
  for (int decimals = 0; decimals <= 6; ++decimals) {
    const double power = std::pow(10.0, decimals);
    // A wider tolerance than this would take anything for a multiple.
    if (tolerance * power > 0.01) return 0;
    const bool fits = std::all_of(values.begin(), values.end(), [&](double v) {
      return std::abs(v * power - std::round(v * power)) <= tolerance * power + 1e-6;
    });
    if (fits) return 1 / power;
  }
  return 0;
}

/// The median gap to the next level, over all values, where these are fewer than half as many as the values.
/// @param values  ascending
double GapOfLevels(const std::vector<double>& values) {
  std::vector<double> levels = values;
  levels.erase(std::unique(levels.begin(), levels.end()), levels.end());
  if (levels.size() < 2 || 2 * levels.size() > values.size()) return 0;
  std::vector<double> gaps;
  std::size_t level = 0;
  for (const double value : values) {
    if (levels[level] != value) ++level;
    const std::size_t next = std::min(level + 1, levels.size() - 1);
    gaps.push_back(levels[next] - levels[next - 1]);
  }
  const auto middle = gaps.begin() + static_cast<std::ptrdiff_t>(gaps.size() / 2);
  std::nth_element(gaps.begin(), middle, gaps.end());
  return *middle;
}

/// Sums up points; of a few of them, at equal steps through the file, it keeps the coordinates.
class Adder : public PointSink {
 public:
  explicit Adder(Summary& summary) : summary_(summary) {}

  void Take(PointBlock& block) override {
    for (const Eigen::Vector3d& p : block.points) {
      summary_.low = summary_.low.cwiseMin(p);
      summary_.high = summary_.high.cwiseMax(p);
      if (summary_.used++ % stride_ != 0) continue;
      sample_.push_back(p);
      if (sample_.size() == kMostSampled) Thin();
    }
  }
  std::vector<double> SampleOf(Eigen::Index axis) const {
    std::vector<double> values;
    for (const Eigen::Vector3d& p : sample_) values.push_back(p[axis]);
    return values;
  }

 private:
  static constexpr std::size_t kMostSampled = std::size_t{1} << 18;

  void Thin() {
    for (std::size_t i = 0; 2 * i < sample_.size(); ++i) sample_[i] = sample_[2 * i];
    sample_.resize(sample_.size() / 2);
    stride_ *= 2;
  }

  Summary& summary_;
  std::size_t stride_ = 1;
  std::vector<Eigen::Vector3d> sample_;
};

}  // namespace

double CoordinateStep(std::vector<double> values) {
  if (values.empty()) return 0;
  std::sort(values.begin(), values.end());
  if (values.front() == values.back()) return 0;  // a plane of the axes, or one point
  const double largest = std::max(std::abs(values.front()), std::abs(values.back()));
  const bool floats = std::all_of(values.begin(), values.end(), [](double v) {
    return std::abs(v) < static_cast<double>(std::numeric_limits<float>::max()) &&
           static_cast<double>(static_cast<float>(v)) == v;
  });
  const double format = floats ? StepOfFloats(largest) : largest * std::numeric_limits<double>::epsilon();
  return std::max({floats ? format : 0.0, DecimalStep(values, format), GapOfLevels(values)});
}

Summary ReadSummary(const Readers& readers, const std::string& path, const Filter& filter,
                    const ReadRequest& request) {
  const auto start = std::chrono::steady_clock::now();
  Summary summary;
  Adder adder(summary);
  summary.head = StreamSelected(readers, path, filter, request, adder, summary);
  for (Eigen::Index axis = 0; axis < 3; ++axis) summary.step[axis] = CoordinateStep(adder.SampleOf(axis));
  summary.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  return summary;
}

}  // namespace primfit::io
