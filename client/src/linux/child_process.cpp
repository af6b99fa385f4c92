#include "client/src/child_process.hpp"

#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <thread>
#include <utility>

#include "client/src/error_text.hpp"
#include "client/src/linux/cpu_sets.hpp"
#include "client/src/linux/proc.hpp"
#include "client/src/spawn_lists.hpp"

// The header of glibc 2.36 forgets that C++ might include it.
extern "C" {
#include <sys/pidfd.h>
}

namespace vesk::client {

namespace {

constexpr int kRecordDescriptor = 3;

struct Pipe {
  int read = -1;
  int write = -1;
  ~Pipe() {
    if (read >= 0) close(read);
    if (write >= 0) close(write);
  }
};

/// Neither end blocks: a plugin that floods it loses lines, never time.
bool open_output(Pipe& pipe) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) return false;
  pipe.read = ends[0];
  pipe.write = ends[1];
  return true;
}

class FileActions {
 public:
  FileActions() { posix_spawn_file_actions_init(&actions_); }
  ~FileActions() { posix_spawn_file_actions_destroy(&actions_); }

  void set_up(const Launch& launch, int output) {
    posix_spawn_file_actions_addopen(&actions_, 0, "/dev/null", O_RDONLY, 0);
    if (output >= 0) {
      posix_spawn_file_actions_adddup2(&actions_, output, 1);
      posix_spawn_file_actions_adddup2(&actions_, output, 2);
    }
    if (launch.record_descriptor >= 0)
      posix_spawn_file_actions_adddup2(&actions_, launch.record_descriptor, kRecordDescriptor);
    posix_spawn_file_actions_addclosefrom_np(
        &actions_, launch.record_descriptor >= 0 ? kRecordDescriptor + 1 : kRecordDescriptor);
  }
  const posix_spawn_file_actions_t* get() const { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_;
};

class Attributes {
 public:
  Attributes() {
    posix_spawnattr_init(&attributes_);
    sigset_t all, none;
    sigfillset(&all);
    sigemptyset(&none);
    const sched_param ordinary{};
    posix_spawnattr_setsigdefault(&attributes_, &all);
    posix_spawnattr_setsigmask(&attributes_, &none);
    posix_spawnattr_setpgroup(&attributes_, 0);
    posix_spawnattr_setschedpolicy(&attributes_, SCHED_OTHER);
    posix_spawnattr_setschedparam(&attributes_, &ordinary);
    posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK |
                                               POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSCHEDULER);
  }
  ~Attributes() { posix_spawnattr_destroy(&attributes_); }
  const posix_spawnattr_t* get() const { return &attributes_; }

 private:
  posix_spawnattr_t attributes_;
};

/// A thread that was narrowed to some CPUs passes that on; a host is to have the process's own.
void give_process_cpus(int pid) {
  cpu_set_t ours;
  const cpu_set_t process = process_cpus();
  if (sched_getaffinity(0, sizeof ours, &ours) == 0 && !CPU_EQUAL(&ours, &process))
    sched_setaffinity(pid, sizeof process, &process);
}

}  // namespace

std::unique_ptr<ChildProcess> ChildProcess::launch(const Launch& launch, std::string& error) {
  std::unique_ptr<ChildProcess> child(new ChildProcess);
  Pipe output;
  if (!launch.inherit_standard_error && !open_output(output)) {
    error = "cannot make a pipe for the host's standard error: " + error_text(errno);
    return nullptr;
  }
  FileActions actions;
  actions.set_up(launch, output.write);
  const Attributes attributes;
  const SpawnLists lists(launch.program, launch.arguments, launch.environment, environ);
  const int failure = posix_spawn(&child->pid_, launch.program.c_str(), actions.get(),
                                  attributes.get(), lists.arguments(), lists.environment());
  if (failure != 0) {
    child->pid_ = 0;
    error = "cannot start " + launch.program + ": " + error_text(failure);
    return nullptr;
  }
  // Our child is not reaped by anyone who follows the rules, so its id is still its own.
  child->exit_descriptor_ = pidfd_open(child->pid_, 0);
  if (child->exit_descriptor_ < 0) {
    error = "cannot watch the host process: " + error_text(errno);
    ::kill(child->pid_, SIGKILL);
    waitpid(child->pid_, nullptr, 0);
    child->pid_ = 0;
    return nullptr;
  }
  give_process_cpus(child->pid_);
  child->output_descriptor_ = std::exchange(output.read, -1);
  return child;
}

ChildProcess::~ChildProcess() {
  close_output();
  if (exit_descriptor_ >= 0) close(exit_descriptor_);
}

void ChildProcess::close_output() noexcept {
  if (output_descriptor_ >= 0) close(std::exchange(output_descriptor_, -1));
}

bool ChildProcess::take_ending(Ending& ending) noexcept {
  if (taken_) return true;
  if (!wait_for_exit(std::chrono::nanoseconds(0))) return false;
  taken_ = true;
  siginfo_t info{};
  int result;
  do {
    result = waitid(P_PIDFD, static_cast<id_t>(exit_descriptor_), &info, WEXITED | WNOHANG);
  } while (result != 0 && errno == EINTR);
  // A parent that ignores SIGCHLD, or that waits for any child, has taken the status.
  if (result != 0 || info.si_pid == 0) return true;
  ending.known = true;
  if (info.si_code == CLD_EXITED)
    ending.status = info.si_status;
  else
    ending.signal = info.si_status;
  return true;
}

void ChildProcess::kill() noexcept {
  if (!taken_) pidfd_send_signal(exit_descriptor_, SIGKILL, nullptr, 0);
}

bool ChildProcess::wait_for_exit(std::chrono::nanoseconds limit) const noexcept {
  const std::int64_t nanos = std::max<std::int64_t>(limit.count(), 0);
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
