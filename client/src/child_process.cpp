#include "client/src/child_process.hpp"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "client/src/error_text.hpp"
#include "client/src/pipe.hpp"

namespace vesk::client {

std::unique_ptr<ChildProcess> ChildProcess::launch(const Launch& launch, std::string& error) {
  std::unique_ptr<ChildProcess> child(new ChildProcess);
  // A plugin that floods it loses lines, never time.
  Pipe output;
  if (!launch.inherit_standard_error && !output.open()) {
    error = "cannot make a pipe for the host's standard error: " + error_text(errno);
    return nullptr;
  }
  const int failure = child->spawn(launch, output.write_end());
  if (failure != 0) {
    error = "cannot start " + launch.program + ": " + error_text(failure);
    return nullptr;
  }
  // Our child is not reaped by anyone who follows the rules, so its id is still its own.
  if (!child->watch()) {
    error = "cannot watch the host process: " + error_text(errno);
    ::kill(child->pid_, SIGKILL);
    waitpid(child->pid_, nullptr, 0);
    return nullptr;
  }
  child->output_descriptor_ = output.take_read_end();
  return child;
}

ChildProcess::~ChildProcess() {
  close_output();
  if (exit_descriptor_ >= 0) close(exit_descriptor_);
}

void ChildProcess::close_output() noexcept {
  if (output_descriptor_ >= 0) close(std::exchange(output_descriptor_, -1));
}

bool ChildProcess::take_ending(Ending& ending) noexcept {
  if (taken_) return true;
  if (!wait_for_exit(std::chrono::nanoseconds(0))) return false;
  taken_ = true;
  // A parent that ignores SIGCHLD, or that waits for any child, has taken the status.
  if (reap(ending)) ending.known = true;
  return true;
}

}  // namespace vesk::client
