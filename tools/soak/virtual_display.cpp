#include "tools/soak/virtual_display.hpp"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <utility>

extern char** environ;

namespace vesk::tools {
namespace {

constexpr int longest_start_ms = 10'000;
constexpr int display_descriptor = 9;

/// The line that the server writes once it listens; empty when none came.
std::string read_line(int descriptor) {
  std::string line;
  pollfd end{descriptor, POLLIN, 0};
  for (char byte = 0; poll(&end, 1, longest_start_ms) == 1 && read(descriptor, &byte, 1) == 1;) {
    if (byte == '\n') return line;
    line += byte;
  }
  return {};
}

}  // namespace

std::unique_ptr<VirtualDisplay> VirtualDisplay::start() {
  std::array<int, 2> ends{};
  if (pipe(ends.data()) != 0) return nullptr;
  for (const int end : ends) (void)fcntl(end, F_SETFD, FD_CLOEXEC);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[1], display_descriptor);
  for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
    posix_spawn_file_actions_addopen(&actions, standard, "/dev/null", O_RDWR, 0);
  std::array<std::string, 9> words{"Xvfb", "-displayfd",   "9",         "-noreset", "-screen",
                                   "0",    "1600x1200x24", "-nolisten", "tcp"};
  std::array<char*, words.size() + 1> pointers{};
  for (std::size_t i = 0; i < words.size(); ++i) pointers[i] = words[i].data();
  pid_t server = -1;
  // Of its own group: Ctrl-C is for us, who end it when the last host has gone.
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
  const int failure =
      posix_spawnp(&server, pointers[0], &actions, &attributes, pointers.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  close(ends[1]);
  const std::string number = failure == 0 ? read_line(ends[0]) : "";
  close(ends[0]);
  if (failure != 0) return nullptr;
  auto display = std::unique_ptr<VirtualDisplay>(new VirtualDisplay(server, ":" + number));
  return number.empty() ? nullptr : std::move(display);
}

VirtualDisplay::VirtualDisplay(pid_t server, std::string name)
    : server_(server), name_(std::move(name)) {}

VirtualDisplay::~VirtualDisplay() {
  kill(server_, SIGTERM);
  waitpid(server_, nullptr, 0);
}

}  // namespace vesk::tools
