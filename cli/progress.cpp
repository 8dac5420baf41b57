#include "cli/progress.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <string>

namespace primfit::cli {

namespace {

constexpr int kBarWidth = 40;

}  // namespace

void Progress::ReportProgress(double fraction) {
  if (!draw_) return;
  const auto now = std::chrono::steady_clock::now();
  if (now < next_) return;
  next_ = now + std::chrono::milliseconds(100);
  const double share = std::clamp(fraction, 0.0, 1.0);
  const std::string bar(static_cast<std::size_t>(std::lround(share * kBarWidth)), '#');
  host_.err << fmt::format("\rsearching [{:<{}}] {:3.0f} %", bar, kBarWidth, 100 * share) << std::flush;
  drawn_ = true;
}

bool Progress::StopRequested() {
  if (host_.stopRequested()) stopped_ = true;
  return stopped_;
}

void Progress::Clear() {
  if (drawn_) host_.err << fmt::format("\r{:{}}\r", "", kBarWidth + 20) << std::flush;
  drawn_ = false;
}

}  // namespace primfit::cli
