#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <string>
#include <vector>

#include "tests/support/captured_text.hpp"
#include "tests/support/wait_until.hpp"

namespace vesk::tests {

/// How a forked child ended and what it wrote to standard error.
struct ChildEnd {
  int status = 0;  // as waitpid gives it
  std::string standard_error;

  bool exited_with(int code) const { return WIFEXITED(status) && WEXITSTATUS(status) == code; }
  bool died_of(int number) const { return WIFSIGNALED(status) && WTERMSIG(status) == number; }
};

/// Runs `body` in a forked child, which exits with what it returns. Settings of the process
/// (limits, handlers, user) made there end with it. The child's whole group is killed after
/// `limit`.
template <typename Body>
ChildEnd run_in_child(Body body, std::chrono::seconds limit = std::chrono::seconds(30)) {
  const CapturedText errors;
  const pid_t child = fork();
  if (child == 0) {
    setpgid(0, 0);
    dup2(errors.descriptor(), STDERR_FILENO);
    // An exception must not reach the test framework in this process.
    [&]() noexcept { _exit(body()); }();
  }
  ChildEnd end;
  if (!wait_until([&] { return waitpid(child, &end.status, WNOHANG) != 0; }, limit)) {
    kill(-child, SIGKILL);
    waitpid(child, &end.status, 0);
  }
  end.standard_error = errors.text();
  return end;
}

/// In a forked child: becomes the program `words[0]`, which is looked for in PATH.
[[noreturn]] inline void become(const std::vector<std::string>& words) {
  std::vector<char*> arguments;
  for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  execvp(arguments[0], arguments.data());
  _exit(127);
}

/// In a forked child: takes "NAME=value" entries into the environment.
inline void enter_environment(const std::vector<std::string>& entries) {
  for (const std::string& entry : entries) putenv(const_cast<char*>(entry.c_str()));
}

}  // namespace vesk::tests
