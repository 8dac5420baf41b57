// How often each surface is found: 100 seeds a row, printed as a table in Markdown. Found means that the true
// points, noise included, lie within twice the noise of the result, root mean square.
//
// usage: success_rates [points] [outlier share] [coverage: share of a turn or of a sphere]
#include <fmt/format.h>

#include <Eigen/Geometry>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <exception>
#include <functional>
#include <memory>
#include <numbers>
#include <random>
#include <string>
#include <vector>

#include "primfit/primfit.h"

namespace {

using Eigen::Vector3d;
using Points = std::vector<Vector3d>;

constexpr double kNoise = 0.002;
constexpr int kSeeds = 100;

/// Uniform numbers and poses of one run.
class Random {
 public:
  explicit Random(unsigned seed) : engine_(seed) {}
  double Uniform(double low, double high) {
    return std::uniform_real_distribution<double>(low, high)(engine_);
  }
  double Gauss() { return std::normal_distribution<double>()(engine_); }
  Vector3d Normal() { return {Gauss(), Gauss(), Gauss()}; }
  void Shuffle(Points& points) { std::shuffle(points.begin(), points.end(), engine_); }

 private:
  std::mt19937_64 engine_;
};

/// A surface metres in size: its true shape in a pose, a point of it, and the fit.
struct Surface {
  std::string name;
  std::function<std::unique_ptr<OutputSurface>(const Vector3d& center, const Vector3d& axis)> make;
  std::function<Vector3d(const OutputSurface&, const Vector3d& axis, Random&)> point;
  std::function<std::unique_ptr<OutputShape>(const Points&, double outliers)> fit;
};

template <class Constraints, class Record>
Record Fit(const Points& points, double outliers) {
  FitInputParams<Constraints> params;
  params.SetOutlierPercentage(std::max(outliers, 0.01));
  IFit<FitInputParams<Constraints>, Record> front;
  return front.Solve(points.data(), static_cast<int>(points.size()), params, nullptr).GetFitShape();
}

std::vector<Surface> Surfaces(double coverage) {
  constexpr double kTurn = 2 * std::numbers::pi;
  const double seen = coverage * kTurn;
  return {
      {"plane", [](const Vector3d& c, const Vector3d& a) { return std::make_unique<OutputPlane>(c, a); },
       [](const OutputSurface& s, const Vector3d&, Random& r) {
         return s.Eval(r.Uniform(-1, 1), r.Uniform(-1, 1));
       },
       [](const Points& p, double o) {
         const auto f = Fit<FitConstraintsPlane, FitOutputParamsPlane>(p, o);
         return std::make_unique<OutputPlane>(f.Origin(), f.Normal());
       }},
      {"sphere", [](const Vector3d& c, const Vector3d&) { return std::make_unique<OutputSphere>(c, 0.5); },
       [=](const OutputSurface& s, const Vector3d& axis,
           Random& r) {  // a cap about the axis, uniform by area
         const double height = 1 - 2 * coverage * r.Uniform(0, 1), turn = r.Uniform(0, kTurn);
         const Vector3d e1 = axis.unitOrthogonal(),
                        across = std::cos(turn) * e1 + std::sin(turn) * axis.cross(e1);
         const Vector3d center = dynamic_cast<const OutputSphere&>(s).Center();
         return Vector3d(center + 0.5 * (height * axis + std::sqrt(1 - height * height) * across));
       },
       [](const Points& p, double o) {
         const auto f = Fit<FitConstraintsSphere, FitOutputParamsSphere>(p, o);
         return std::make_unique<OutputSphere>(f.Center(), f.Radius());
       }},
      {"cylinder",
       [](const Vector3d& c, const Vector3d& a) { return std::make_unique<OutputCylinder>(c, 0.5, a); },
       [=](const OutputSurface& s, const Vector3d&, Random& r) {
         return s.Eval(r.Uniform(0, seen), r.Uniform(-1, 1));
       },
       [](const Points& p, double o) {
         const auto f = Fit<FitConstraintsCylinder, FitOutputParamsCylinder>(p, o);
         return std::make_unique<OutputCylinder>(f.Origin(), f.Radius(), f.Axis());
       }},
      {"cone", [](const Vector3d& c, const Vector3d& a) { return std::make_unique<OutputCone>(c, 0.4, a); },
       [=](const OutputSurface& s, const Vector3d&, Random& r) {
         return s.Eval(r.Uniform(0, seen), r.Uniform(0.5, 2));
       },
       [](const Points& p, double o) {
         const auto f = Fit<FitConstraintsCone, FitOutputParamsCone>(p, o);
         return std::make_unique<OutputCone>(f.Apex(), f.Angle(), f.Axis());
       }},
      {"torus",
       [](const Vector3d& c, const Vector3d& a) { return std::make_unique<OutputTorus>(c, 1, 0.3, a); },
       [=](const OutputSurface& s, const Vector3d&, Random& r) {
         return s.Eval(r.Uniform(0, seen), r.Uniform(0, kTurn));
       },
       [](const Points& p, double o) {
         const auto f = Fit<FitConstraintsTorus, FitOutputParamsTorus>(p, o);
         return std::make_unique<OutputTorus>(f.Center(), f.MajorRadius(), f.MinorRadius(), f.Axis());
       }},
  };
}

double RootMeanSquare(const OutputShape& shape, const Points& points) {
  double sum = 0;
  for (const Vector3d& p : points) sum += std::pow(shape.Distance(p), 2);
  return std::sqrt(sum / static_cast<double>(points.size()));
}

/// One run: draws the scene, fits, and says whether the surface was found; adds the milliseconds of the fit.
bool Found(const Surface& surface, int n, double outliers, unsigned seed, double& milliseconds) {
  Random random(seed);
  const Vector3d axis = random.Normal().normalized(), center = random.Normal();
  const auto truth = surface.make(center, axis);
  const int good = n - static_cast<int>(outliers * n);
  Points inliers;
  Vector3d low = Vector3d::Constant(1e9), high = -low;
  for (int i = 0; i < good; ++i) {
    const Vector3d p = surface.point(*truth, axis, random);
    inliers.push_back(p + kNoise * random.Gauss() * truth->EvalNormal(p));
    low = low.cwiseMin(p);
    high = high.cwiseMax(p);
  }
  Points points = inliers;
  while (static_cast<int>(points.size()) < n) {
    const Vector3d share(random.Uniform(0, 1), random.Uniform(0, 1), random.Uniform(0, 1));
    points.push_back(low + share.cwiseProduct(high - low));
  }
  random.Shuffle(points);
  const primfit::ScopedSeed scope(seed);
  const auto start = std::chrono::steady_clock::now();
  bool found = false;
  try {
    found = RootMeanSquare(*surface.fit(points, outliers), inliers) < 2 * kNoise;
  } catch (const std::exception&) {  // no acceptable fit
  }
  milliseconds += std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
  return found;
}

}  // namespace

int main(int argc, char** argv) {
  const int n = argc > 1 ? std::atoi(argv[1]) : 500;
  const double outliers = argc > 2 ? std::atof(argv[2]) : 0.2;
  const double coverage = argc > 3 ? std::atof(argv[3]) : 1;
  fmt::print("| {} points, {:.0f} % outliers, {:.0f} % seen | found of {} | ms a fit |\n|---|---|---|\n", n,
             100 * outliers, 100 * coverage, kSeeds);
  for (const Surface& surface : Surfaces(coverage)) {
    int found = 0;
    double milliseconds = 0;
    for (unsigned seed = 0; seed < kSeeds; ++seed)
      found += Found(surface, n, outliers, seed, milliseconds) ? 1 : 0;
    fmt::print("| {} | {} | {:.2f} |\n", surface.name, found, milliseconds / kSeeds);
  }
}
