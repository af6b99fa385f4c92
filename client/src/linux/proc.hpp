#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// Reading /proc. Every answer for a process that is not there (any more) is empty or 0.
namespace vesk::client::proc {

std::string read_file(const std::string& path);

/// Start time of a process in clock ticks since boot, which with its id names it for good;
/// 0 when there is no such process (a zombie counts as none).
std::uint64_t start_time(int pid);

std::vector<int> threads(int pid);
bool has_thread(int pid, int thread);

/// State letter of one thread (R, S, D, ...), or 0.
char thread_state(int pid, int thread);

struct RunTime {
  std::uint64_t run_ns = 0;
  std::uint64_t wait_ns = 0;
};
RunTime thread_run_time(int pid, int thread);

/// Whether the process has the shared-memory object `name` (with its leading slash) mapped.
bool has_mapped(int pid, std::string_view name);

/// The thread that sleeps on a futex at `offset` bytes into a page, or 0 where the system does
/// not show it.
int thread_waiting_at(int pid, std::size_t offset);

}  // namespace vesk::client::proc
