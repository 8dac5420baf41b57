#include "robust/verdict.h"

#include <Eigen/Cholesky>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>

using Eigen::Vector3d;

namespace primfit::robust {

namespace {

constexpr double kWeakShare = 0.1;
/// A size or direction is hardly known when it is not known to this share, respectively to these radians.
constexpr double kHardly = 0.1;

template <class... Values>
std::string Text(const char* format, Values... values) {
  char text[200];
  std::snprintf(text, sizeof text, format, values...);
  return text;
}

}  // namespace

FitCovariance CovarianceOf(const Converged& c, unsigned held) {
  const Freedoms freedoms = FreedomsOf(c.model, held);
  const int k = freedoms.count;
  const auto n = static_cast<double>(c.inliers.size());
  const double scale = c.noise * c.noise * InflationOf(c.model.IsCurve());
  // In units in which every parameter moves the points alike, so that none drowns.
  const auto unit = [&](int i) { return 1 / std::sqrt(std::max(n * c.sums.matrix[i][i], 1e-300)); };
  const auto even = [&](const NormalEquations& sums) {
    Eigen::MatrixXd m(k, k);
    for (int i = 0; i < k; ++i) {
      for (int j = 0; j < k; ++j) m(i, j) = unit(i) * unit(j) * n * sums.matrix[i][j];
    }
    return m;
  };
  Eigen::MatrixXd spread = even(c.sums).ldlt().solve(Eigen::MatrixXd::Identity(k, k));
  if (c.squared) spread = (spread * even(*c.squared) * spread).eval();
  FitCovariance covariance;
  covariance.matrix.resize(k, k);
  for (int i = 0; i < k; ++i) {
    for (int j = 0; j < k; ++j) covariance.matrix(i, j) = scale * unit(i) * unit(j) * spread(i, j);
    const auto& f = freedoms.each[i];
    covariance.parameters.push_back(
        {f.name, f.angle, f.direction, std::sqrt(std::max(0.0, covariance.matrix(i, i)))});
  }
  return covariance;
}

void Judge(const Model& m, const FitCovariance& covariance, FitReport& report) {
  report.verdict = Verdict::kGood;
  report.reason = Text("%.0f %% of the points support the shape", 100 * report.inlierShare);
  for (const FitParameter& p : covariance.parameters) {
    const bool size = p.direction.isZero();
    const double value = std::string(p.name) == "major radius" ? m.major : m.minor;
    const double known = size ? p.standardDeviation / value : p.isAngle ? p.standardDeviation : 0;
    if (known <= kHardly) continue;
    report.verdict = Verdict::kAmbiguous;
    report.reason =
        size ? Text("the %s is known to no better than %.0f %%: other shapes explain the points as well",
                    p.name, 100 * known)
             : Text("the direction is known to no better than %.0f degrees", known * 57.29577951308232);
    return;
  }
  if (report.inlierShare < kWeakShare) {
    report.verdict = Verdict::kWeak;
    report.reason = Text("only %.1f %% of the points support the best shape", 100 * report.inlierShare);
  }
}

}  // namespace primfit::robust
