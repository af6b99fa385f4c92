#include "vesk/host_process.hpp"

#include <chrono>
#include <exception>
#include <thread>
#include <type_traits>

#include "client/src/address_wait.hpp"
#include "client/src/deadline.hpp"
#include "client/src/diagnosis.hpp"
#include "client/src/host_impl.hpp"

namespace vesk::client {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;

namespace {

/// Runs what may throw (memory that cannot be had) on behalf of a caller who must not see it.
template <typename Call>
auto guarded(std::string& error, Call&& call) noexcept -> decltype(call()) {
  try {
    return call();
  } catch (const std::exception& failure) {
    try {
      error = failure.what();
    } catch (...) {
      error.clear();
    }
    return {};
  }
}

template <typename Call>
auto guarded(Call&& call) noexcept -> decltype(call()) {
  try {
    return call();
  } catch (const std::exception&) {
    if constexpr (std::is_void_v<decltype(call())>)
      return;
    else
      return {};
  }
}

/// The same for a call that the audio thread must not make.
template <typename Call>
auto controlled(const HostImpl& host, Call&& call) noexcept -> decltype(call()) {
  host.driver.threads().expect_control();
  return guarded(call);
}

}  // namespace

HostProcess::HostProcess(std::unique_ptr<HostImpl> impl) noexcept : impl_(std::move(impl)) {}
HostProcess::~HostProcess() = default;

std::unique_ptr<HostProcess> HostProcess::spawn(const Options& options,
                                                std::string& error) noexcept {
  return guarded(error, [&]() -> std::unique_ptr<HostProcess> {
    std::unique_ptr<HostImpl> impl = HostImpl::spawn(options, error);
    if (impl == nullptr) return nullptr;
    // What it throws, `guarded` catches. NOLINTNEXTLINE(bugprone-unhandled-exception-at-new)
    return std::unique_ptr<HostProcess>(new HostProcess(std::move(impl)));
  });
}

std::unique_ptr<HostProcess> HostProcess::start(const Options& options,
                                                std::string& error) noexcept {
  std::unique_ptr<HostProcess> host = spawn(options, error);
  if (host != nullptr && !host->wait_ready(error)) host.reset();
  return host;
}

bool HostProcess::wait_ready(std::string& error) noexcept {
  return guarded(error, [&] {
    if (impl_->driver.is_listening() && !has_ended()) return true;
    return impl_->wait_ready(error);
  });
}

Ending HostProcess::stop() noexcept {
  return guarded([&] { return impl_->stop(); });
}

Ending HostProcess::end_hung() noexcept {
  return guarded([&] { return impl_->end_hung(); });
}

void HostProcess::set_parameter(unsigned plugin, std::uint32_t id, float value) noexcept {
  controlled(*impl_, [&] {
    {
      const std::lock_guard lock(impl_->mutex);
      if (impl_->ended) return;
      const bool was_settled = impl_->rings.is_settled();
      impl_->rings.set_parameter(plugin, id, value);
      // While something is under way the background thread looks again by itself.
      if (!was_settled) return;
    }
    impl_->watcher->poke();
  });
}

void HostProcess::open_editor(unsigned plugin, const std::string& title) noexcept {
  controlled(*impl_, [&] {
    {
      const std::lock_guard lock(impl_->mutex);
      if (impl_->ended) return;
      impl_->rings.open_editor(plugin, title);
    }
    impl_->watcher->poke();
  });
}

void HostProcess::close_editors() noexcept {
  controlled(*impl_, [&] {
    {
      const std::lock_guard lock(impl_->mutex);
      if (impl_->ended) return;
      impl_->rings.close_editors();
    }
    impl_->watcher->poke();
  });
}

bool HostProcess::settle(milliseconds limit) noexcept {
  return controlled(*impl_, [&] {
    const std::int64_t deadline = deadline_after(now_ns(), limit);
    for (;;) {
      {
        const std::lock_guard lock(impl_->mutex);
        if (impl_->rings.is_settled()) return true;
        if (impl_->check_ended()) return false;
      }
      if (now_ns() >= deadline) return false;
      std::this_thread::sleep_for(milliseconds(2));
    }
  });
}

std::uint32_t HostProcess::open_mask() noexcept {
  return controlled(*impl_, [&]() -> std::uint32_t {
    const std::lock_guard lock(impl_->mutex);
    if (impl_->check_ended()) return 0;
    impl_->rings.turn(now_ns());
    return impl_->rings.open_mask();
  });
}

std::optional<unsigned> HostProcess::next_saved_notice() noexcept {
  return controlled(*impl_, [&] {
    const std::lock_guard lock(impl_->mutex);
    impl_->rings.read_saved();
    return impl_->rings.next_saved();
  });
}

unsigned HostProcess::lost_saved_notices() noexcept {
  return controlled(*impl_, [&] {
    const std::lock_guard lock(impl_->mutex);
    return impl_->rings.lost_saved();
  });
}

Health HostProcess::diagnose() noexcept {
  return controlled(*impl_, [&] { return client::diagnose(*impl_); });
}

std::string HostProcess::obituary() noexcept {
  return controlled(*impl_, [&] { return impl_->obituary(); });
}

std::vector<std::string> HostProcess::last_lines() noexcept {
  return controlled(*impl_, [&] {
    const std::lock_guard lock(impl_->mutex);
    if (!impl_->ended) impl_->drain_output();
    const auto& lines = impl_->lines.host_lines();
    return std::vector<std::string>(lines.begin(), lines.end());
  });
}

std::vector<std::string> HostProcess::plugin_lines() noexcept {
  return controlled(*impl_, [&] {
    const std::lock_guard lock(impl_->mutex);
    if (!impl_->ended) impl_->drain_output();
    const auto& lines = impl_->lines.plugin_lines();
    return std::vector<std::string>(lines.begin(), lines.end());
  });
}

Ending HostProcess::ending() noexcept {
  return controlled(*impl_, [&] {
    const std::lock_guard lock(impl_->mutex);
    impl_->check_ended();
    return impl_->ending;
  });
}

CpuTime HostProcess::cpu_time() noexcept {
  return controlled(*impl_, [&] { return process_cpu_time(pid()); });
}

LoadTimes HostProcess::load_times() const noexcept {
  return controlled(*impl_, [&] {
    const std::lock_guard lock(impl_->mutex);
    return impl_->load_times;
  });
}

double HostProcess::latency_seconds() const noexcept {
  return controlled(*impl_, [&] {
    const std::lock_guard lock(impl_->mutex);
    return impl_->driver.is_listening() ? impl_->latency_seconds : 0;
  });
}

int HostProcess::pid() const noexcept {
  return impl_->child->pid();
}

const Options& HostProcess::options() const noexcept {
  return impl_->options;
}

std::span<float> HostProcess::input(unsigned channel) noexcept VESK_REALTIME {
  return impl_->driver.input(channel);
}

std::span<const float> HostProcess::output(unsigned channel) const noexcept VESK_REALTIME {
  return impl_->driver.output(channel);
}

void HostProcess::set_transport(const Transport& transport) noexcept VESK_REALTIME {
  impl_->driver.set_transport(transport);
}

Answer HostProcess::render(unsigned frames, double sample_time, std::span<const MidiEvent> events,
                           nanoseconds limit) noexcept VESK_REALTIME {
  return impl_->driver.render(frames, sample_time, events, limit);
}

Answer HostProcess::request(unsigned frames, double sample_time,
                            std::span<const MidiEvent> events) noexcept VESK_REALTIME {
  return impl_->driver.request(frames, sample_time, events);
}

Answer HostProcess::collect(nanoseconds limit) noexcept VESK_REALTIME {
  return impl_->driver.collect(limit);
}

bool HostProcess::is_pending() const noexcept VESK_REALTIME {
  return impl_->driver.is_pending();
}

bool HostProcess::has_ended() const noexcept VESK_REALTIME {
  return impl_->driver.is_gone();
}

AnswerTimes HostProcess::answer_times() const noexcept VESK_REALTIME {
  return impl_->driver.answer_times();
}

}  // namespace vesk::client
