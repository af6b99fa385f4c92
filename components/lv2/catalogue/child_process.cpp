#include "components/lv2/catalogue/child_process.hpp"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

extern char** environ;

namespace vesk::lv2 {
namespace {

/// File actions and attributes of one spawn.
class SpawnPlan {
 public:
  SpawnPlan(int input, int output) {
    ::posix_spawn_file_actions_init(&actions_);
    ::posix_spawnattr_init(&attributes_);
    // In this order: in a host without standard input the output may be descriptor 0.
    ::posix_spawn_file_actions_adddup2(&actions_, output, STDOUT_FILENO);
    if (input >= 0)
      ::posix_spawn_file_actions_adddup2(&actions_, input, STDIN_FILENO);
    else
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

}  // namespace

bool ChildProcess::start(const std::string& program, const std::vector<std::string>& arguments,
                         int input, int output, std::string& error) {
  if (const int failure = SpawnPlan(input, output).spawn(&pid_, program, arguments); failure != 0) {
    pid_ = -1;
    error = program + ": " + std::system_category().message(failure);
    return false;
  }
  process_ = File::of_process(pid_);
  return true;
}

bool ChildProcess::wait(int limit_ms) {
  if (pid_ < 0) return true;
  if (!process_.is_open()) {
    siginfo_t ended{};
    const int options = WEXITED | WNOWAIT | (limit_ms == 0 ? WNOHANG : 0);
    return ::waitid(P_PID, static_cast<id_t>(pid_), &ended, options) != 0 || ended.si_pid != 0;
  }
  pollfd polled{process_.descriptor(), POLLIN, 0};
  int ready = 0;
  do ready = ::poll(&polled, 1, limit_ms);
  while (ready < 0 && errno == EINTR);
  return ready != 0;
}

void ChildProcess::end() {
  if (pid_ < 0) return;
  if (!wait(0)) ::kill(pid_, SIGKILL);
  pid_t collected = -1;
  do collected = ::waitpid(pid_, &status_, 0);
  while (collected < 0 && errno == EINTR);
  // Where the process lets the system collect its children, their work has to speak for itself.
  if (collected < 0) status_ = 0;
  pid_ = -1;
  process_.close();
}

std::string ChildProcess::failure() const {
  if (WIFSIGNALED(status_)) return ::strsignal(WTERMSIG(status_));
  return WEXITSTATUS(status_) != 0 ? "exit status " + std::to_string(WEXITSTATUS(status_)) : "";
}

}  // namespace vesk::lv2
