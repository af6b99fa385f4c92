#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstring>

#include "client/src/address_wait.hpp"
#include "client/src/deadline.hpp"
#include "client/src/host_impl.hpp"
#include "host/atomics.hpp"

namespace vesk::client {

using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;

namespace {

/// A host that has said "failed" disposes of its plugins and ends by itself.
constexpr nanoseconds after_failure = std::chrono::seconds(2);
/// Between two probes: a render thread starts within a millisecond of "ready", but may first ask
/// a bus service for its policy.
constexpr nanoseconds first_probe = microseconds(200);
constexpr nanoseconds longest_probe = milliseconds(4);
/// How long a host is left alone before its memory map is looked at.
constexpr nanoseconds first_map_look = milliseconds(2);

double milliseconds_since(std::int64_t start) {
  return static_cast<double>(now_ns() - start) / 1e6;
}

/// How long to sleep between two looks at a loading host: short where most are ready soon, long
/// for a sampler that reads gigabytes.
nanoseconds look_interval(std::int64_t waited) {
  return std::clamp<nanoseconds>(nanoseconds(waited / 64), microseconds(20), milliseconds(10));
}

std::string load_error(const host::Block& block) {
  std::string text(block.error, strnlen(block.error, host::error_bytes));
  replace_controls(text);
  if (text.empty()) text = "the chain failed to load, and the host gave no reason";
  return text;
}

}  // namespace

bool HostImpl::wait_ready(std::string& error) {
  const std::int64_t deadline = deadline_after(spawned_ns, start_limit(options, plugins));
  nanoseconds probe_wait = first_probe;
  for (;;) {
    const StartLook look = look_at_start();
    if (look == StartLook::failed) {
      child->wait_for_exit(after_failure);
      return end_start(error, load_error(block->block()));
    }
    if (look == StartLook::ended) return end_start(error, "the host did not start");
    const std::int64_t now = now_ns();
    if (now >= deadline)
      return end_start(error, look == StartLook::ready
                                  ? "the host loaded its chain but never answered"
                                  : "the host took longer than the limit to load its chain");
    if (look == StartLook::loading) {
      child->wait_for_exit(look_interval(now - spawned_ns));
    } else if (hears_host(probe_wait)) {
      note_listening();
      return true;
    } else {
      probe_wait = std::min(probe_wait * 2, longest_probe);
    }
  }
}

/// Whether the render thread listens. A host that has found the parent's record says so by itself;
/// any other is asked by empty periods, which its plugins see.
bool HostImpl::hears_host(nanoseconds limit) {
  return record != nullptr && record->is_attached() ? driver.await_announcement(limit)
                                                    : driver.probe(limit);
}

HostImpl::StartLook HostImpl::look_at_start() {
  const std::lock_guard lock(mutex);
  // In this order: what a host that has ended says of its state is its last word.
  const bool has_ended = check_ended();
  const std::uint32_t state = host::load_acquire(block->block().state);
  unlink_when_mapped(state);
  if (state == host::failed) return StartLook::failed;
  if (has_ended) return StartLook::ended;
  if (state == host::starting) return StartLook::loading;
  if (load_times.ready_ms == 0) {
    const host::Block& shared = block->block();
    load_times.ready_ms = milliseconds_since(spawned_ns);
    load_times.instantiate_ms = shared.instantiate_ms_total;
    load_times.initialize_ms = shared.initialize_ms_total;
    load_times.restore_ms = shared.restore_ms_total;
    const double told = shared.latency_seconds_total;
    latency_seconds = std::isfinite(told) && told > 0 ? told : 0;
  }
  return StartLook::ready;
}

/// The name is of use until the host has opened it; then it must not outlive us. Reading a memory
/// map holds its owner up, so the looks begin when most hosts are ready and grow apart.
void HostImpl::unlink_when_mapped(std::uint32_t state) {
  if (block->is_unlinked()) return;
  const std::int64_t now = now_ns();
  if (state == host::starting) {
    if (now < next_map_look_ns) return;
    next_map_look_ns = now + std::max<std::int64_t>(first_map_look.count(), (now - spawned_ns) / 4);
    if (now - spawned_ns < first_map_look.count() || !has_mapped(child->pid(), block->name()))
      return;
  }
  block->unlink();
}

void HostImpl::note_listening() {
  const std::lock_guard lock(mutex);
  load_times.listening_ms = milliseconds_since(spawned_ns);
  if (record != nullptr)
    render_thread = static_cast<int>(host::load_relaxed(record->render_thread()));
  if (render_thread == 0 && placement) render_thread = placement->member(child->pid());
  // It has answered and sleeps on the next request, which tells it from the plugins' threads.
  if (render_thread == 0)
    render_thread = find_render_thread(child->pid(), offsetof(host::Block, render_request));
}

/// Ends a start that has failed: the process too, when it has not ended by itself.
bool HostImpl::end_start(std::string& error, std::string reason) {
  std::unique_lock lock(mutex);
  if (!check_ended()) {
    killed = true;
    child->kill();
    lock.unlock();
    child->wait_for_exit(after_failure);
    lock.lock();
    check_ended();
    if (!lines.host_lines().empty()) reason += "; its last line was: " + lines.host_lines().back();
  } else if (host::load_acquire(block->block().state) != host::failed) {
    reason += ": " + describe_ending();
  }
  start_error = reason;
  error = std::move(reason);
  return false;
}

}  // namespace vesk::client
