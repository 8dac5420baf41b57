// primfit and other libraries on the same clouds, in one run: time, how often each finds the shape, and how
// far its parameters are from the truth, printed as tables in Markdown.
//
// usage: peers [POINTS] [SEEDS]    100000 points and 10 seeds unless told
#include "peers.h"

#include <fmt/format.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <string>

#include "optimize/optimizers.h"
#include "primfit/fit/scoped_seed.h"

namespace primfit::bench {
namespace {

using Shape = std::shared_ptr<const OutputShape>;

double Median(std::vector<double> values) {
  if (values.empty()) return 0;
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

/// Milliseconds, results and judgement of one library over all seeds of a scene.
struct Tally {
  std::vector<double> times;
  std::vector<Errors> errors;  // of the shapes that were found

  void Run(const Primitive& primitive, const Scene& scene, const std::function<Shape()>& fit) {
    const auto start = std::chrono::steady_clock::now();
    Shape shape;
    try {
      shape = fit();
    } catch (const std::exception&) {  // no acceptable fit
    }
    times.push_back(
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
    if (shape && IsNear(scene, *shape)) errors.push_back(primitive.errors(scene.truth, scene.pose, *shape));
  }
  /// Such as "radius 0.012 mm, axis 0.003 deg"; medians.
  std::string MedianErrors() const {
    std::string text;
    for (std::size_t i = 0; !errors.empty() && i < errors[0].size(); ++i) {
      std::vector<double> values;
      for (const Errors& one : errors) values.push_back(one[i].value);
      text += fmt::format("{}{} {:.2g} {}", i > 0 ? ", " : "", errors[0][i].parameter, Median(values),
                          errors[0][i].unit);
    }
    return text.empty() ? "-" : text;
  }
  void Print(std::string_view row) const {
    fmt::print("| {} | {:.3g} | {} of {} | {} |\n", row, Median(times), errors.size(), times.size(),
               MedianErrors());
    std::fflush(stdout);
  }
};

constexpr const char* kColumns = "| time, ms | found | median errors |\n|---|---|---|---|\n";

void CompareFits(int points, int seeds) {
  fmt::print("| shape, outliers, library {}", kColumns);
  for (const double outliers : {0.2, 0.5}) {
    for (const char* name : {"line", "plane", "sphere", "cylinder", "cone", "torus"}) {
      const Primitive& primitive = PrimitiveNamed(name);
      Tally ours, pcl, cgal;
      for (int seed = 0; seed < seeds; ++seed) {
        const Scene scene = MakeScene(primitive, primitive.truth, {.points = points, .outliers = outliers},
                                      static_cast<std::uint64_t>(seed));
        ours.Run(primitive, scene, [&]() -> Shape {
          const ScopedSeed scope(static_cast<std::uint64_t>(seed));
          return primitive.fit(scene.points, outliers).shape;
        });
        if (std::string_view(name) != "torus")
          pcl.Run(primitive, scene, [&]() -> Shape { return FitByPcl(name, scene.points); });
        if (std::string_view(name) != "line")
          cgal.Run(primitive, scene, [&]() -> Shape { return FitByCgal(name, scene.points); });
      }
      const std::string row = fmt::format("{}, {:.0f} %, ", name, 100 * outliers);
      ours.Print(row + "primfit");
      if (!pcl.times.empty()) pcl.Print(row + "PCL");
      if (!cgal.times.empty()) cgal.Print(row + "CGAL");
    }
  }
}

void CompareRefinements(int points, int seeds) {
  fmt::print("\n| shape, library {}", kColumns);
  for (const char* name : {"sphere", "cylinder"}) {
    const Primitive& primitive = PrimitiveNamed(name);
    Tally ours, ceres;
    for (int seed = 0; seed < seeds; ++seed) {
      const Scene scene =
          MakeScene(primitive, primitive.truth, {.points = points}, static_cast<std::uint64_t>(seed));
      Pose beside = scene.pose;
      beside.rotate(Eigen::AngleAxisd(0.005, Eigen::Vector3d::UnitX()))
          .translate(Eigen::Vector3d(0.003, 0, 0));
      Truth other = scene.truth;
      other.size *= 1.005;
      const Shape start = primitive.make(other, beside);
      const int n = static_cast<int>(scene.points.size());
      ours.Run(primitive, scene, [&]() -> Shape {
        constexpr double kScannerError = 0.006;
        if (std::string_view(name) == "sphere")
          return Shape(
              SphereOptimizer(kScannerError, false, nullptr).Optimize(n, scene.points.data(), start.get()));
        return Shape(
            CylinderOptimizer(kScannerError, false, nullptr).Optimize(n, scene.points.data(), start.get()));
      });
      ceres.Run(primitive, scene, [&]() -> Shape { return RefineByCeres(name, scene.points, *start); });
    }
    ours.Print(std::string(name) + ", primfit");
    ceres.Print(std::string(name) + ", Ceres");
  }
}

}  // namespace
}  // namespace primfit::bench

int main(int argc, char** argv) {
  const int points = argc > 1 ? std::atoi(argv[1]) : 100000, seeds = argc > 2 ? std::atoi(argv[2]) : 10;
  primfit::bench::CompareFits(points, seeds);
  primfit::bench::CompareRefinements(points * 4 / 5, seeds);
  return 0;
}
