#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vesk::tools {

/// A limit of this process; `unlimited` where there is none.
struct Limit {
  std::uint64_t soft = 0;
  std::uint64_t hard = 0;
};
inline constexpr std::uint64_t unlimited = UINT64_MAX;

/// A share of the processors that ordinary threads of a cgroup may use: `cpus` of them on average,
/// counted over `period_ms`. A group that has used it up stands still until the next one.
struct Quota {
  double cpus;
  double period_ms;
};

/// How the kernel preempts what it does itself.
enum class Preemption { unknown, none_or_voluntary, full, real_time };

/// The group that a file of limits lets have real-time scheduling.
struct RealtimeGroup {
  std::string name;
  bool has_process = false;  ///< this process is in it
  bool has_user = false;     ///< its user will be, once logged in anew
};

/// What the files of a machine tell; what cannot be known is empty.
struct Facts {
  std::optional<Limit> realtime_priority;
  std::optional<Limit> realtime_us;  ///< processor time without a pause under real-time
  std::optional<Limit> locked_bytes;
  std::optional<bool> may_set_priorities;  ///< CAP_SYS_NICE, where it counts
  std::optional<RealtimeGroup> group;      ///< none: no file of limits grants it
  int usable_cpus = 0;                     ///< 0: not known
  int online_cpus = 0;
  bool cgroup_is_known = false;
  std::optional<Quota> quota;          ///< the smallest of the cgroups this process is in
  std::vector<std::string> governors;  ///< each that some CPU has, once
  Preemption preemption = Preemption::unknown;
  bool preemption_is_chosen_at_start = false;  ///< `preempt=` on the kernel's command line
  std::string clock_source;
  bool is_container = false;
  bool has_realtime_kit = false;  ///< the service is installed
};

/// Reads the facts from the files below `root`, which ends without a slash: empty for this machine.
/// Files that are missing or hold something else leave a fact unknown.
Facts read_facts(const std::string& root);

}  // namespace vesk::tools
