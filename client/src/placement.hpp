#pragma once

#include <memory>
#include <string>

#include "platform/realtime.hpp"
#include "vesk/host_process.hpp"

/// Where hosts run. A platform provides all of it; where threads cannot be placed there is no
/// Placement, and `current_cpu` is always the same.
namespace vesk::client {

/// The CPU this thread runs on, read without entering the kernel.
int current_cpu() noexcept VESK_REALTIME;
/// This thread's id as the scheduler calls it.
int current_thread() noexcept VESK_REALTIME;

/// CPUs that the process may use.
unsigned usable_cpus() noexcept;

class SealedMemory;

/// The workgroup record that one host shares, and the CPUs on which its render thread runs.
///
/// Under a real-time policy the kernel pushes a thread to another CPU when one that is confined
/// to the first wakes it there (measured: 50 us a period instead of 7). So the driving thread,
/// when it has such a policy, is kept on its CPU as long as a host is confined to it, and gets its
/// own CPUs back afterwards.
class Placement {
 public:
  /// Null without error when the options ask for no record; null with `error` when it could not
  /// be made.
  static std::unique_ptr<Placement> create(const Options& options, std::string& error);
  ~Placement();
  Placement(const Placement&) = delete;
  Placement& operator=(const Placement&) = delete;

  /// The descriptor to hand to the host.
  int descriptor() const noexcept;
  /// Moves the threads of process `host` that are in the group to `cpu`, or lets them run
  /// anywhere (-1). `driver` is the driving thread, or 0.
  void move(int host, int cpu, int driver);
  /// A thread of process `host` inside the group, or 0.
  int member(int host) const noexcept;

 private:
  Placement() = default;
  void set_record(int cpu);

  std::unique_ptr<SealedMemory> record_;
  int held_driver_ = 0;
};

}  // namespace vesk::client
