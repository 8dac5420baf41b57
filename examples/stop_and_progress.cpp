// Fits a plane while it shows how far the search is, and stops it when the user has waited long enough. A
// host with windows does the same: the two functions are called on the thread that called the fit, which need
// not be that of the windows.
//
//   gunzip -k data/room.xyz.gz
//   stop_and_progress data/room.xyz 0.5
#include <primfit/fit.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>

#include "read_points.h"

namespace {

using Clock = std::chrono::steady_clock;

/// Draws the share that is done, and asks for a stop after some seconds.
class Patience : public FitProgressUpdater {
 public:
  explicit Patience(double seconds)
      : end_(Clock::now() +
             std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds))) {}

  /// @param share  of the work; it never runs back, and stays below 1 until the fit returns
  void ReportProgress(double share) override { std::fprintf(stderr, "\rsearching %3.0f %%", 100 * share); }
  /// Asked often, so that it has to be quick.
  bool StopRequested() override { return Clock::now() >= end_; }

 private:
  Clock::time_point end_;
};

}  // namespace

int main(int argc, char** argv) {
  const double seconds = argc == 3 ? std::atof(argv[2]) : 0;
  if (!(seconds > 0)) {
    std::fprintf(stderr, "usage: stop_and_progress FILE SECONDS\n");
    return 2;
  }
  try {
    const std::vector<Eigen::Vector3d> points = ReadPoints(argv[1]);
    Patience patience(seconds);
    primfit::FitOptions<primfit::Plane> options;
    options.seed = 1;
    options.noise = 0.01;  // metres; it is known of this scanner
    options.progress = &patience;

    const auto fit = primfit::fit<primfit::Plane>(points, options);

    // After a stop the best plane found until then comes out, if there was one.
    const bool stopped = fit.report.stopReason == primfit::StopReason::kStopped;
    const Eigen::Vector3d normal = fit.shape.Normal();
    std::printf("\nnormal %.6f %.6f %.6f with %zu points%s: %s\n", normal.x(), normal.y(), normal.z(),
                fit.inliers.size(), stopped ? ", stopped early" : "", fit.report.reason.c_str());
    return 0;
  } catch (const primfit::FitError& error) {
    if (error.Code() == primfit::FitErrorCode::kNothingBeforeStop)
      std::fprintf(stderr, "\nno plane yet: allow more seconds\n");
    else
      std::fprintf(stderr, "\nno plane: %s\n", error.what());
    return 1;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 2;
  }
}
