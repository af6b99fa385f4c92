#include "tests/support/program.hpp"

#include <signal.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <thread>

#include "tests/support/captured_text.hpp"
#include "tests/support/wait_until.hpp"

namespace vesk::tests {
namespace {

using Clock = std::chrono::steady_clock;
constexpr auto longest_run = std::chrono::minutes(2);

[[noreturn]] void become(const std::vector<std::string>& words, const ProgramOptions& options,
                         int output, int errors) {
  dup2(output, STDOUT_FILENO);
  dup2(errors, STDERR_FILENO);
  for (const std::string& entry : options.environment) {
    const std::size_t equals = entry.find('=');
    setenv(entry.substr(0, equals).c_str(), entry.substr(equals + 1).c_str(), 1);
  }
  if (options.largest_file > 0) {
    const rlimit limit{options.largest_file, options.largest_file};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  std::vector<char*> arguments;
  for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  execv(arguments[0], arguments.data());
  _exit(127);
}

}  // namespace

ProgramResult run_program(const std::vector<std::string>& words, const ProgramOptions& options) {
  const CapturedText output, errors;
  const pid_t child = fork();
  if (child == 0) become(words, options, output.descriptor(), errors.descriptor());
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
