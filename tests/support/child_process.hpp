#pragma once

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <string>
#include <utility>

namespace vesk::tests {

/// How a forked child ended and what it wrote to standard error.
struct ChildEnd {
  int status = 0;  // as waitpid gives it
  std::string standard_error;
  bool timed_out = false;

  bool exited_with(int code) const { return WIFEXITED(status) && WEXITSTATUS(status) == code; }
  bool died_of(int number) const { return WIFSIGNALED(status) && WTERMSIG(status) == number; }
};

/// Runs `body` in a forked child, which exits with what it returns. Settings of the process
/// (limits, handlers, user) made there end with it. The child's whole group is killed after
/// `limit`.
template <typename Body>
ChildEnd run_in_child(Body body, std::chrono::seconds limit = std::chrono::seconds(30)) {
  ChildEnd end;
  int ends[2];
  if (pipe(ends) != 0) return end;
  const pid_t child = fork();
  if (child == 0) {
    setpgid(0, 0);
    dup2(ends[1], STDERR_FILENO);
    close(ends[0]);
    close(ends[1]);
    // An exception must not reach the test framework in this process.
    [&]() noexcept { _exit(body()); }();
  }
  close(ends[1]);
  const auto deadline = std::chrono::steady_clock::now() + limit;
  for (;;) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    pollfd readable = {.fd = ends[0], .events = POLLIN, .revents = 0};
    if (left.count() <= 0 || poll(&readable, 1, static_cast<int>(left.count())) == 0) {
      end.timed_out = true;
      kill(-child, SIGKILL);
      break;
    }
    char text[1024];
    const ssize_t bytes = read(ends[0], text, sizeof text);
    if (bytes <= 0) break;
    end.standard_error.append(text, static_cast<std::size_t>(bytes));
  }
  close(ends[0]);
  waitpid(child, &end.status, 0);
  return end;
}

}  // namespace vesk::tests
