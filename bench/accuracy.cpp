// How far the parameters of a fit are from the truth, printed as tables in Markdown: shapes seen in part, and
// how the errors fall with the number of points. Fits have their default parameters, points have 2 mm of
// noise and no outliers. Errors are over the fits that found the shape.
//
// usage: accuracy [partial | scaling]      both without a word
#include <fmt/format.h>

#include <cmath>
#include <cstdio>
#include <exception>
#include <numbers>
#include <string>
#include <string_view>

#include "primfit/fit/scoped_seed.h"
#include "scenes.h"

namespace primfit::bench {
namespace {

using std::numbers::pi;

constexpr int kSeeds = 100;
constexpr double kDefaultOutlierShare = 0.2;

/// One parameter's errors over the seeds.
struct Spread {
  const char* parameter;
  std::string_view unit;
  double sumOfSquares = 0, largest = 0;
};

struct Statistics {
  int found = 0;
  std::vector<Spread> parameters;
  double RootMeanSquareOf(std::size_t i) const { return std::sqrt(parameters[i].sumOfSquares / found); }
};

Statistics Measure(const Primitive& primitive, const Truth& truth, int points) {
  Statistics statistics;
  const Pose own = Pose::Identity();
  for (const Error& e : primitive.errors(truth, own, *primitive.make(truth, own)))
    statistics.parameters.push_back({e.parameter, e.unit});
  for (std::uint64_t seed = 0; seed < kSeeds; ++seed) {
    const Scene scene = MakeScene(primitive, truth, {.points = points}, seed);
    const ScopedSeed scope(seed);
    try {
      const Found fit = primitive.fit(scene.points, kDefaultOutlierShare);
      if (!IsNear(scene, *fit.shape)) continue;
      ++statistics.found;
      const Errors errors = primitive.errors(truth, scene.pose, *fit.shape);
      for (std::size_t i = 0; i < errors.size(); ++i) {
        Spread& spread = statistics.parameters[i];
        spread.sumOfSquares += errors[i].value * errors[i].value;
        spread.largest = std::max(spread.largest, errors[i].value);
      }
    } catch (const std::exception&) {  // no acceptable fit
    }
  }
  return statistics;
}

/// Two or three digits that count.
std::string Short(double value) {
  return fmt::format("{:.{}f}", value,
                     value >= 100    ? 0
                     : value >= 10   ? 1
                     : value >= 0.1  ? 2
                     : value >= 0.01 ? 3
                                     : 4);
}

struct Part {
  std::string seen;
  Truth truth;
};

/// A table of one primitive: a row for each part that is seen and number of points.
void PrintParts(const char* name, const std::vector<Part>& parts) {
  const Primitive& primitive = PrimitiveNamed(name);
  bool first = true;
  for (const Part& part : parts) {
    for (const int points : {500, 5000, 50000}) {
      const Statistics statistics = Measure(primitive, part.truth, points);
      if (first) {
        fmt::print("| {} | points | found |", name);
        for (const Spread& s : statistics.parameters) fmt::print(" {}, {} |", s.parameter, s.unit);
        fmt::print("\n|---|---|---|");
        for (std::size_t i = 0; i < statistics.parameters.size(); ++i) fmt::print("---|");
        fmt::print("\n");
        first = false;
      }
      fmt::print("| {} | {} | {} |", part.seen, points, statistics.found);
      for (std::size_t i = 0; i < statistics.parameters.size(); ++i) {
        if (statistics.found == 0) {
          fmt::print(" |");
        } else {
          fmt::print(" {} / {} |", Short(statistics.RootMeanSquareOf(i)),
                     Short(statistics.parameters[i].largest));
        }
      }
      fmt::print("\n");
      std::fflush(stdout);
    }
  }
  fmt::print("\n");
}

Range Degrees(double angle) { return {0, angle * pi / 180}; }

void PrintPartial() {
  fmt::print("Errors are root mean square / largest of the fits that found the shape, of {} seeds.\n\n",
             kSeeds);
  const auto partsOf = [](const char* name, const char* text, std::initializer_list<double> angles,
                          auto&& truthAt) {
    std::vector<Part> parts;
    for (const double angle : angles)
      parts.push_back({fmt::format(fmt::runtime(text), angle), truthAt(angle)});
    PrintParts(name, parts);
  };
  partsOf("cylinder", "{:.0f} degrees", {60, 90, 180}, [](double angle) -> Truth {
    return {0.5, 0, Degrees(angle), {-1, 1}};
  });
  const Primitive& sphere = PrimitiveNamed("sphere");
  PrintParts("sphere", {{"40 % of the surface", sphere.part(sphere.truth, 0.4)}});
  partsOf("elbow", "bend of {:.0f} degrees, outer half of the tube", {30, 60, 90}, [](double angle) -> Truth {
    return {1, 0.3, Degrees(angle), {-pi / 2, pi / 2}};
  });
  partsOf("cone", "a metre, {:.0f} m from the apex", {2, 5, 10}, [](double distance) -> Truth {
    return {std::atan(0.5 / distance), 0, Degrees(360), {distance - 0.5, distance + 0.5}};
  });
  partsOf("arc", "{:.0f} degrees", {20, 45, 90, 180}, [](double angle) -> Truth {
    return {0.5, 0, Degrees(angle), {}};
  });
}

/// Least squares of n points err by a factor of sigma / sqrt(n) that depends on the shape alone: a hundred
/// times the points, a tenth of the error. Angles are taken in radians over a metre.
void PrintScaling() {
  constexpr int kFew = 500, kMany = 50000;
  fmt::print(
      "| shape | parameter | error at {0} | at {1} | ratio (10 is sigma / sqrt n) | error / (sigma / sqrt n) "
      "at {0} | at {1} | scales |\n|---|---|---|---|---|---|---|---|\n",
      kFew, kMany);
  for (const char* name : {"line", "arc", "plane", "sphere", "cylinder", "cone", "torus", "elbow"}) {
    const Primitive& primitive = PrimitiveNamed(name);
    const Statistics few = Measure(primitive, primitive.truth, kFew);
    const Statistics many = Measure(primitive, primitive.truth, kMany);
    for (std::size_t i = 0; i < few.parameters.size(); ++i) {
      const Spread& s = few.parameters[i];
      const double a = few.RootMeanSquareOf(i), b = many.RootMeanSquareOf(i);
      const double metres = s.unit == "mm" ? 1e-3 : pi / 180;
      // A root mean square over 100 seeds is known to a tenth or better.
      const bool scales = a / b > 7 && a / b < 14;
      fmt::print("| {} | {} | {} {} | {} {} | {} | {} | {} | {} |\n", name, s.parameter, Short(a), s.unit,
                 Short(b), s.unit, Short(a / b), Short(a * metres * std::sqrt(kFew) / kNoise),
                 Short(b * metres * std::sqrt(kMany) / kNoise), scales ? "yes" : "no");
    }
    std::fflush(stdout);
  }
}

}  // namespace
}  // namespace primfit::bench

int main(int argc, char** argv) {
  const std::string_view word = argc > 1 ? argv[1] : "";
  if (argc > 2 || (!word.empty() && word != "partial" && word != "scaling")) {
    fmt::print(stderr, "usage: accuracy [partial | scaling]\n");
    return 1;
  }
  if (word != "scaling") primfit::bench::PrintPartial();
  if (word != "partial") primfit::bench::PrintScaling();
}
