#include "client/src/diagnosis.hpp"

#include <algorithm>

#include "client/src/address_wait.hpp"
#include "client/src/host_impl.hpp"

namespace vesk::client {

using std::chrono::milliseconds;

namespace {

/// Offline there is no pace to keep; an answer that takes this long is worth a word.
constexpr std::int64_t slow_offline_ns = 1'000'000'000;

}  // namespace

Health diagnose(HostImpl& host) {
  int pid = 0, thread = 0;
  {
    const std::lock_guard lock(host.mutex);
    if (host.check_ended()) return Health::dead;
    if (!host.driver.is_listening()) return Health::starting;
    pid = host.child->pid();
    thread = host.render_thread;
  }
  const std::int64_t sent = host.driver.pending_since_ns();
  const std::int64_t age = sent == 0 ? 0 : std::max<std::int64_t>(now_ns() - sent, 0);
  if (age > hang_limit(host.options).count()) {
    const bool running = is_running(pid, thread, milliseconds(20));
    // It may have answered or ended while it was watched.
    if (host.driver.pending_since_ns() == sent) {
      const std::lock_guard lock(host.mutex);
      if (host.check_ended()) return Health::dead;
      return running ? Health::hung_spinning : Health::hung_blocked;
    }
  }
  const bool real_time = host.options.mode == Mode::real_time;
  const std::int64_t slow = real_time ? period_length(host.options).count() : slow_offline_ns;
  const auto recent =
      static_cast<std::int64_t>(static_cast<double>(host.driver.answer_times().recent_us) * 1e3);
  return std::max(age, recent) > slow ? Health::slow : Health::ready;
}

}  // namespace vesk::client
