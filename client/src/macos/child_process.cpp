#include "client/src/child_process.hpp"

#include <crt_externs.h>
#include <fcntl.h>
#include <libproc.h>
#include <mach-o/dyld.h>
#include <mach/mach.h>
#include <mach/mach_time.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/event.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "client/src/spawn_lists.hpp"
#include "client/src/spawn_settings.hpp"

/// In the system's library, and in no header of its SDK.
extern "C" int posix_spawnattr_set_registered_ports_np(posix_spawnattr_t*, mach_port_t[],
                                                       std::uint32_t count);

namespace vesk::client {

namespace {

/// A kernel queue that becomes readable when the process ends.
int open_exit_queue(int pid) {
  const int queue = kqueue();
  if (queue < 0) return -1;
  fcntl(queue, F_SETFD, FD_CLOEXEC);
  struct kevent change;
  EV_SET(&change, pid, EVFILT_PROC, EV_ADD, NOTE_EXIT, 0, nullptr);
  if (kevent(queue, &change, 1, nullptr, 0, nullptr) == 0) return queue;
  close(queue);
  return -1;
}

}  // namespace

int ChildProcess::spawn(const Launch& launch, int output) {
  SpawnFileActions actions(output);
  // Every descriptor not named in the actions is closed in the child.
  SpawnAttributes attributes(POSIX_SPAWN_CLOEXEC_DEFAULT);
  if (output < 0)
    for (const int standard : {1, 2})
      posix_spawn_file_actions_addinherit_np(actions.get(), standard);
  if (launch.workgroup_port != 0) {
    mach_port_t ports[] = {launch.workgroup_port};
    posix_spawnattr_set_registered_ports_np(attributes.get(), ports, 1);
  }
  const SpawnLists lists(launch.program, launch.arguments, launch.environment, *_NSGetEnviron());
  return posix_spawn(&pid_, launch.program.c_str(), actions.get(), attributes.get(),
                     lists.arguments(), lists.environment());
}

bool ChildProcess::watch() {
  exit_descriptor_ = open_exit_queue(pid_);
  return exit_descriptor_ >= 0;
}

bool ChildProcess::reap(Ending& ending) noexcept {
  int status = 0;
  int result;
  do {
    result = waitpid(pid_, &status, WNOHANG);
  } while (result < 0 && errno == EINTR);
  if (result != pid_) return false;
  if (WIFEXITED(status))
    ending.status = WEXITSTATUS(status);
  else
    ending.signal = WTERMSIG(status);
  return true;
}

void ChildProcess::kill() noexcept {
  if (!taken_ && !wait_for_exit(std::chrono::nanoseconds(0))) ::kill(pid_, SIGKILL);
}

bool ChildProcess::abort_thread(int) noexcept {
  return false;
}

bool ChildProcess::wait_for_exit(std::chrono::nanoseconds limit) const noexcept {
  pollfd exit{exit_descriptor_, POLLIN, 0};
  const auto milliseconds = std::chrono::ceil<std::chrono::milliseconds>(limit).count();
  return poll(&exit, 1, static_cast<int>(std::clamp<long long>(milliseconds, 0, INT_MAX))) == 1;
}

// Neither is told to an ordinary process about another on macOS.
bool has_mapped(int, const std::string&) {
  return false;
}
int find_render_thread(int, std::size_t) {
  return 0;
}

bool is_running(int pid, int, std::chrono::milliseconds span) {
  const std::uint64_t before = process_cpu_time(pid).run_ns;
  std::this_thread::sleep_for(span);
  const auto half = static_cast<std::uint64_t>(std::chrono::nanoseconds(span).count() / 2);
  return process_cpu_time(pid).run_ns > before + half;
}

CpuTime process_cpu_time(int pid) {
  proc_taskinfo info{};
  CpuTime time;
  if (proc_pidinfo(pid, PROC_PIDTASKINFO, 0, &info, sizeof info) != sizeof info) return time;
  mach_timebase_info_data_t base{};
  mach_timebase_info(&base);
  if (base.denom != 0)
    time.run_ns = (info.pti_total_user + info.pti_total_system) * base.numer / base.denom;
  return time;
}

std::string signal_text(int signal) {
  return signal > 0 && signal < NSIG ? sys_siglist[signal] : "unknown";
}

std::string program_folder() {
  char path[PATH_MAX];
  std::uint32_t size = sizeof path;
  if (_NSGetExecutablePath(path, &size) != 0) return {};
  char real[PATH_MAX];
  const std::string program = realpath(path, real) != nullptr ? real : path;
  return program.substr(0, program.rfind('/'));
}

}  // namespace vesk::client
