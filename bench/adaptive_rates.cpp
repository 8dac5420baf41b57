// How often primfit::fit finds each shape without being told anything, how far it is from the limit that the
// noise sets, and how long it takes; 100 seeds a cell unless told otherwise, printed as tables in Markdown.
//
// usage: adaptive_rates [--seeds N]                    the tables
//        adaptive_rates POINTS OUTLIERS [SEEN [SHAPE]] one row of each, such as 5000 0.6 0.5 torus
#include <fmt/format.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

#include "adaptive/model/model.h"
#include "adaptive/model/refine.h"
#include "primfit/fit/scoped_seed.h"
#include "scenes.h"

namespace primfit::bench {
namespace {

int seeds = 100;
constexpr const char* kShapes[] = {"line", "arc", "plane", "sphere", "cylinder", "cone", "torus"};

double Median(std::vector<double> values) {
  if (values.empty()) return 0;
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

struct Cell {
  int found = 0;
  double ratio = 0;         // median error to that of least squares on the true points
  double milliseconds = 0;  // median
};

Cell Measure(const Primitive& primitive, int points, double outliers, double seen) {
  Cell cell;
  std::vector<double> errors, limits, times;
  for (std::uint64_t seed = 0; seed < static_cast<std::uint64_t>(seeds); ++seed) {
    const Scene scene = MakeScene(primitive, primitive.part(primitive.truth, seen),
                                  {.points = points, .outliers = outliers, .around = 1.5}, seed);
    Random random(seed);
    const Points exact = PointsOn(primitive, scene.truth, scene.pose, 500, 0, random);
    const ScopedSeed scope(seed);
    const auto start = std::chrono::steady_clock::now();
    try {
      const Found fit = primitive.adaptive(scene.points);
      times.push_back(
          std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
      if (!IsNear(scene, *fit.shape)) continue;
      ++cell.found;
      errors.push_back(RootMeanSquare(*fit.shape, exact));
    } catch (const std::exception&) {  // nothing stands out
      continue;
    }
    const auto truth = ModelOf(*primitive.make(scene.truth, scene.pose));
    if (const auto best = adaptive::Refine(truth, 0, adaptive::RefsOf(scene.inliers), 50)) {
      WithShape(*best, [&](const OutputShape& s) { limits.push_back(RootMeanSquare(s, exact)); });
    }
  }
  cell.ratio = Median(errors) / Median(limits);
  cell.milliseconds = Median(times);
  return cell;
}

struct Row {
  int points;
  double outliers, seen;
};

void PrintRow(const Row& row, std::string_view only) {
  std::string found, ratio, time;
  for (const std::string_view shape : kShapes) {
    if (!only.empty() && shape != only) continue;
    const Cell cell = Measure(PrimitiveNamed(shape), row.points, row.outliers, row.seen);
    found += fmt::format(" {} |", cell.found);
    ratio += fmt::format(" {:.2f} |", cell.ratio);
    time += fmt::format(" {:.3g} |", cell.milliseconds);
  }
  for (const auto& [what, cells] : {std::pair{"found", found}, {"error / limit", ratio}, {"ms", time}})
    fmt::print("| {} | {:.0f} % | {:.2g} | {} |{}\n", row.points, 100 * row.outliers, row.seen, what, cells);
  std::fflush(stdout);
}

void PrintRows(const std::vector<Row>& rows, std::string_view only = {}) {
  std::string names, rule;
  for (const std::string_view shape : kShapes) {
    if (!only.empty() && shape != only) continue;
    names += fmt::format(" {} |", shape);
    rule += "---|";
  }
  fmt::print("| points | outliers | seen | |{}\n|---|---|---|---|{}\n", names, rule);
  for (const Row& row : rows) PrintRow(row, only);
}

}  // namespace
}  // namespace primfit::bench

int main(int argc, char** argv) {
  using namespace primfit::bench;
  if (argc == 3 && std::string_view(argv[1]) == "--seeds") {
    seeds = std::atoi(argv[2]);
  } else if (argc > 2) {
    PrintRows({{std::atoi(argv[1]), std::atof(argv[2]), argc > 3 ? std::atof(argv[3]) : 1}},
              argc > 4 ? argv[4] : "");
    return 0;
  }
  std::vector<Row> rows;
  for (const double outliers : {0.0, 0.2, 0.5, 0.8}) {
    for (const int points : {1000, 10000, 100000}) {
      for (const double seen : {1.0, 0.5, 1.0 / 6}) rows.push_back({points, outliers, seen});
    }
  }
  PrintRows(rows);
  return 0;
}
