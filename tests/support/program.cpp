#include "tests/support/program.hpp"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <thread>

#include "tests/support/scratch_folder.hpp"

namespace vesk::tests {
namespace {

using Clock = std::chrono::steady_clock;
constexpr auto longest_run = std::chrono::minutes(2);

/// What the user has set up does not reach the programs, nor do they leave anything with him.
void leave_home(const std::string& home) {
  for (const char* name : {"AUDIO_COMPONENT_PATH", "LV2_PATH", "XDG_CACHE_HOME", "XDG_CONFIG_HOME",
                           "XDG_DATA_HOME", "VESK_HOST", "VESK_LV2_SCAN", "VESK_MODULE_PATH"})
    unsetenv(name);
  setenv("HOME", home.c_str(), 1);
}

[[noreturn]] void become(const std::vector<std::string>& words, const ProgramOptions& options,
                         const std::string& home, int output, int errors) {
  dup2(output, STDOUT_FILENO);
  dup2(errors, STDERR_FILENO);
  leave_home(home);
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
  int output[2], errors[2];
  if (pipe2(output, O_CLOEXEC) != 0 || pipe2(errors, O_CLOEXEC) != 0) return {};
  // One for all programs of a test, which may find again what they left there.
  static const ScratchFolder home;
  const pid_t child = fork();
  if (child == 0) become(words, options, home.path(), output[1], errors[1]);
  close(output[1]);
  close(errors[1]);
  std::thread meanwhile;
  if (options.meanwhile) meanwhile = std::thread(options.meanwhile, child);

  ProgramResult result;
  const auto start = Clock::now();
  bool signal_sent = options.signal == 0;
  std::array<pollfd, 2> pipes{{{output[0], POLLIN, 0}, {errors[0], POLLIN, 0}}};
  std::string* const texts[] = {&result.output, &result.errors};
  int open_pipes = 2;
  while (open_pipes > 0) {
    poll(pipes.data(), pipes.size(), 10);
    for (std::size_t i = 0; i < pipes.size(); ++i) {
      if (pipes[i].fd < 0 || pipes[i].revents == 0) continue;
      char buffer[4096];
      const ssize_t got = read(pipes[i].fd, buffer, sizeof buffer);
      if (got > 0) {
        texts[i]->append(buffer, static_cast<std::size_t>(got));
      } else {
        close(pipes[i].fd);
        pipes[i].fd = -1;
        --open_pipes;
      }
    }
    if (!signal_sent && Clock::now() - start > options.signal_after) {
      kill(child, options.signal);
      signal_sent = true;
    }
    if (Clock::now() - start > longest_run) kill(child, SIGKILL);
  }
  // Before the process id is given back.
  if (meanwhile.joinable()) meanwhile.join();
  int status = 0;
  waitpid(child, &status, 0);
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return result;
}

std::string build_tree() {
  return std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path().string();
}

}  // namespace vesk::tests
