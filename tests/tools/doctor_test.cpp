// What vesk-doctor reads, how it judges, and that it says of this machine what is true.

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <thread>

#include "tests/support/child_process.hpp"
#include "tests/support/program.hpp"
#include "tests/support/realtime_kit_service.hpp"
#include "tests/support/scratch_folder.hpp"
#include "tools/doctor/facts.hpp"
#include "tools/doctor/grant.hpp"
#include "tools/doctor/judge.hpp"
#include "tools/doctor/report.hpp"
#include "tools/program/json.hpp"

namespace vesk::tools {
namespace {

/// A folder that stands for a machine's root.
class Machine {
 public:
  struct File {
    const char* path;
    const char* text;
  };
  Machine(std::initializer_list<File> files) {
    for (const File& file : files) {
      const std::filesystem::path path = folder_ / file.path;
      std::filesystem::create_directories(path.parent_path());
      std::ofstream(path) << file.text;
    }
  }
  Facts facts() const { return read_facts(folder_.path()); }

 private:
  tests::ScratchFolder folder_;
};

TEST(doctor, ReadsWhatFilesTell) {
  const Facts facts =
      Machine{{"proc/self/limits",
               "Limit                     Soft Limit           Hard Limit           Units     \n"
               "Max locked memory         8388608              unlimited            bytes     \n"
               "Max realtime priority     0                    95                   \n"
               "Max realtime timeout      unlimited            200000               us        \n"},
              {"proc/self/status",
               "Name:\tx\nUid:\t1000\t1000\t1000\t1000\nGroups:\t29 1000 \n"
               "CapEff:\t0000000000800000\nCpus_allowed_list:\t0-1,4\n"},
              {"sys/devices/system/cpu/online", "0-7\n"},
              {"sys/devices/system/cpu/cpu0/cpufreq/scaling_governor", "schedutil\n"},
              {"sys/devices/system/cpu/cpu1/cpufreq/scaling_governor", "performance\n"},
              {"sys/devices/system/cpu/cpu2/cpufreq/scaling_governor", "schedutil\n"},
              {"sys/devices/system/clocksource/clocksource0/current_clocksource", "hpet\n"},
              {"usr/share/dbus-1/system-services/org.freedesktop.RealtimeKit1.service", ""},
              {"run/.containerenv", ""}}
          .facts();
  EXPECT_EQ(facts.locked_bytes.value().soft, 8'388'608u);
  EXPECT_EQ(facts.locked_bytes.value().hard, unlimited);
  EXPECT_EQ(facts.realtime_priority.value().soft, 0u);
  EXPECT_EQ(facts.realtime_priority.value().hard, 95u);
  EXPECT_EQ(facts.realtime_us.value().hard, 200'000u);
  EXPECT_TRUE(facts.may_set_priorities.value());
  EXPECT_EQ(facts.usable_cpus, 3);
  EXPECT_EQ(facts.online_cpus, 8);
  EXPECT_EQ(facts.governors, (std::vector<std::string>{"performance", "schedutil"}));
  EXPECT_EQ(facts.clock_source, "hpet");
  EXPECT_TRUE(facts.has_realtime_kit && facts.is_container);
}

TEST(doctor, ARightInAUserNamespaceDoesNotCount) {
  constexpr char status[] = "CapEff:\t000001ffffffffff\n";
  const Machine first{{"proc/self/status", status}, {"proc/self/uid_map", " 0 0 4294967295\n"}};
  const Machine own{{"proc/self/status", status}, {"proc/self/uid_map", " 0 1000 1\n 1 9 65536\n"}};
  EXPECT_TRUE(first.facts().may_set_priorities.value());
  EXPECT_FALSE(own.facts().may_set_priorities.value());
}

TEST(doctor, KnowsNothingWhereThereIsNothingOrNonsense) {
  for (const Machine& machine :
       {Machine{},
        Machine{{"proc/self/limits", "Max realtime priority\nMax locked memory many unlimited\n"},
                {"proc/self/status", "CapEff:\tzz\nCpus_allowed_list:\t3-1\nUid:\n"},
                {"proc/self/cgroup", "0\n1:cpu\n0::/../outside\n"},
                {"etc/security/limits.conf", "@audio - rtprio\n"}}}) {
    const Facts facts = machine.facts();
    EXPECT_FALSE(facts.realtime_priority || facts.locked_bytes || facts.may_set_priorities);
    EXPECT_FALSE(facts.group || facts.quota || facts.cgroup_is_known);
    EXPECT_EQ(facts.usable_cpus, 0);
    EXPECT_EQ(facts.preemption, Preemption::unknown);
    EXPECT_FALSE(facts.is_container || facts.has_realtime_kit);
    for (const Check& check : judge(facts, Grant{}).checks) {
      const bool is_read = check.name != "scheduling" && check.name != "RLIMIT_RTTIME" &&
                           check.name != "timer" && check.name != "worst wake-up";
      if (is_read) EXPECT_EQ(check.verdict, Verdict::unknown) << check.name;
    }
  }
}

TEST(doctor, TheSmallestQuotaOnTheWayUpCounts) {
  const struct {
    const char* name;
    Machine machine;
    bool is_known;
    double cpus;  // 0: none
  } cases[] = {
      {"none in a container",
       {{"proc/self/cgroup", "0::/\n"}, {"sys/fs/cgroup/cpu.max", "max 100000\n"}},
       true,
       0},
      {"above",
       {{"proc/self/cgroup", "0::/a/b\n"},
        {"sys/fs/cgroup/a/cpu.max", "50000 100000\n"},
        {"sys/fs/cgroup/a/b/cpu.max", "150000 100000\n"}},
       true,
       0.5},
      {"version 1",
       {{"proc/self/cgroup", "4:cpuset:/\n2:cpu,cpuacct:/a\n"},
        {"sys/fs/cgroup/cpu,cpuacct/cpu.cfs_quota_us", "-1\n"},
        {"sys/fs/cgroup/cpu,cpuacct/a/cpu.cfs_quota_us", "250000\n"},
        {"sys/fs/cgroup/cpu,cpuacct/a/cpu.cfs_period_us", "100000\n"}},
       true,
       2.5},
      {"a tree that is not mounted", {{"proc/self/cgroup", "0::/a\n"}}, false, 0},
  };
  for (const auto& c : cases) {
    const Facts facts = c.machine.facts();
    EXPECT_EQ(facts.cgroup_is_known, c.is_known) << c.name;
    EXPECT_EQ(facts.quota ? facts.quota->cpus : 0, c.cpus) << c.name;
  }
}

TEST(doctor, PreemptionIsTakenFromWhateverTellsIt) {
  using enum Preemption;
  const struct {
    const char *version, *config, *command_line;
    Preemption preemption;
  } cases[] = {
      {"#1 SMP PREEMPT_RT Debian 6.1", "", "preempt=none", real_time},
      {"#1 SMP PREEMPT Debian 5.10", "", "", full},
      {"#1 SMP Debian 5.10", "", "preempt=full", none_or_voluntary},
      {"#1 SMP PREEMPT_DYNAMIC Debian", "", "quiet", unknown},
      {"#1 SMP PREEMPT_DYNAMIC Debian", "", "quiet preempt=full\n", full},
      {"#1 SMP PREEMPT_DYNAMIC Debian", "CONFIG_PREEMPT=y\n", "preempt=voluntary",
       none_or_voluntary},
      {"#1 SMP PREEMPT_DYNAMIC Debian", "CONFIG_PREEMPT_VOLUNTARY=y\nCONFIG_PREEMPT_DYNAMIC=y\n",
       "", none_or_voluntary},
  };
  for (const auto& c : cases) {
    const Machine machine{{"proc/sys/kernel/version", c.version},
                          {"proc/sys/kernel/osrelease", "6.1\n"},
                          {"boot/config-6.1", c.config},
                          {"proc/cmdline", c.command_line}};
    EXPECT_EQ(machine.facts().preemption, c.preemption)
        << c.version << ", " << c.config << ", " << c.command_line;
  }
}

TEST(doctor, FindsTheGroupThatNeedsLeastToBeDone) {
  constexpr char files[] = "# @wheel - rtprio 9\n@sound - rtprio 90\n@audio - rtprio 95\n";
  const struct {
    const char *groups, *members;
    const char* name;
    bool has_process, has_user;
  } cases[] = {
      {"1000", "sound:x:7:bo\naudio:x:29:\n", "audio", false, false},
      {"1000", "sound:x:7:bo,ann\naudio:x:29:\n", "sound", false, true},
      {"29 7", "sound:x:77:ann\naudio:x:7:\n", "audio", true, false},
  };
  for (const auto& c : cases) {
    const std::string status = std::string("Uid:\t1000\t0\nGroups:\t") + c.groups + '\n';
    const Machine machine{{"proc/self/status", status.c_str()},
                          {"etc/security/limits.d/a.conf", files},
                          {"etc/security/limits.d/b.conf.disabled", "@other - rtprio 95\n"},
                          {"etc/passwd", "root:x:0:0::/:\nann:x:1000:100::/:\n"},
                          {"etc/group", c.members}};
    const RealtimeGroup group = machine.facts().group.value();
    EXPECT_EQ(group.name, c.name);
    EXPECT_EQ(group.has_process, c.has_process) << c.members;
    EXPECT_EQ(group.has_user, c.has_user) << c.members;
  }
}

Facts good_facts() {
  Facts facts;
  facts.realtime_priority = Limit{95, 95};
  facts.realtime_us = Limit{unlimited, unlimited};
  facts.locked_bytes = Limit{unlimited, unlimited};
  facts.may_set_priorities = false;
  facts.usable_cpus = facts.online_cpus = 4;
  facts.cgroup_is_known = true;
  facts.governors = {"performance"};
  facts.preemption = Preemption::full;
  facts.clock_source = "tsc";
  return facts;
}

Grant good_grant() {
  return {Policy::fifo, 52, {500'000, unlimited}, std::nullopt, 1, {999, 5, 40}, {999, 6, 80}};
}

void refuse(Facts& facts, Grant& grant) {
  facts.realtime_priority = Limit{0, 0};
  grant.policy = Policy::ordinary;
  grant.priority = 0;
}

TEST(doctor, EveryFaultHasItsVerdictAndItsRemedy) {
  using enum Verdict;
  const struct {
    const char* check;
    Verdict verdict;
    const char* remedy;
    std::function<void(Facts&, Grant&)> change;
  } cases[] = {
      {"scheduling", to_mend, "limits.d/95-realtime-audio.conf", refuse},
      {"scheduling", to_mend, "apt-get install rtkit", refuse},
      {"scheduling", to_mend, "adduser \"$USER\" sound,",
       [](Facts& f, Grant& g) { refuse(f, g), f.group = RealtimeGroup{"sound"}; }},
      {"scheduling", to_mend, "log out and in again: the group audio",
       [](Facts& f, Grant& g) { refuse(f, g), f.group = RealtimeGroup{"audio", false, true}; }},
      {"scheduling", to_mend, "pam_limits.so",
       [](Facts& f, Grant& g) { refuse(f, g), f.group = RealtimeGroup{"audio", true, true}; }},
      {"scheduling", to_mend, "--ulimit rtprio=95",
       [](Facts& f, Grant& g) { refuse(f, g), f.is_container = true; }},
      {"scheduling", to_mend, "ulimit -r 80",
       [](Facts& f, Grant& g) { refuse(f, g), f.realtime_priority = Limit{0, 80}; }},
      {"scheduling", to_mend, "cpu.rt_runtime_us",
       [](Facts& f, Grant& g) { refuse(f, g), f.may_set_priorities = true; }},
      {"scheduling", to_mend, "systemctl status rtkit-daemon",
       [](Facts& f, Grant& g) {
         refuse(f, g), f.has_realtime_kit = true, g.kit = KitLimits{20, 200'000};
       }},
      {"RealtimeKit", unknown, "", refuse},
      {"RLIMIT_RTTIME", to_mend, "ulimit -S -R unlimited",
       [](Facts&, Grant& g) { g.realtime_us.soft = 20'000; }},
      {"RLIMIT_RTTIME", to_mend, "LimitRTTIME=infinity",
       [](Facts& f, Grant& g) { g.realtime_us.soft = 20'000, f.realtime_us = Limit{0, 30'000}; }},
      {"RLIMIT_MEMLOCK", could_be_better, "memlock unlimited",
       [](Facts& f, Grant&) { f.locked_bytes = Limit{8'388'608, 8'388'608}; }},
      {"CPUs", could_be_better, "taskset -c 0-3", [](Facts& f, Grant&) { f.usable_cpus = 1; }},
      {"cgroup quota", could_be_better,
       "CPUQuota=", [](Facts& f, Grant&) { f.quota = Quota{3.5, 100}; }},
      {"cgroup quota", fine, "", [](Facts& f, Grant&) { f.quota = Quota{4, 100}; }},
      {"cgroup quota", to_mend, "--cpus",
       [](Facts& f, Grant& g) { refuse(f, g), f.quota = Quota{1, 100}, f.is_container = true; }},
      {"CPU governor", could_be_better, "cpupower frequency-set -g performance",
       [](Facts& f, Grant&) { f.governors = {"performance", "powersave"}; }},
      {"kernel preemption", could_be_better, "preempt=full",
       [](Facts& f, Grant&) {
         f.preemption = Preemption::none_or_voluntary, f.preemption_is_chosen_at_start = true;
       }},
      {"kernel preemption", unknown, "on the machine that runs this container: sudo cat",
       [](Facts& f, Grant&) {
         f.preemption = Preemption::unknown, f.preemption_is_chosen_at_start = true;
         f.is_container = true;
       }},
      {"timer", to_mend, "highres=off", [](Facts&, Grant& g) { g.timer_ns = 4e6; }},
      {"timer", could_be_better, "dmesg", [](Facts& f, Grant&) { f.clock_source = "hpet"; }},
      {"worst wake-up", to_mend, "see CPU governor",
       [](Facts& f, Grant& g) { g.busy.worst_us = 700, f.governors = {"schedutil"}; }},
      {"worst wake-up", to_mend, "linux-image-rt-amd64",
       [](Facts&, Grant& g) { g.idle.worst_us = 700; }},
  };
  EXPECT_TRUE(judge(good_facts(), good_grant()).is_fine());
  for (const auto& c : cases) {
    Facts facts = good_facts();
    Grant grant = good_grant();
    c.change(facts, grant);
    const Diagnosis diagnosis = judge(facts, grant);
    for (const Check& check : diagnosis.checks) {
      if (check.name != c.check) continue;
      std::string remedies;
      for (const std::string& remedy : check.remedies) remedies += remedy + '\n';
      EXPECT_EQ(check.verdict, c.verdict) << c.check << ' ' << c.remedy;
      EXPECT_NE(remedies.find(c.remedy), std::string::npos) << c.remedy << " in " << remedies;
      EXPECT_EQ(remedies.empty(), *c.remedy == '\0') << c.check;
    }
    if (c.verdict == to_mend) EXPECT_FALSE(diagnosis.is_fine()) << c.remedy;
    if (c.verdict == could_be_better) EXPECT_TRUE(diagnosis.is_fine()) << c.remedy;
  }
}

TEST(doctor, APeriodIsFourTimesTheWorstWakeUp) {
  Grant grant = good_grant();
  grant.idle.worst_us = 300;  // a quarter of 64 frames is 333 us
  grant.busy.worst_us = 700;  // of 128 frames 667 us
  std::string text = doctor_text(judge(good_facts(), grant), grant);
  EXPECT_NE(text.find("    32 frames,  0.67 ms  will drop\n"
                      "    64 frames,  1.33 ms  will drop when another program is busy\n"
                      "   128 frames,  2.67 ms  will drop when another program is busy\n"
                      "   256 frames,  5.33 ms  fine\n"),
            std::string::npos)
      << text;
  EXPECT_NE(text.find("worst wake-up      300 us, all CPUs busy 700 us  to mend\n"),
            std::string::npos)
      << text;
  grant.policy = Policy::ordinary;
  text = doctor_text(judge(good_facts(), grant), grant);
  EXPECT_NE(text.find("256 frames,  5.33 ms  fine as measured, but nothing promises it\n"),
            std::string::npos)
      << text;
}

TEST(doctor, SeesWhatRealtimeKitGrants) {
  using Service = tests::RealtimeKitService;
  const Service service(Service::grants);
  if (!service.why_not().empty()) GTEST_SKIP() << service.why_not();
  const tests::ChildEnd end = tests::run_in_child([&] {
    setenv("DBUS_SYSTEM_BUS_ADDRESS", service.bus().c_str(), 1);
    const rlimit none = {0, 0};
    constexpr uid_t nobody = 65534;
    if (setrlimit(RLIMIT_RTPRIO, &none) != 0 || (getuid() == 0 && setuid(nobody) != 0)) return 2;
    const Grant grant = ask_and_measure(usual_frames, usual_rate, [](double) {});
    // The service of the test says yes and sets nothing: its limits tell that it was asked.
    return grant.kit && grant.kit->priority == 15 && grant.kit->realtime_us == 100'000 &&
                   grant.realtime_us.hard == 100'000
               ? 0
               : 1;
  });
  EXPECT_TRUE(end.exited_with(0)) << end.status << end.standard_error;
}

TEST(doctor, TheProgramTellsWhatIsTrueHere) {
  // Whether a process like this one may take real-time scheduling itself.
  bool may = false;
  std::thread([&may] {
    const sched_param lowest = {1};
    may = sched_setscheduler(0, SCHED_FIFO, &lowest) == 0;
  }).join();
  const tests::ProgramOptions no_bus{
      .environment = {"DBUS_SYSTEM_BUS_ADDRESS=unix:path=/nonexistent"}};
  const std::string program = tests::build_tree() + "/bin/vesk-doctor";
  const tests::ProgramResult result = tests::run_program({program, "--json"}, no_bus);
  const Json found = Json::parse(result.output, nullptr, false);
  ASSERT_TRUE(found.is_object()) << result.output << result.errors;
  EXPECT_EQ(found["policy"], may ? "SCHED_FIFO" : "SCHED_OTHER");
  EXPECT_EQ(result.status, found["fine"].get<bool>() ? 0 : 1);
  EXPECT_EQ(result.errors, "");
  for (const char* load : {"idle", "busy"}) {
    const Json& wake_ups = found["wake_ups"][load];
    EXPECT_GE(wake_ups["count"], 1);
    EXPECT_GT(wake_ups["median_us"].get<float>(), 0);
    EXPECT_GE(wake_ups["worst_us"].get<float>(), wake_ups["median_us"].get<float>());
  }
  EXPECT_EQ(tests::run_program({program, "words"}).status, 2);
}

}  // namespace
}  // namespace vesk::tools
