// How the main thread sleeps while nobody wants anything of it.

#include "platform/parent_bell.hpp"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <iterator>

#include "platform/linux/dispatch/run_loop.hpp"
#include "platform/linux/records/parent_record.hpp"

namespace vesk::platform {

namespace {

constexpr std::uint64_t second_ns = 1'000'000'000;

// Main thread only.
bool g_is_rung = false;

}  // namespace

std::uint64_t longest_wait_ns(std::uint64_t looking_ns) {
  return parent_bell() < 0 ? looking_ns : second_ns;
}

bool hear_bell() {
  std::uint64_t rings;
  if (parent_bell() >= 0 && ::read(parent_bell(), &rings, sizeof rings) == sizeof rings)
    g_is_rung = true;
  return g_is_rung;
}

void sleep_without_windows(std::uint64_t limit_ns) {
  const std::uint64_t time = loop::now();
  const std::uint64_t next = next_deadline();
  const std::uint64_t left = next > time ? std::min(next - time, limit_ns) : 0;
  const timespec limit{static_cast<time_t>(left / second_ns), static_cast<long>(left % second_ns)};
  pollfd watched[] = {{.fd = loop::wake_descriptor(), .events = POLLIN, .revents = 0},
                      {.fd = parent_bell(), .events = POLLIN, .revents = 0}};
  ::ppoll(watched, std::size(watched), &limit, nullptr);
}

double sleep_until_rung(double seconds, Sleep sleep) {
  if (parent_bell() < 0 || !(seconds > 0)) return seconds;
  if (!hear_bell()) sleep(static_cast<std::uint64_t>(seconds * second_ns));
  // Before the turn looks at what the parent has written: a ring for something newer stays.
  hear_bell();
  g_is_rung = false;
  return 0;
}

}  // namespace vesk::platform
