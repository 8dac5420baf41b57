// How much memory primfit::fit takes beside the caller's points: the peak of the resident memory during the
// fit less that before it, in bytes a point. Each fit runs in a process of its own, so that none finds memory
// that another has left. Printed as a table in Markdown.
//
// usage: fit_memory [POINTS]   default 2000000
#include <fmt/format.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "primfit/fit.h"
#include "scenes.h"

namespace primfit::bench {
namespace {

constexpr double kClutter = 0.2;

/// A pipe of half a metre among clutter, made in place: a second array would be in the peak.
template <class Number>
std::vector<Number> PipePoints(std::size_t count) {
  std::vector<Number> coordinates;
  coordinates.reserve(3 * count);
  Random random(1);
  const auto add = [&](double value) { coordinates.push_back(static_cast<Number>(value)); };
  for (std::size_t i = 0; i < count; ++i) {
    if (random.Uniform(0, 1) < kClutter) {
      for (const double half : {0.6, 0.6, 1.2}) add(random.Uniform(-half, half));
      continue;
    }
    const Eigen::Vector3d across(random.Gauss(), random.Gauss(), 0);
    const Eigen::Vector3d onPipe = (0.5 + kNoise * random.Gauss()) * across.normalized();
    add(onPipe.x()), add(onPipe.y()), add(random.Uniform(-1, 1));
  }
  return coordinates;
}

double PeakResident() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return 1024 * static_cast<double>(usage.ru_maxrss);  // kilobytes
}

double Resident() {
  std::ifstream statm("/proc/self/statm");
  double size = 0, resident = 0;
  statm >> size >> resident;
  return resident * static_cast<double>(sysconf(_SC_PAGESIZE));
}

template <class Number>
void PrintRow(const char* name, std::size_t count) {
  std::fflush(stdout);
  if (const pid_t child = fork(); child != 0) {
    waitpid(child, nullptr, 0);
    return;
  }
  const std::vector<Number> coordinates = PipePoints<Number>(count);
  FitOptions<Cylinder> options;
  options.seed = 1;
  const double before = Resident();
  const auto fit = primfit::fit<Cylinder>(PointView(coordinates.data(), count), options);
  fmt::print("| {} | {} | {:.1f} | {} |\n", name, 3 * sizeof(Number),
             (PeakResident() - before) / static_cast<double>(count), fit.inliers.size());
  std::fflush(stdout);
  std::_Exit(0);
}

}  // namespace
}  // namespace primfit::bench

int main(int argc, char** argv) {
  using namespace primfit::bench;
  const std::size_t count = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 2000000;
  fmt::print("| {} points | bytes a point given | bytes a point beside them | inliers |\n", count);
  fmt::print("|---|---|---|---|\n");
  PrintRow<double>("doubles", count);
  PrintRow<float>("floats", count);
  return 0;
}
