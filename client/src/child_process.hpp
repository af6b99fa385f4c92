#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "vesk/host_process.hpp"

/// Starting, watching and ending one child process, and looking into it. A platform provides all
/// but the members that child_process.cpp has.
namespace vesk::client {

struct Launch {
  std::string program;
  std::vector<std::string> arguments;    ///< without the program's name
  std::vector<std::string> environment;  ///< entries beyond or instead of the caller's
  bool inherit_standard_error = false;
  int workgroup_descriptor = -1;  ///< becomes descriptor 3 of the child; -1: none
  int parent_descriptor = -1;     ///< becomes descriptor 4; -1: none
  int bell_descriptor = -1;       ///< becomes descriptor 5; -1: none
  std::uint32_t workgroup_port = 0;
};

class ChildProcess {
 public:
  /// The child has default signals and an empty mask, a process group of its own, ordinary
  /// scheduling, the CPUs of this process, nothing to read on standard input and no other
  /// descriptor of ours. Null with a sentence in `error`.
  static std::unique_ptr<ChildProcess> launch(const Launch& launch, std::string& error);
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  int pid() const noexcept { return pid_; }
  /// Becomes readable when the process has ended; for `poll`.
  int exit_descriptor() const noexcept { return exit_descriptor_; }
  /// The child's standard error and output, non-blocking; -1 when inherited or at its end.
  int output_descriptor() const noexcept { return output_descriptor_; }
  void close_output() noexcept;

  /// Whether the process has ended; then takes its status, once, into `ending`.
  bool take_ending(Ending& ending) noexcept;
  void kill() noexcept;
  /// Has one thread of the process abort, which ends the process. False where the system cannot.
  bool abort_thread(int thread) noexcept;
  /// Sleeps until the process has ended or `limit` has passed; true when it has ended.
  bool wait_for_exit(std::chrono::nanoseconds limit) const noexcept;

 private:
  ChildProcess() = default;

  /// Starts the process, with `output` (-1: what we have) for its standard output and error, and
  /// sets `pid_`; or an error number.
  int spawn(const Launch& launch, int output);
  /// Makes `exit_descriptor_`; false with `errno`.
  bool watch();
  /// Takes the status of the process, which has ended; false when it was taken by others.
  bool reap(Ending& ending) noexcept;

  int pid_ = 0;
  int exit_descriptor_ = -1;
  int output_descriptor_ = -1;
  bool taken_ = false;
};

/// Whether process `pid` has mapped the shared-memory object `name`. False where the system does
/// not tell.
bool has_mapped(int pid, const std::string& name);

/// The host's render thread, as the thread that sleeps on a word at `offset` of a page; 0 where
/// the system does not tell.
int find_render_thread(int pid, std::size_t offset);

/// Whether a thread of the process (0: any but the main thread) is running rather than sleeping;
/// watches it for `span`.
bool is_running(int pid, int thread, std::chrono::milliseconds span);

CpuTime process_cpu_time(int pid);

/// What a signal means, in a few words.
std::string signal_text(int signal);

/// Folder of this program's executable, without a slash at the end; empty when unknown.
std::string program_folder();

}  // namespace vesk::client
