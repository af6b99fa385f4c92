#include "client/src/child_process.hpp"

#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <thread>

#include "client/src/linux/cpu_sets.hpp"
#include "client/src/linux/host_places.hpp"
#include "client/src/linux/proc.hpp"
#include "client/src/spawn_lists.hpp"
#include "client/src/spawn_settings.hpp"

// The header of glibc 2.36 forgets that C++ might include it.
extern "C" {
#include <sys/pidfd.h>
}

namespace vesk::client {

namespace {

/// Waits below a millisecond look for a host that is about to be ready.
constexpr std::int64_t short_wait_ns = 1'000'000;

/// Ends the waits of this thread when they were told to end: the kernel adds 50 us to each
/// otherwise, a good part of a short start.
class ExactWait {
 public:
  ExactWait() : slack_(prctl(PR_GET_TIMERSLACK, 0, 0, 0, 0)) {
    prctl(PR_SET_TIMERSLACK, 1, 0, 0, 0);
  }
  ~ExactWait() {
    if (slack_ > 0) prctl(PR_SET_TIMERSLACK, slack_, 0, 0, 0);
  }
  ExactWait(const ExactWait&) = delete;
  ExactWait& operator=(const ExactWait&) = delete;

 private:
  const int slack_;
};

/// A thread that was narrowed to some CPUs passes that on; a host is to have the process's own.
void give_process_cpus(int pid) {
  cpu_set_t ours;
  const cpu_set_t process = process_cpus();
  if (sched_getaffinity(0, sizeof ours, &ours) == 0 && !CPU_EQUAL(&ours, &process))
    sched_setaffinity(pid, sizeof process, &process);
}

/// Makes `place` of the child what `descriptor` is here, or nothing.
void put_in_place(SpawnFileActions& actions, int descriptor, int place) {
  if (descriptor >= 0)
    posix_spawn_file_actions_adddup2(actions.get(), descriptor, place);
  else
    posix_spawn_file_actions_addclose(actions.get(), place);
}

}  // namespace

int ChildProcess::spawn(const Launch& launch, int output) {
  SpawnFileActions actions(output);
  put_in_place(actions, launch.workgroup_descriptor, VESK_WORKGROUP_DESCRIPTOR);
  put_in_place(actions, launch.parent_descriptor, VESK_PARENT_DESCRIPTOR);
  put_in_place(actions, launch.bell_descriptor, VESK_BELL_DESCRIPTOR);
  posix_spawn_file_actions_addclosefrom_np(actions.get(), last_place + 1);
  SpawnAttributes attributes(POSIX_SPAWN_SETSCHEDULER);
  const sched_param ordinary{};
  posix_spawnattr_setschedpolicy(attributes.get(), SCHED_OTHER);
  posix_spawnattr_setschedparam(attributes.get(), &ordinary);
  const SpawnLists lists(launch.program, launch.arguments, launch.environment, environ);
  const int failure = posix_spawn(&pid_, launch.program.c_str(), actions.get(), attributes.get(),
                                  lists.arguments(), lists.environment());
  if (failure == 0) give_process_cpus(pid_);
  return failure;
}

bool ChildProcess::watch() {
  exit_descriptor_ = pidfd_open(pid_, 0);
  return exit_descriptor_ >= 0;
}

bool ChildProcess::reap(Ending& ending) noexcept {
  siginfo_t info{};
  int result;
  do {
    result = waitid(P_PIDFD, static_cast<id_t>(exit_descriptor_), &info, WEXITED | WNOHANG);
  } while (result != 0 && errno == EINTR);
  if (result != 0 || info.si_pid == 0) return false;
  if (info.si_code == CLD_EXITED)
    ending.status = info.si_status;
  else
    ending.signal = info.si_status;
  return true;
}

void ChildProcess::kill() noexcept {
  if (!taken_) pidfd_send_signal(exit_descriptor_, SIGKILL, nullptr, 0);
}

bool ChildProcess::abort_thread(int thread) noexcept {
  return !taken_ && syscall(SYS_tgkill, pid_, thread, SIGABRT) == 0;
}

bool ChildProcess::wait_for_exit(std::chrono::nanoseconds limit) const noexcept {
  const std::int64_t nanos = std::max<std::int64_t>(limit.count(), 0);
  std::optional<ExactWait> exact;
  if (nanos > 0 && nanos < short_wait_ns) exact.emplace();
  const timespec time{static_cast<time_t>(nanos / 1'000'000'000),
                      static_cast<long>(nanos % 1'000'000'000)};
  pollfd exit{exit_descriptor_, POLLIN, 0};
  // A signal of the caller's ends the wait early, which callers take as "look again".
  return ppoll(&exit, 1, &time, nullptr) == 1 && (exit.revents & POLLIN) != 0;
}

bool has_mapped(int pid, const std::string& name) {
  return proc::has_mapped(pid, name);
}

int find_render_thread(int pid, std::size_t offset) {
  return proc::thread_waiting_at(pid, offset);
}

bool is_running(int pid, int thread, std::chrono::milliseconds span) {
  std::vector<int> threads = proc::threads(pid);
  if (std::find(threads.begin(), threads.end(), thread) != threads.end())
    threads = {thread};
  else
    std::erase(threads, pid);
  const auto runnable = [&] {
    std::vector<bool> states;
    states.reserve(threads.size());
    for (const int id : threads) states.push_back(proc::thread_state(pid, id) == 'R');
    return states;
  };
  // A thread that waits for a CPU spins as much as one that has it. One that the kernel holds back
  // for having had too much real time gains neither kind of time, but is runnable all the while.
  const auto wanted = [&] {
    std::vector<std::uint64_t> times;
    for (const int id : threads) {
      const proc::RunTime time = proc::thread_run_time(pid, id);
      times.push_back(time.run_ns + time.wait_ns);
    }
    return times;
  };
  const auto before = wanted();
  const auto runnable_before = runnable();
  std::this_thread::sleep_for(span);
  const auto after = wanted();
  const auto runnable_after = runnable();
  const auto half = static_cast<std::uint64_t>(std::chrono::nanoseconds(span).count() / 2);
  for (std::size_t i = 0; i < threads.size(); ++i)
    if (after[i] > before[i] + half || (runnable_before[i] && runnable_after[i])) return true;
  return false;
}

CpuTime process_cpu_time(int pid) {
  CpuTime sum;
  for (const int thread : proc::threads(pid)) {
    const proc::RunTime time = proc::thread_run_time(pid, thread);
    sum.run_ns += time.run_ns;
    sum.wait_ns += time.wait_ns;
  }
  return sum;
}

std::string signal_text(int signal) {
  const char* text = sigdescr_np(signal);
  return text != nullptr ? text : "unknown";
}

std::string program_folder() {
  char path[4096];
  const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
  if (length <= 0) return {};
  const std::string program(path, static_cast<std::size_t>(length));
  return program.substr(0, program.rfind('/'));
}

}  // namespace vesk::client
