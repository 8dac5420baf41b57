#include "progress.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>

namespace primfit::tool {

namespace {

volatile std::sig_atomic_t interrupted = 0;

void NoteInterrupt(int) { interrupted = 1; }

constexpr int kBarWidth = 40;

}  // namespace

StopOnInterrupt::StopOnInterrupt() : before_() {
  struct sigaction action {};
  action.sa_handler = NoteInterrupt;
  sigemptyset(&action.sa_mask);
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  sigaction(SIGINT, nullptr, &before_);
  if (before_.sa_handler != SIG_IGN) sigaction(SIGINT, &action, nullptr);
}

StopOnInterrupt::~StopOnInterrupt() { sigaction(SIGINT, &before_, nullptr); }

bool StopOnInterrupt::Requested() { return interrupted != 0; }

void Progress::ReportProgress(double fraction) {
  if (!draw_) return;
  const auto now = std::chrono::steady_clock::now();
  if (now < next_) return;
  next_ = now + std::chrono::milliseconds(100);
  const double share = std::clamp(fraction, 0.0, 1.0);
  const std::string bar(static_cast<std::size_t>(std::lround(share * kBarWidth)), '#');
  std::fputs(fmt::format("\rsearching [{:<{}}] {:3.0f} %", bar, kBarWidth, 100 * share).c_str(), stderr);
  drawn_ = true;
}

bool Progress::StopRequested() {
  if (StopOnInterrupt::Requested()) stopped_ = true;
  return stopped_;
}

void Progress::Clear() {
  if (drawn_) std::fputs(fmt::format("\r{:{}}\r", "", kBarWidth + 20).c_str(), stderr);
  drawn_ = false;
}

}  // namespace primfit::tool
