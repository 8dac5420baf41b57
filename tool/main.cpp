// The program primfit: the streams and signals of its process, and all else in cli/.
#include "cli/main.h"

#include <signal.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

#include "cli/errors.h"
#include "io/readers.h"

namespace {

volatile sig_atomic_t stoppable = 0;
volatile sig_atomic_t interrupted = 0;

// Called from handlers of signals, so only functions that are safe in one may follow.
template <std::size_t size>
[[noreturn]] void End(const char (&text)[size], int status) {
  const ssize_t ignored = ::write(STDERR_FILENO, text, size - 1);
  static_cast<void>(ignored);
  ::_exit(status);
}

// The first Ctrl-C during a search only asks it to stop; any other ends the program.
void Interrupt(int) {
  if (stoppable != 0 && interrupted == 0)
    interrupted = 1;
  else
    End("primfit: stopped by Ctrl-C before there was a result\n", primfit::cli::kInterrupted);
}

// A mapped file that another program cuts short raises SIGBUS.
void FileShrank(int) {
  End("primfit: the input became shorter while it was read; try again when it is complete\n",
      primfit::cli::kTrouble);
}

void HandleSignals() {
  signal(SIGPIPE, SIG_IGN);  // so that a closed pipe is an error like any other,
  signal(SIGXFSZ, SIG_IGN);  // and a file that becomes longer than its user may write
  signal(SIGBUS, FileShrank);
  struct sigaction before {};
  struct sigaction action {};
  action.sa_handler = Interrupt;
  sigemptyset(&action.sa_mask);
  action.sa_flags = SA_RESTART;
  sigaction(SIGINT, nullptr, &before);
  if (before.sa_handler != SIG_IGN) sigaction(SIGINT, &action, nullptr);  // ignored under nohup
}

bool IsFileOrPipe(int descriptor) {
  struct stat status {};
  return ::fstat(descriptor, &status) == 0 && (S_ISREG(status.st_mode) || S_ISFIFO(status.st_mode));
}

/// What the user says wins over what the terminal says; neither counts below 1.
int Columns() {
  const char* told = std::getenv("COLUMNS");
  const int columns = told != nullptr ? std::atoi(told) : 0;  // 0 for what is no number
  if (columns > 0) return columns;
  struct winsize size {};
  return ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

}  // namespace

int main(int argc, char** argv) {
  HandleSignals();
  const std::vector<std::string> arguments(argv + std::min(argc, 1), argv + argc);
  const primfit::cli::Host host{.out = std::cout,
                                .err = std::cerr,
                                .errIsTerminal = ::isatty(STDERR_FILENO) == 1,
                                .inputIsRedirected = IsFileOrPipe(STDIN_FILENO),
                                .columns = Columns(),
                                .stopRequested = [] { return interrupted != 0; },
                                .setStoppable = [](bool now) { stoppable = now ? 1 : 0; }};
  return primfit::cli::Main(arguments, host, primfit::io::NativeReaders());
}
