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
#include <filesystem>
#include <system_error>

#include "components/lv2/catalogue/clock.hpp"
#include "components/lv2/catalogue/system_text.hpp"

extern char** environ;

namespace vesk::lv2 {
namespace {

namespace fs = std::filesystem;

constexpr const char* program_name = "vesk-lv2-scan";
constexpr std::size_t max_answer = 512u << 20;

/// File actions and attributes of one spawn.
class SpawnPlan {
 public:
  explicit SpawnPlan(int output) {
    ::posix_spawn_file_actions_init(&actions_);
    ::posix_spawnattr_init(&attributes_);
    ::posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    ::posix_spawn_file_actions_adddup2(&actions_, output, STDOUT_FILENO);
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

/// Reads to the end. False when the limit passed or the answer had no end.
bool read_answer(int pipe, std::int64_t deadline_ms, Bytes& answer) {
  for (;;) {
    pollfd polled{pipe, POLLIN, 0};
    const std::int64_t left = deadline_ms - now_ms();
    if (left <= 0) return false;
    const int ready = ::poll(&polled, 1, static_cast<int>(left));
    if (ready < 0 && errno != EINTR) return false;
    if (ready <= 0) continue;
    std::byte buffer[65536];
    const ssize_t got = ::read(pipe, buffer, sizeof buffer);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return got == 0;
    answer.insert(answer.end(), buffer, buffer + got);
    if (answer.size() > max_answer) return false;
  }
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

std::optional<Bytes> ask_scanner(const std::vector<std::string>& arguments, int limit_ms,
                                 std::string& error) {
  const std::string program = scanner_path();
  if (program.empty()) {
    error = "the program vesk-lv2-scan was not found";
    return {};
  }
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) {
    error = program + ": no pipe (" + error_text(errno) + ")";
    return {};
  }
  pid_t pid = -1;
  const int failure = SpawnPlan(ends[1]).spawn(&pid, program, arguments);
  ::close(ends[1]);
  if (failure != 0) {
    ::close(ends[0]);
    error = program + ": " + error_text(failure);
    return {};
  }
  Bytes answer;
  const bool complete = read_answer(ends[0], now_ms() + limit_ms, answer);
  ::close(ends[0]);
  if (!complete) ::kill(pid, SIGKILL);
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0) {
    // Where the process lets the system collect its children, the answer has to speak for itself.
    if (errno != EINTR) {
      status = 0;
      break;
    }
  }
  if (!complete) {
    error = program + ": no answer within " + std::to_string(limit_ms / 1000) + " s";
    return {};
  }
  if (WIFSIGNALED(status)) {
    error = program + ": " + signal_text(WTERMSIG(status));
    return {};
  }
  if (WEXITSTATUS(status) != 0) {
    error = program + ": exit status " + std::to_string(WEXITSTATUS(status));
    return {};
  }
  return answer;
}

}  // namespace vesk::lv2
