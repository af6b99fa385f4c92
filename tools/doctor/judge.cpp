#include "tools/doctor/judge.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace vesk::tools {
namespace {

constexpr char limits_file[] =
    "printf '@audio - rtprio 95\\n@audio - memlock unlimited\\n' |"
    " sudo tee /etc/security/limits.d/95-realtime-audio.conf";

constexpr char preempt_fully[] =
    "add preempt=full to GRUB_CMDLINE_LINUX_DEFAULT in /etc/default/grub, then sudo update-grub and"
    " restart";

std::string in_digits(double value, int decimals) {
  char text[64];
  std::snprintf(text, sizeof text, "%.*f", decimals, value);
  return text;
}

std::string milliseconds(std::uint64_t microseconds) {
  return microseconds == unlimited
             ? "unlimited"
             : in_digits(static_cast<double>(microseconds) / 1'000, 0) + " ms";
}

std::string join_group(const std::string& group) {
  return "sudo adduser \"$USER\" " + group + ", then log out and in again";
}

bool is_real_time(const Grant& grant) {
  return grant.policy != Policy::ordinary;
}

PeriodCheck::Outcome outcome_of(int frames, const Grant& grant) {
  const double quarter_us = 1e6 * frames / usual_rate / 4;
  if (grant.idle.worst_us > quarter_us) return PeriodCheck::drops;
  return grant.busy.worst_us > quarter_us ? PeriodCheck::drops_when_busy : PeriodCheck::fine;
}

std::vector<std::string> policy_remedies(const Facts& facts, const Grant& grant) {
  const bool has_soft = facts.realtime_priority && facts.realtime_priority->soft > 0;
  if (has_soft || facts.may_set_priorities.value_or(false))
    return {
        "the limits allow it and the kernel refuses: a filter of system calls, or a cgroup"
        " without real-time (cpu.rt_runtime_us); start from a session outside of it"};
  if (facts.realtime_priority && facts.realtime_priority->hard > 0)
    return {"ulimit -r " + std::to_string(facts.realtime_priority->hard) +
            " in the shell that starts hosts"};
  if (facts.is_container)
    return {"start the container with --ulimit rtprio=95, for docker run and podman run alike",
            "where that is refused (no root), first on the machine that runs it: " +
                std::string(limits_file),
            "and there " + join_group("audio")};
  std::vector<std::string> remedies;
  if (!facts.group)
    remedies = {limits_file, join_group("audio")};
  else if (facts.group->has_process)
    remedies = {"this session did not get the limit of its group " + facts.group->name +
                ": log out and in again; where that does not help, /etc/pam.d/common-session must"
                " name pam_limits.so, or hosts are started by a service that has limits of its own"
                " (LimitRTPRIO=95)"};
  else if (facts.group->has_user)
    remedies = {"log out and in again: the group " + facts.group->name + " is new to this session"};
  else
    remedies = {join_group(facts.group->name)};
  if (facts.has_realtime_kit && grant.kit)
    remedies.emplace_back("RealtimeKit refused too: systemctl status rtkit-daemon tells why");
  else if (!facts.has_realtime_kit)
    remedies.emplace_back(
        "or, on a desktop with a system bus, for priority 20: sudo apt-get install rtkit");
  return remedies;
}

Check judge_policy(const Facts& facts, const Grant& grant) {
  Check check{"scheduling", policy_text(grant)};
  if (grant.policy == Policy::round_robin) check.found += " from RealtimeKit";
  if (is_real_time(grant)) return check;
  check.verdict = Verdict::to_mend;
  check.meaning =
      "Hosts compete with every other program: what was measured holds until one is busier.";
  check.remedies = policy_remedies(facts, grant);
  return check;
}

Check judge_priority_limit(const Facts& facts, const Grant& grant) {
  Check check{"RLIMIT_RTPRIO"};
  if (!facts.realtime_priority) {
    check.found = "not known";
    check.verdict = Verdict::unknown;
    return check;
  }
  check.found = std::to_string(facts.realtime_priority->soft) + " (at most " +
                std::to_string(facts.realtime_priority->hard) + ")";
  if (facts.may_set_priorities.value_or(false)) check.found += ", CAP_SYS_NICE";
  // What it lacks is mended under scheduling, or somebody else grants it.
  if (!is_real_time(grant) && facts.realtime_priority->soft == 0) {
    check.verdict = Verdict::could_be_better;
    check.remedies = {"see scheduling"};
  }
  return check;
}

Check judge_kit(const Facts& facts, const Grant& grant) {
  Check check{"RealtimeKit"};
  if (grant.kit) {
    check.found = "priority " + std::to_string(grant.kit->priority) + ", " +
                  milliseconds(grant.kit->realtime_us) + " without a pause";
    if (grant.policy == Policy::round_robin) return check;
    check.found = facts.has_realtime_kit ? "refused; " + check.found : "not on the system bus";
    check.verdict = Verdict::could_be_better;
    check.remedies = {"see scheduling"};
  } else if (grant.policy == Policy::fifo) {
    check.found = "not needed";
  } else {
    check.found = "no system bus answers";
    check.verdict = Verdict::unknown;
  }
  return check;
}

Check judge_realtime_limit(const Facts& facts, const Grant& grant) {
  Check check{"RLIMIT_RTTIME", milliseconds(grant.realtime_us.soft)};
  // The longest computation that a host may ask for.
  constexpr std::uint64_t least_us = 50'000;
  if (!is_real_time(grant) || grant.realtime_us.soft >= least_us) return check;
  check.verdict = Verdict::to_mend;
  check.meaning = "A period that takes that long, once, gives its host ordinary scheduling.";
  if (facts.realtime_us && facts.realtime_us->hard > 2 * least_us)
    check.remedies = {"ulimit -S -R " +
                      (facts.realtime_us->hard == unlimited
                           ? "unlimited"
                           : std::to_string(facts.realtime_us->hard)) +
                      " in the shell (bash) that starts hosts"};
  else
    check.remedies = {
        "LimitRTTIME=infinity under [Service] in the unit that starts the session:"
        " sudo systemctl edit user@.service, then log out and in again"};
  return check;
}

Check judge_memory_limit(const Facts& facts) {
  Check check{"RLIMIT_MEMLOCK"};
  if (!facts.locked_bytes) {
    check.found = "not known";
    check.verdict = Verdict::unknown;
    return check;
  }
  constexpr std::uint64_t mebibyte = 1'048'576, enough = 64 * mebibyte;
  check.found = facts.locked_bytes->soft == unlimited
                    ? "unlimited"
                    : std::to_string(facts.locked_bytes->soft / mebibyte) + " MiB";
  if (facts.locked_bytes->soft >= enough) return check;
  check.verdict = Verdict::could_be_better;
  check.meaning = "Hosts lock no memory; plugins with samples and audio servers may want to.";
  if (facts.locked_bytes->hard >= enough)
    check.remedies = {"ulimit -S -l " + (facts.locked_bytes->hard == unlimited
                                             ? "unlimited"
                                             : std::to_string(facts.locked_bytes->hard / 1'024))};
  else if (facts.is_container)
    check.remedies = {"start the container with --ulimit memlock=-1"};
  else
    check.remedies = {limits_file, join_group("audio")};
  return check;
}

Check judge_cpus(const Facts& facts) {
  Check check{"CPUs"};
  if (facts.usable_cpus == 0) {
    check.found = "not known";
    check.verdict = Verdict::unknown;
    return check;
  }
  check.found = std::to_string(facts.usable_cpus) + " usable";
  if (facts.online_cpus > 0) check.found += " of " + std::to_string(facts.online_cpus);
  if (facts.usable_cpus > 1) return check;
  check.verdict = Verdict::could_be_better;
  check.meaning = "Parent and hosts take turns on one CPU; groups of hosts gain nothing.";
  if (facts.online_cpus > 1)
    check.remedies = {facts.is_container
                          ? "start the container without --cpuset-cpus, or with more CPUs in it"
                          : "taskset -c 0-" + std::to_string(facts.online_cpus - 1) + " PROGRAM"};
  return check;
}

Check judge_quota(const Facts& facts, const Grant& grant) {
  Check check{"cgroup quota", facts.cgroup_is_known ? "none" : "not known"};
  if (!facts.cgroup_is_known) check.verdict = Verdict::unknown;
  if (!facts.quota) return check;
  check.found = in_digits(facts.quota->cpus, 2) + " CPUs in each " +
                in_digits(facts.quota->period_ms, 0) + " ms";
  if (facts.usable_cpus > 0 && facts.quota->cpus >= facts.usable_cpus) return check;
  // The quota counts ordinary threads alone.
  check.verdict = is_real_time(grant) ? Verdict::could_be_better : Verdict::to_mend;
  check.meaning = std::string(is_real_time(grant) ? "Parents and editors stand"
                                                  : "Hosts, parents and editors stand") +
                  " still for the rest of the " + in_digits(facts.quota->period_ms, 0) +
                  " ms once it is used up.";
  if (facts.is_container)
    check.remedies = {"start the container without --cpus and --cpu-quota"};
  else
    check.remedies = {
        "systemd-cgls and systemctl show -p CPUQuotaPerSecUSec UNIT find it;"
        " sudo systemctl set-property UNIT CPUQuota= lifts it"};
  return check;
}

Check judge_governor(const Facts& facts) {
  Check check{"CPU governor"};
  for (const std::string& governor : facts.governors)
    check.found += (check.found.empty() ? "" : ", ") + governor;
  if (facts.governors.empty()) {
    check.found = "not known, no cpufreq here";
    check.verdict = Verdict::unknown;
  } else if (facts.governors != std::vector<std::string>{"performance"}) {
    check.verdict = Verdict::could_be_better;
    check.meaning = "CPUs clock up only after load was seen; short periods come and go before.";
    check.remedies = {
        "sudo apt-get install linux-cpupower && sudo cpupower frequency-set -g performance,"
        " until the next start"};
  }
  return check;
}

Check judge_preemption(const Facts& facts) {
  Check check{"kernel preemption"};
  switch (facts.preemption) {
    case Preemption::real_time:
      check.found = "real-time (PREEMPT_RT)";
      return check;
    case Preemption::full:
      check.found = "full";
      return check;
    case Preemption::unknown:
      check.found =
          facts.preemption_is_chosen_at_start ? "not known, chosen at start" : "not known";
      check.verdict = Verdict::unknown;
      if (facts.preemption_is_chosen_at_start)
        check.remedies = {
            "sudo cat /sys/kernel/debug/sched/preempt shows it in brackets; where that is not "
            "full, " +
            std::string(preempt_fully)};
      return check;
    case Preemption::none_or_voluntary:
      break;
  }
  check.found = "none or voluntary";
  check.verdict = Verdict::could_be_better;
  check.meaning = "A system call of another program delays a host for as long as it takes.";
  if (facts.preemption_is_chosen_at_start)
    check.remedies = {preempt_fully};
  else
    check.remedies = {"sudo apt-get install linux-image-rt-amd64 and restart"};
  return check;
}

Check judge_timer(const Facts& facts, const Grant& grant) {
  Check check{"timer", in_digits(grant.timer_ns, 0) + " ns"};
  if (!facts.clock_source.empty()) check.found += ", clock " + facts.clock_source;
  constexpr double coarse_ns = 1'000;
  if (grant.timer_ns > coarse_ns) {
    check.verdict = Verdict::to_mend;
    check.meaning = "Time limits and timers end at the kernel's ticks, milliseconds late.";
    check.remedies = {
        "remove highres=off and nohz=off from GRUB_CMDLINE_LINUX_DEFAULT in /etc/default/grub,"
        " then sudo update-grub and restart"};
  } else if (facts.clock_source == "hpet" || facts.clock_source == "acpi_pm" ||
             facts.clock_source == "jiffies") {
    check.verdict = Verdict::could_be_better;
    check.meaning = "Reading the time is a slow system call; hosts read it in every period.";
    check.remedies = {
        "sudo dmesg | grep -i -E 'tsc|clocksource' tells why the CPU's own clock is"
        " not used"};
  }
  return check;
}

std::string worst_text(const WakeUps& wake_ups) {
  return in_digits(std::ceil(wake_ups.worst_us), 0) + " us";
}

/// What can make wake-ups late has been judged before; where they are, it has to be mended.
Check judge_wake_ups(const Grant& grant, std::vector<Check>& causes) {
  Check check{"worst wake-up",
              worst_text(grant.idle) + ", all CPUs busy " + worst_text(grant.busy)};
  const auto outcome = outcome_of(usual_frames, grant);
  if (outcome == PeriodCheck::fine) return check;
  check.verdict = Verdict::to_mend;
  check.meaning = "More than a quarter of a period of " + std::to_string(usual_frames) +
                  " frames at " + std::to_string(usual_rate / 1'000) + " kHz.";
  for (const Check& cause : causes)
    if ((cause.name == "scheduling" || cause.name == "CPU governor" ||
         cause.name == "kernel preemption") &&
        !cause.remedies.empty())
      check.remedies.push_back("see " + cause.name);
  if (check.remedies.empty())
    check.remedies = {
        "longer periods; a virtual machine's host may have taken the CPU away"
        " (st in top); sudo apt-get install linux-image-rt-amd64 and restart"};
  return check;
}

}  // namespace

std::string policy_text(const Grant& grant) {
  if (!is_real_time(grant)) return "ordinary scheduling";
  return (grant.policy == Policy::fifo ? "SCHED_FIFO " : "SCHED_RR ") +
         std::to_string(grant.priority);
}

bool Diagnosis::is_fine() const {
  return std::ranges::none_of(checks,
                              [](const Check& check) { return check.verdict == Verdict::to_mend; });
}

Diagnosis judge(const Facts& facts, const Grant& grant) {
  Diagnosis diagnosis;
  diagnosis.checks = {judge_policy(facts, grant), judge_priority_limit(facts, grant),
                      judge_kit(facts, grant),    judge_realtime_limit(facts, grant),
                      judge_memory_limit(facts),  judge_cpus(facts),
                      judge_quota(facts, grant),  judge_governor(facts),
                      judge_preemption(facts),    judge_timer(facts, grant)};
  // A container has its machine's kernel, and may not change it.
  if (facts.is_container)
    for (Check& check : diagnosis.checks)
      if (check.name == "CPU governor" || check.name == "kernel preemption" ||
          check.name == "timer")
        for (std::string& remedy : check.remedies)
          remedy.insert(0, "on the machine that runs this container: ");
  diagnosis.checks.push_back(judge_wake_ups(grant, diagnosis.checks));
  for (const int frames : {32, 64, 128, 256, 512, 1'024})
    diagnosis.periods.push_back({frames, outcome_of(frames, grant)});
  return diagnosis;
}

}  // namespace vesk::tools
