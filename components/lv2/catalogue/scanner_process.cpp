#include "components/lv2/catalogue/scanner_process.hpp"

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

extern char** environ;

namespace vesk::lv2 {
namespace {

namespace fs = std::filesystem;

constexpr const char* program_name = "vesk-lv2-scan";

/// File actions and attributes of one spawn.
class SpawnPlan {
 public:
  explicit SpawnPlan(int output) {
    ::posix_spawn_file_actions_init(&actions_);
    ::posix_spawnattr_init(&attributes_);
    // In this order: in a host without standard input the output may be descriptor 0.
    ::posix_spawn_file_actions_adddup2(&actions_, output, STDOUT_FILENO);
    ::posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    ::posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1);
    // A host ignores and blocks signals for reasons of its own.
    sigset_t signals;
    ::sigemptyset(&signals);
    ::posix_spawnattr_setsigmask(&attributes_, &signals);
    ::sigfillset(&signals);
    ::posix_spawnattr_setsigdefault(&attributes_, &signals);
    ::posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  }
  ~SpawnPlan() {
    ::posix_spawn_file_actions_destroy(&actions_);
    ::posix_spawnattr_destroy(&attributes_);
  }
  SpawnPlan(const SpawnPlan&) = delete;
  SpawnPlan& operator=(const SpawnPlan&) = delete;

  int spawn(pid_t* pid, const std::string& program, const std::vector<std::string>& arguments) {
    std::vector<char*> words{const_cast<char*>(program.c_str())};
    for (const std::string& argument : arguments)
      words.push_back(const_cast<char*>(argument.c_str()));
    words.push_back(nullptr);
    return ::posix_spawn(pid, program.c_str(), &actions_, &attributes_, words.data(), environ);
  }

 private:
  posix_spawn_file_actions_t actions_;
  posix_spawnattr_t attributes_;
};

/// False when the limit passed. Without a descriptor to wait by there is no limit.
bool wait_for_end(pid_t pid, int limit_ms) {
  const File process = File::of_process(pid);
  if (!process.is_open()) return true;
  pollfd polled{process.descriptor(), POLLIN, 0};
  int ready = 0;
  do ready = ::poll(&polled, 1, limit_ms);
  while (ready < 0 && errno == EINTR);
  return ready != 0;
}

}  // namespace

std::string scanner_path() {
  if (const char* path = std::getenv("VESK_LV2_SCAN"); path && *path) return path;
  std::vector<fs::path> candidates;
  std::error_code error;
  const fs::path program = fs::read_symlink("/proc/self/exe", error).parent_path();
  if (!error) {
    candidates.push_back(program / program_name);
    candidates.push_back(program / ".." / "bin" / program_name);
  }
  Dl_info module{};
  if (::dladdr(reinterpret_cast<const void*>(&scanner_path), &module) != 0 && module.dli_fname) {
    candidates.push_back(fs::path(module.dli_fname).parent_path() / ".." / ".." / "bin" /
                         program_name);
  }
  for (const fs::path& candidate : candidates)
    if (::access(candidate.c_str(), X_OK) == 0) return candidate.string();
  return {};
}

std::optional<File> ask_scanner(const std::vector<std::string>& arguments, int limit_ms,
                                std::string& error) {
  const std::string program = scanner_path();
  if (program.empty()) {
    error = "the program vesk-lv2-scan was not found";
    return {};
  }
  File answer = File::in_memory();
  pid_t pid = -1;
  const int failure =
      answer.is_open() ? SpawnPlan(answer.descriptor()).spawn(&pid, program, arguments) : errno;
  if (failure != 0) {
    error = program + ": " + std::system_category().message(failure);
    return {};
  }
  const bool ended = wait_for_end(pid, limit_ms);
  if (!ended) ::kill(pid, SIGKILL);
  int status = 0;
  pid_t collected = -1;
  do collected = ::waitpid(pid, &status, 0);
  while (collected < 0 && errno == EINTR);
  // Where the process lets the system collect its children, the answer has to speak for itself.
  if (collected < 0) status = 0;
  if (!ended)
    error = program + ": no answer within " + std::to_string(limit_ms / 1000) + " s";
  else if (WIFSIGNALED(status))
    error = program + ": " + ::strsignal(WTERMSIG(status));
  else if (WEXITSTATUS(status) != 0)
    error = program + ": exit status " + std::to_string(WEXITSTATUS(status));
  else
    return answer;
  return {};
}

}  // namespace vesk::lv2
