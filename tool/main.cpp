// The program primfit: the streams and signals of its process, and all else in cli/.
#include "cli/main.h"

#include <signal.h>
#include <unistd.h>

#include <algorithm>
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

}  // namespace

int main(int argc, char** argv) {
  HandleSignals();
  const std::vector<std::string> arguments(argv + std::min(argc, 1), argv + argc);
  const primfit::cli::Host host{.out = std::cout,
                                .err = std::cerr,
                                .errIsTerminal = ::isatty(STDERR_FILENO) == 1,
                                .stopRequested = [] { return interrupted != 0; },
                                .setStoppable = [](bool now) { stoppable = now ? 1 : 0; }};
  return primfit::cli::Main(arguments, host, primfit::io::NativeReaders());
}
