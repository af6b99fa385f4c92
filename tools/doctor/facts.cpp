#include "tools/doctor/facts.hpp"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <system_error>

namespace vesk::tools {
namespace {

std::string text_of(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<std::string> lines_of(const std::string& path) {
  std::ifstream file(path);
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  return lines;
}

std::vector<std::string> words_of(const std::string& text) {
  std::istringstream stream(text);
  return {std::istream_iterator<std::string>(stream), {}};
}

std::vector<std::string> fields_of(const std::string& line, char separator) {
  std::vector<std::string> fields;
  std::istringstream stream(line);
  for (std::string field; std::getline(stream, field, separator);) fields.push_back(field);
  return fields;
}

std::string first_word(const std::string& path) {
  const std::vector<std::string> words = words_of(text_of(path));
  return words.empty() ? "" : words.front();
}

template <typename Number>
std::optional<Number> number_of(const std::string& text, int base = 10) {
  Number value{};
  const char* end = text.data() + text.size();
  const auto [stopped, status] = std::from_chars(text.data(), end, value, base);
  if (status != std::errc() || stopped != end) return std::nullopt;
  return value;
}

bool holds(const std::vector<std::string>& words, const std::string& word) {
  return std::ranges::find(words, word) != words.end();
}

/// What follows "NAME:" in a file of such lines.
std::string entry_of(const std::vector<std::string>& lines, const std::string& name) {
  for (const std::string& line : lines)
    if (line.starts_with(name + ":")) return line.substr(name.size() + 1);
  return {};
}

/// A line of /proc/self/limits: a name, the soft limit, the hard one.
std::optional<Limit> limit_of(const std::vector<std::string>& lines, const std::string& name) {
  for (const std::string& line : lines) {
    if (!line.starts_with(name + " ")) continue;
    const std::vector<std::string> words = words_of(line.substr(name.size()));
    if (words.size() < 2) return std::nullopt;
    const auto value = [](const std::string& word) {
      return word == "unlimited" ? std::optional(unlimited) : number_of<std::uint64_t>(word);
    };
    const auto soft = value(words[0]), hard = value(words[1]);
    if (!soft || !hard) return std::nullopt;
    return Limit{*soft, *hard};
  }
  return std::nullopt;
}

/// How many CPUs a list such as "0-3,6" names; 0 when it is none.
int cpus_in(const std::string& list) {
  int count = 0;
  for (const std::string& range : fields_of(list, ',')) {
    const std::size_t dash = range.find('-');
    const auto first = number_of<int>(range.substr(0, dash));
    const auto last = dash == std::string::npos ? first : number_of<int>(range.substr(dash + 1));
    if (!first || !last || *last < *first) return 0;
    count += *last - *first + 1;
  }
  return count;
}

/// The groups that files of limits let have real-time scheduling, in the order of the files.
std::vector<std::string> granted_groups(const std::string& root) {
  std::vector<std::string> files{root + "/etc/security/limits.conf"};
  std::error_code ignored;
  for (const auto& entry :
       std::filesystem::directory_iterator(root + "/etc/security/limits.d", ignored))
    if (entry.path().extension() == ".conf") files.push_back(entry.path().string());
  std::ranges::sort(files.begin() + 1, files.end());
  std::vector<std::string> groups;
  for (const std::string& file : files) {
    for (const std::string& line : lines_of(file)) {
      const std::vector<std::string> words = words_of(line.substr(0, line.find('#')));
      if (words.size() == 4 && words[0].starts_with('@') && words[2] == "rtprio" && words[3] != "0")
        groups.push_back(words[0].substr(1));
    }
  }
  return groups;
}

std::string name_of_user(const std::string& root, const std::string& id) {
  for (const std::string& line : lines_of(root + "/etc/passwd"))
    if (const auto fields = fields_of(line, ':'); fields.size() > 2 && fields[2] == id)
      return fields[0];
  return {};
}

std::optional<RealtimeGroup> realtime_group(const std::string& root,
                                            const std::vector<std::string>& status) {
  const std::vector<std::string> granted = granted_groups(root);
  if (granted.empty()) return std::nullopt;
  const std::vector<std::string> own = words_of(entry_of(status, "Groups"));
  const std::vector<std::string> ids = words_of(entry_of(status, "Uid"));
  const std::string user = ids.empty() ? "" : name_of_user(root, ids[0]);
  const std::vector<std::string> groups = lines_of(root + "/etc/group");
  std::optional<RealtimeGroup> best;
  for (const std::string& name : granted) {
    RealtimeGroup group{name};
    for (const std::string& line : groups) {
      const std::vector<std::string> fields = fields_of(line, ':');
      if (fields.size() < 3 || fields[0] != name) continue;
      group.has_process |= holds(own, fields[2]);
      group.has_user |=
          fields.size() > 3 && !user.empty() && holds(fields_of(fields[3], ','), user);
    }
    // One that needs least to be done: the user's own, else the one that musicians know.
    const auto merit = [](const RealtimeGroup& g) {
      return g.has_process ? 3 : g.has_user ? 2 : g.name == "audio" ? 1 : 0;
    };
    if (!best || merit(group) > merit(*best)) best = group;
  }
  return best;
}

/// A quota in microseconds and its period; none where one of them is not a number above 0.
std::optional<Quota> quota_of(const std::string& quota_us, const std::string& period_us) {
  const auto quota = number_of<std::int64_t>(quota_us), period = number_of<std::int64_t>(period_us);
  if (!quota || !period || *quota <= 0 || *period <= 0) return std::nullopt;
  return Quota{static_cast<double>(*quota) / static_cast<double>(*period),
               static_cast<double>(*period) / 1'000};
}

/// Looks into the folder of a cgroup and of all above it, for any of them may have a quota.
void read_quotas(const std::string& tree, std::string group, bool is_unified, Facts& facts) {
  while (true) {
    const std::string folder = tree + (group == "/" ? "" : group);
    std::optional<Quota> found;
    std::error_code ignored;
    if (is_unified) {
      // The topmost group of a machine has no such file, and no quota.
      const std::vector<std::string> words = words_of(text_of(folder + "/cpu.max"));
      facts.cgroup_is_known |=
          !words.empty() || std::filesystem::exists(tree + "/cgroup.controllers", ignored);
      if (words.size() == 2) found = quota_of(words[0], words[1]);
    } else {
      const std::string quota = first_word(folder + "/cpu.cfs_quota_us");
      facts.cgroup_is_known |= !quota.empty();
      found = quota_of(quota, first_word(folder + "/cpu.cfs_period_us"));
    }
    if (found && (!facts.quota || found->cpus < facts.quota->cpus)) facts.quota = found;
    if (group.empty() || group == "/") return;
    group.resize(group.rfind('/') == std::string::npos ? 0 : group.rfind('/'));
  }
}

void read_cgroups(const std::string& root, Facts& facts) {
  const std::string tree = root + "/sys/fs/cgroup";
  for (const std::string& line : lines_of(root + "/proc/self/cgroup")) {
    const std::size_t first = line.find(':');
    const std::size_t second = first == std::string::npos ? first : line.find(':', first + 1);
    // A path that leads out of this namespace's view holds "..".
    if (second == std::string::npos || line.find("/..", second) != std::string::npos) continue;
    const std::string controllers = line.substr(first + 1, second - first - 1);
    const std::string group = line.substr(second + 1);
    if (controllers.empty())
      read_quotas(tree, group, true, facts);
    else if (holds(fields_of(controllers, ','), "cpu"))
      read_quotas((tree + '/').append(controllers), group, false, facts);
  }
}

void read_governors(const std::string& root, Facts& facts) {
  std::error_code ignored;
  for (const auto& entry :
       std::filesystem::directory_iterator(root + "/sys/devices/system/cpu", ignored)) {
    const std::string governor = first_word(entry.path().string() + "/cpufreq/scaling_governor");
    if (!governor.empty() && !holds(facts.governors, governor)) facts.governors.push_back(governor);
  }
  std::ranges::sort(facts.governors);
}

void read_preemption(const std::string& root, Facts& facts) {
  const std::vector<std::string> version = words_of(text_of(root + "/proc/sys/kernel/version"));
  if (holds(version, "PREEMPT_RT") || first_word(root + "/sys/kernel/realtime") == "1") {
    facts.preemption = Preemption::real_time;
    return;
  }
  if (version.empty()) return;
  const std::string release = first_word(root + "/proc/sys/kernel/osrelease");
  const std::vector<std::string> config = lines_of(root + "/boot/config-" + release);
  facts.preemption_is_chosen_at_start = holds(version, "PREEMPT_DYNAMIC");
  if (!facts.preemption_is_chosen_at_start)
    facts.preemption = holds(version, "PREEMPT") ? Preemption::full : Preemption::none_or_voluntary;
  else if (holds(config, "CONFIG_PREEMPT=y"))
    facts.preemption = Preemption::full;
  else if (holds(config, "CONFIG_PREEMPT_VOLUNTARY=y") || holds(config, "CONFIG_PREEMPT_NONE=y"))
    facts.preemption = Preemption::none_or_voluntary;
  if (!facts.preemption_is_chosen_at_start) return;
  for (const std::string& word : words_of(text_of(root + "/proc/cmdline"))) {
    if (word == "preempt=full") facts.preemption = Preemption::full;
    if (word == "preempt=voluntary" || word == "preempt=none")
      facts.preemption = Preemption::none_or_voluntary;
  }
}

/// Whether this process's rights count everywhere. In a user namespace of its own they count there,
/// and the scheduler asks for them outside.
bool is_in_first_user_namespace(const std::string& root) {
  const std::vector<std::string> map = words_of(text_of(root + "/proc/self/uid_map"));
  return map.empty() || map == std::vector<std::string>{"0", "0", "4294967295"};
}

bool is_container(const std::string& root) {
  std::error_code ignored;
  return std::ranges::any_of(
      std::initializer_list<const char*>{"/.dockerenv", "/run/.containerenv",
                                         "/run/systemd/container"},
      [&](const char* file) { return std::filesystem::exists(root + file, ignored); });
}

}  // namespace

Facts read_facts(const std::string& root) {
  Facts facts;
  const std::vector<std::string> limits = lines_of(root + "/proc/self/limits");
  facts.realtime_priority = limit_of(limits, "Max realtime priority");
  facts.realtime_us = limit_of(limits, "Max realtime timeout");
  facts.locked_bytes = limit_of(limits, "Max locked memory");
  const std::vector<std::string> status = lines_of(root + "/proc/self/status");
  constexpr int sys_nice = 23;
  const std::vector<std::string> capabilities = words_of(entry_of(status, "CapEff"));
  if (!capabilities.empty())
    if (const auto bits = number_of<std::uint64_t>(capabilities[0], 16))
      facts.may_set_priorities = (*bits >> sys_nice & 1) != 0 && is_in_first_user_namespace(root);
  const std::vector<std::string> cpus = words_of(entry_of(status, "Cpus_allowed_list"));
  facts.usable_cpus = cpus.empty() ? 0 : cpus_in(cpus[0]);
  facts.online_cpus = cpus_in(first_word(root + "/sys/devices/system/cpu/online"));
  facts.group = realtime_group(root, status);
  read_cgroups(root, facts);
  read_governors(root, facts);
  read_preemption(root, facts);
  facts.clock_source =
      first_word(root + "/sys/devices/system/clocksource/clocksource0/current_clocksource");
  facts.is_container = is_container(root);
  std::error_code ignored;
  facts.has_realtime_kit = std::filesystem::exists(
      root + "/usr/share/dbus-1/system-services/org.freedesktop.RealtimeKit1.service", ignored);
  return facts;
}

}  // namespace vesk::tools
