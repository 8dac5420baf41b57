#include "robust/verdict.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>

#include "optimize/covariance.h"

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

/// What is called the first of some parts.
const char* NameOf(unsigned parts, Form form) {
  if ((parts & kAxis) != 0) return "direction";
  if ((parts & kMajor) != 0) return "major radius";
  return form == Form::kCone ? "half-angle" : form == Form::kTorus ? "minor radius" : "radius";
}

}  // namespace

FitCovariance CovarianceOf(const Converged& c, unsigned held) {
  const Freedoms freedoms = FreedomsOf(c.model, held | c.atEnd);
  FitCovariance covariance;
  covariance.matrix = primfit::CovarianceOf(c.sums, c.squared ? &*c.squared : nullptr, freedoms.count,
                                            static_cast<double>(c.inliers.size()),
                                            c.noise * c.noise * InflationOf(c.model.IsCurve()));
  for (int i = 0; i < freedoms.count; ++i) {
    const auto& f = freedoms.each[i];
    covariance.parameters.push_back({f.name, f.angle, f.direction, std::sqrt(covariance.matrix(i, i))});
  }
  return covariance;
}

void Judge(const Converged& c, const FitCovariance& covariance, FitReport& report) {
  const Model& m = c.model;
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
  if (c.atEnd != 0) {
    report.verdict = Verdict::kAtLimit;
    report.reason = Text("the %s is at an end of its range: a shape beyond explains the points better",
                         NameOf(c.atEnd, m.form));
    return;
  }
  if (report.inlierShare < kWeakShare) {
    report.verdict = Verdict::kWeak;
    report.reason = Text("only %.1f %% of the points support the best shape", 100 * report.inlierShare);
  }
}

}  // namespace primfit::robust
