// A host that writes anything into the block, the record and its output costs the parent nothing
// but that host: every call ends within its limit, memory does not grow, no thread of the parent
// moves.
#include <gtest/gtest.h>
#include <sched.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <fstream>

#include "tests/client/client_host.hpp"

using namespace vesk::client;
using namespace vesk::client_test;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {

/// What a call may take beyond its own limit on a busy machine.
constexpr auto leeway = 10s;

bool all_threads_may_use(const cpu_set_t& cpus) {
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) {
    cpu_set_t now;
    CPU_ZERO(&now);
    const int thread = std::atoi(entry.path().filename().c_str());
    if (sched_getaffinity(thread, sizeof now, &now) == 0 && !CPU_EQUAL(&now, &cpus)) return false;
  }
  return true;
}

long resident_kib() {
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;)
    if (long kib = 0; word == "VmRSS:" && status >> kib) return kib;
  return 0;
}

bool is_printable(const std::string& text) {
  return std::none_of(text.begin(), text.end(), [](char c) {
    return (static_cast<unsigned char>(c) < 0x20 && c != '\t') || c == 0x7f;
  });
}

class ClientLies : public testing::TestWithParam<const char*> {
 protected:
  template <typename Call>
  void in_time(const char* name, std::chrono::milliseconds limit, Call call) {
    const auto start = Clock::now();
    call();
    EXPECT_LT(Clock::now() - start, limit + leeway) << name;
  }

  /// Everything that a parent may ask of a host.
  void use(HostProcess& host) {
    for (int i = 0; i < 100; ++i) {
      in_time("render", 2ms, [&] { host.render(64, i, {}, 2ms); });
      in_time("request", 0ms, [&] { host.request(64, i, {}); });
      in_time("collect", 2ms, [&] { host.collect(2ms); });
      host.set_parameter(0, static_cast<std::uint32_t>(i), 1);
      EXPECT_LE(host.open_mask(), 1u);
      if (const auto plugin = host.next_saved_notice()) EXPECT_EQ(*plugin, 0u);
      if (i % 10 == 0) host.open_editor(0, "a");
      if (i % 20 == 0) in_time("settle", 5ms, [&] { host.settle(5ms); });
      if (i % 20 == 0) in_time("diagnose", 20ms, [&] { host.diagnose(); });
    }
    EXPECT_TRUE(std::isfinite(host.latency_seconds()) && host.latency_seconds() >= 0);
    for (const auto& lines : {host.last_lines(), host.plugin_lines()})
      EXPECT_TRUE(std::all_of(lines.begin(), lines.end(), is_printable));
  }
};

TEST_P(ClientLies, CostTheParentNothingButTheHost) {
  cpu_set_t cpus;
  CPU_ZERO(&cpus);
  sched_getaffinity(0, sizeof cpus, &cpus);
  [[maybe_unused]] const long before = resident_kib();
  for (const Mode mode : {Mode::real_time, Mode::offline}) {
    Options start = options(GetParam(), mode);
    start.start_limit = 1s;
    start.stop_limit = 100ms;
    start.hang_limit = 1ms;
    std::string error;
    std::unique_ptr<HostProcess> host;
    in_time("start", 5s, [&] { host = HostProcess::start(start, error); });
    EXPECT_NE(host == nullptr, error.empty());
    EXPECT_TRUE(is_printable(error)) << error;
    if (host == nullptr) continue;
    use(*host);
    EXPECT_TRUE(all_threads_may_use(cpus));
    in_time("stop", 9s, [&] { EXPECT_TRUE(host->stop().known); });
    EXPECT_TRUE(is_printable(host->obituary())) << host->obituary();
  }
#ifndef VESK_SANITIZER
  // A sanitizer keeps what was freed.
  EXPECT_LT(resident_kib() - before, 64 * 1024);
#endif
}

INSTANTIATE_TEST_SUITE_P(Seeds, ClientLies,
                         testing::Values("lie=1", "lie=2", "lie_early=3", "lie_early=4"));

}  // namespace
