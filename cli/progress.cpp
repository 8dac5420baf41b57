#include "cli/progress.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <string>

#include "cli/errors.h"

namespace primfit::cli {

namespace {

volatile std::sig_atomic_t searching = 0;
volatile std::sig_atomic_t interrupted = 0;

// Only functions that are safe in a handler may follow.
void Interrupt(int) {
  if (searching != 0 && interrupted == 0) {
    interrupted = 1;
    return;
  }
  constexpr char kText[] = "primfit: stopped by Ctrl-C before there was a result\n";
  const ssize_t ignored = ::write(STDERR_FILENO, kText, sizeof kText - 1);
  static_cast<void>(ignored);
  ::_exit(kInterrupted);
}

constexpr int kBarWidth = 40;

}  // namespace

void EndOnInterrupt() {
  struct sigaction before {};
  struct sigaction action {};
  action.sa_handler = Interrupt;
  sigemptyset(&action.sa_mask);
  action.sa_flags = SA_RESTART;
  sigaction(SIGINT, nullptr, &before);
  if (before.sa_handler != SIG_IGN) sigaction(SIGINT, &action, nullptr);
}

StopOnInterrupt::StopOnInterrupt() { searching = 1; }

StopOnInterrupt::~StopOnInterrupt() { searching = 0; }

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

}  // namespace primfit::cli
