#include "tools/program/child_program.hpp"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <sstream>
#include <string_view>
#include <system_error>

extern char** environ;

namespace vesk::tools {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t most_output = std::size_t{64} << 20;
constexpr std::size_t most_errors = std::size_t{64} << 10;
constexpr int look_interval_ms = 20;
constexpr auto patience = std::chrono::seconds(3);  // with one that was asked to end

/// A pipe whose ends are closed with their owner. The reading end does not block.
class Pipe {
 public:
  Pipe() {
    if (pipe(ends_.data()) != 0) return;
    for (const int end : ends_) (void)fcntl(end, F_SETFD, FD_CLOEXEC);
    (void)fcntl(ends_[0], F_SETFL, O_NONBLOCK);
  }
  ~Pipe() {
    close_end(0);
    close_end(1);
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;

  bool is_open() const { return ends_[0] >= 0; }
  int reading_end() const { return ends_[0]; }
  int writing_end() const { return ends_[1]; }
  void close_writing_end() { close_end(1); }

  /// Moves what is there behind `text`, of which the last `most` bytes are kept.
  void drain(std::string& text, std::size_t most) {
    char bytes[65'536];
    while (is_open()) {
      const ssize_t got = read(ends_[0], bytes, sizeof bytes);
      if (got < 0 && errno == EINTR) continue;
      if (got < 0) return;
      if (got == 0) return close_end(0);
      text.append(bytes, static_cast<std::size_t>(got));
      if (text.size() > most) text.erase(0, text.size() - most);
    }
  }

 private:
  void close_end(std::size_t end) {
    if (ends_[end] >= 0) close(ends_[end]);
    ends_[end] = -1;
  }

  std::array<int, 2> ends_{-1, -1};
};

int spawn(pid_t& child, const std::string& program, const std::vector<std::string>& arguments,
          int output, int errors) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
  if (errors >= 0) posix_spawn_file_actions_adddup2(&actions, errors, STDERR_FILENO);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  std::vector<char*> words{const_cast<char*>(program.c_str())};
  for (const std::string& argument : arguments)
    words.push_back(const_cast<char*>(argument.c_str()));
  words.push_back(nullptr);
  const int failure =
      posix_spawnp(&child, program.c_str(), &actions, nullptr, words.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  return failure;
}

/// Whether the process has ended; its status is then taken.
bool has_ended(pid_t child, int options, int& status) {
  pid_t ended = 0;
  do ended = waitpid(child, &status, options);
  while (ended < 0 && errno == EINTR);
  return ended != 0;
}

/// What hosts and the like wrote, without the words that it begins with.
std::vector<std::string> host_lines(const std::string& lines) {
  constexpr std::string_view start = "plugin host: ";
  std::vector<std::string> found;
  std::istringstream rest(lines);
  for (std::string line; std::getline(rest, line);)
    if (line.starts_with(start)) found.push_back(line.substr(start.size()));
  return found;
}

}  // namespace

std::string path_of_program(const char* name, const char* variable) {
  if (const char* path = variable ? std::getenv(variable) : nullptr; path && *path) return path;
  std::error_code none;
  const auto own = std::filesystem::read_symlink("/proc/self/exe", none);
  const auto beside = own.parent_path() / name;
  return !own.empty() && access(beside.c_str(), X_OK) == 0 ? beside.string() : name;
}

std::optional<ChildAnswer> run_child(const std::string& program,
                                     const std::vector<std::string>& arguments,
                                     std::chrono::seconds limit, bool collects_errors,
                                     std::string& error, const std::function<bool()>& must_stop) {
  // A pipe that another child inherits before it is marked would stay open as long as that lives.
  static std::mutex starts;
  std::unique_lock start(starts);
  Pipe output, errors;
  pid_t child = -1;
  const int failure = !output.is_open() || !errors.is_open()
                          ? errno
                          : spawn(child, program, arguments, output.writing_end(),
                                  collects_errors ? errors.writing_end() : -1);
  start.unlock();
  if (failure != 0) {
    error = program + ": " + std::generic_category().message(failure);
    return std::nullopt;
  }
  output.close_writing_end();
  errors.close_writing_end();
  ChildAnswer answer;
  int status = 0;
  auto deadline = Clock::now() + limit;
  bool was_asked = false;  // to end
  while (!has_ended(child, WNOHANG, status)) {
    const bool is_late = Clock::now() > deadline;
    if (was_asked && is_late) {
      kill(child, SIGKILL);
      has_ended(child, 0, status);
      break;
    }
    if (!was_asked && (is_late || (must_stop && must_stop()))) {
      answer.ending = is_late ? "took longer than " + std::to_string(limit.count()) + " seconds"
                              : "was stopped";
      kill(child, SIGTERM);
      was_asked = true;
      deadline = Clock::now() + patience;
    }
    std::array<pollfd, 2> ends{
        {{output.reading_end(), POLLIN, 0}, {errors.reading_end(), POLLIN, 0}}};
    // Without ends to wait by only a moment: it is about to be gone.
    poll(ends.data(), ends.size(), output.is_open() || errors.is_open() ? look_interval_ms : 1);
    output.drain(answer.output, most_output);
    errors.drain(answer.errors, most_errors);
  }
  output.drain(answer.output, most_output);
  errors.drain(answer.errors, most_errors);
  answer.status = WIFEXITED(status) ? WEXITSTATUS(status) : 1;
  if (WIFSIGNALED(status) && answer.ending.empty())
    answer.ending = "was ended by signal " + std::to_string(WTERMSIG(status)) + " (" +
                    strsignal(WTERMSIG(status)) + ")";
  return answer;
}

std::string last_host_line(const std::string& lines) {
  const std::vector<std::string> found = host_lines(lines);
  return found.empty() ? "" : found.back();
}

std::vector<std::string> missing_file_lines(const std::string& lines) {
  std::vector<std::string> found = host_lines(lines);
  std::erase_if(found,
                [](const std::string& line) { return !line.ends_with(" is not there any more"); });
  return found;
}

}  // namespace vesk::tools
