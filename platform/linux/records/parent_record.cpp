#include "platform/linux/records/parent_record.hpp"

#include <fcntl.h>
#include <os/os_sync_wait_on_address.h>
#include <unistd.h>

#include <atomic>
#include <cstddef>
#include <string>
#include <string_view>

#include "platform/linux/records/sealed_record.hpp"

namespace vesk::platform {

namespace {

constexpr RecordKind kind = {VESK_PARENT_MAGIC, VESK_PARENT_VERSION, sizeof(VeskParentRecord)};
static_assert(offsetof(VeskParentRecord, magic) == 0);
static_assert(offsetof(VeskParentRecord, version) == 4);

VeskParentRecord* g_record = nullptr;
int g_bell = -1;

/// A field that the parent may write at any time, read once.
template <typename Value>
Value read(const Value& field) noexcept VESK_REALTIME {
  static_assert(std::atomic_ref<Value>::is_always_lock_free);
  return std::atomic_ref(const_cast<Value&>(field)).load(std::memory_order_relaxed);
}

/// A number that a plugin can reckon with, else 0.
double read_number(const double& field) noexcept VESK_REALTIME {
  constexpr double limit = 1e15;
  const double value = read(field);
  return value > -limit && value < limit ? value : 0;
}

bool has_flag(std::uint32_t flag) {
  return g_record != nullptr && (read(g_record->flags) & flag) != 0;
}

/// Takes what stands in the bell's place when it is an eventfd that does not block, and keeps it
/// from programs that a plugin starts.
void take_bell() {
  char target[64] = {};
  const std::string link = "/proc/self/fd/" + std::to_string(VESK_BELL_DESCRIPTOR);
  if (readlink(link.c_str(), target, sizeof target - 1) < 0) return;
  const int flags = fcntl(VESK_BELL_DESCRIPTOR, F_GETFL);
  if (std::string_view(target) != "anon_inode:[eventfd]" || (flags & O_NONBLOCK) == 0) return;
  fcntl(VESK_BELL_DESCRIPTOR, F_SETFD, FD_CLOEXEC);
  g_bell = VESK_BELL_DESCRIPTOR;
}

}  // namespace

void attach_parent_record() {
  if (!has_magic(VESK_PARENT_DESCRIPTOR, kind)) return;
  g_record = static_cast<VeskParentRecord*>(map_record(VESK_PARENT_DESCRIPTOR, kind));
  // The mapping is enough, and programs that a plugin starts are not hosts of this parent.
  close(VESK_PARENT_DESCRIPTOR);
  if (has_flag(VESK_PARENT_RINGS)) take_bell();
  if (g_record != nullptr) std::atomic_ref(g_record->attached).store(1, std::memory_order_release);
}

bool has_parent_record() {
  return g_record != nullptr;
}

pid_t recorded_parent() {
  return g_record != nullptr ? read(g_record->parent) : 0;
}

bool parent_renders_offline() {
  return has_flag(VESK_PARENT_OFFLINE);
}

int parent_bell() {
  return g_bell;
}

void tell_listening() {
  if (g_record == nullptr) return;
  // Release: whoever sees the id and posts a request finds a thread that has taken its bearings.
  std::atomic_ref(g_record->render_thread)
      .store(static_cast<std::uint32_t>(gettid()), std::memory_order_release);
  os_sync_wake_by_address_all(&g_record->render_thread, sizeof g_record->render_thread,
                              OS_SYNC_WAKE_BY_ADDRESS_SHARED);
}

bool read_transport(VeskTransport& transport) noexcept VESK_REALTIME {
  if (g_record == nullptr) return false;
  const VeskTransport& shared = g_record->transport;
  transport.flags = read(shared.flags);
  if ((transport.flags & VESK_TRANSPORT_KNOWN) == 0) return false;
  transport.beat_unit = read(shared.beat_unit);
  transport.beats_per_bar = read_number(shared.beats_per_bar);
  transport.tempo = read_number(shared.tempo);
  transport.beat = read_number(shared.beat);
  transport.bar_start = read_number(shared.bar_start);
  transport.sample = read_number(shared.sample);
  transport.loop_start = read_number(shared.loop_start);
  transport.loop_end = read_number(shared.loop_end);
  return true;
}

double parent_sample_rate() noexcept VESK_REALTIME {
  return g_record != nullptr ? read_number(g_record->sample_rate) : 0;
}

}  // namespace vesk::platform
