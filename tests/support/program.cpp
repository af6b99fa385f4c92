#include "tests/support/program.hpp"

#include <signal.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <thread>

#include "tests/support/captured_text.hpp"
#include "tests/support/child_process.hpp"
#include "tests/support/wait_until.hpp"

namespace vesk::tests {
namespace {

using Clock = std::chrono::steady_clock;
constexpr auto longest_run = std::chrono::minutes(2);

[[noreturn]] void start(const std::vector<std::string>& words, const ProgramOptions& options,
                        int output, int errors) {
  dup2(output, STDOUT_FILENO);
  dup2(errors, STDERR_FILENO);
  enter_environment(options.environment);
  if (options.largest_file > 0) {
    const rlimit limit{options.largest_file, options.largest_file};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  become(words);
}

}  // namespace

ProgramResult run_program(const std::vector<std::string>& words, const ProgramOptions& options) {
  const CapturedText output, errors;
  const pid_t child = fork();
  if (child == 0) start(words, options, output.descriptor(), errors.descriptor());
  std::thread meanwhile;
  if (options.meanwhile) meanwhile = std::thread(options.meanwhile, child);

  const auto start = Clock::now();
  bool signal_sent = options.signal == 0;
  const auto has_ended = [&] {
    if (!signal_sent && Clock::now() - start > options.signal_after) {
      kill(child, options.signal);
      signal_sent = true;
    }
    siginfo_t info{};
    return waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOHANG | WNOWAIT) != 0 ||
           info.si_pid == child;
  };
  if (!wait_until(has_ended, longest_run)) kill(child, SIGKILL);
  // Before the process id is given back.
  if (meanwhile.joinable()) meanwhile.join();
  int status = 0;
  waitpid(child, &status, 0);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), output.text(),
          errors.text()};
}

std::string build_tree() {
  return std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path().string();
}

}  // namespace vesk::tests
