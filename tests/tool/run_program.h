// Runs the built program as a shell or a terminal would.
#ifndef PRIMFIT_TESTS_TOOL_RUN_PROGRAM_H_
#define PRIMFIT_TESTS_TOOL_RUN_PROGRAM_H_

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace run_program {

struct Outcome {
  int status = -1;  ///< exit status, or minus the signal that ended it
  std::string out;
  std::string err;
};

struct How {
  std::string input = "/dev/null";  ///< file for standard input
  std::string output = {};          ///< file for standard output; empty: captured
  bool closedPipe = false;          ///< standard output is a pipe that nobody reads
  long longestFile = 0;             ///< bytes of a file that it may write; 0: any
  bool terminal = false;            ///< standard error is the controlling terminal
  std::function<void(pid_t child)> onStart = {};
  /// Called after every piece of standard error with all of it and the terminal.
  std::function<void(const std::string& err, int terminal)> onError = {};
};

inline void Redirect(const std::string& path, int flags, int to) {
  const int file = ::open(path.c_str(), flags);
  if (file < 0 || ::dup2(file, to) < 0) ::_exit(99);
}

[[noreturn]] inline void Exec(const char* program, const std::vector<std::string>& arguments, const How& how,
                              int out, int err) {
  Redirect(how.input, O_RDONLY, STDIN_FILENO);
  if (!how.output.empty()) {
    Redirect(how.output, O_WRONLY, STDOUT_FILENO);
  } else {
    ::dup2(out, STDOUT_FILENO);
  }
  if (how.terminal) {
    ::setsid();
    ::ioctl(err, TIOCSCTTY, 0);
  }
  ::dup2(err, STDERR_FILENO);
  const rlimit longest{static_cast<rlim_t>(how.longestFile), RLIM_INFINITY};
  if (how.longestFile > 0) ::setrlimit(RLIMIT_FSIZE, &longest);
  std::vector<char*> argv = {const_cast<char*>(program)};
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  ::execv(program, argv.data());
  ::_exit(98);
}

inline Outcome LaunchOf(const char* program, const std::vector<std::string>& arguments, const How& how = {}) {
  std::array<int, 2> out{};
  std::array<int, 2> err{};
  if (::pipe2(out.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  if (how.terminal) {
    err[0] = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    ::grantpt(err[0]);
    ::unlockpt(err[0]);
    err[1] = ::open(::ptsname(err[0]), O_RDWR | O_NOCTTY | O_CLOEXEC);
  } else if (::pipe2(err.data(), O_CLOEXEC) != 0) {
    throw std::runtime_error("no pipe");
  }
  const pid_t child = ::fork();
  if (child == 0) {
    if (how.closedPipe) ::close(out[0]);
    Exec(program, arguments, how, out[1], err[1]);
  }
  ::close(out[1]);
  ::close(err[1]);
  if (how.closedPipe) ::close(out[0]);
  if (how.onStart) how.onStart(child);
  Outcome outcome;
  std::array<pollfd, 2> files = {pollfd{how.closedPipe ? -1 : out[0], POLLIN, 0}, pollfd{err[0], POLLIN, 0}};
  while (files[0].fd >= 0 || files[1].fd >= 0) {
    ::poll(files.data(), files.size(), -1);
    for (pollfd& file : files) {
      if (file.fd < 0 || file.revents == 0) continue;
      std::array<char, 4096> piece{};
      const ssize_t got =
          ::read(file.fd, piece.data(), piece.size());  // fails when the terminal's last user is gone
      const bool isError = &file == &files[1];
      if (got > 0) (isError ? outcome.err : outcome.out).append(piece.data(), static_cast<std::size_t>(got));
      if (got > 0 && isError && how.onError) how.onError(outcome.err, file.fd);
      if (got > 0) continue;
      ::close(file.fd);
      file.fd = -1;
    }
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  return outcome;
}

inline Outcome Launch(const std::vector<std::string>& arguments, const How& how = {}) {
  return LaunchOf(PRIMFIT_PROGRAM, arguments, how);
}

}  // namespace run_program

#endif  // PRIMFIT_TESTS_TOOL_RUN_PROGRAM_H_
