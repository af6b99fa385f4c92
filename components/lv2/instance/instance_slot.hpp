#pragma once

// The place where the render thread finds the running instance, and where it can be exchanged.

#include <array>
#include <atomic>
#include <memory>

#include "components/lv2/instance/instance.hpp"
#include "platform/realtime.hpp"

namespace vesk::lv2 {

/// Holds at most one instance for the render thread.
///
/// Design: `live_` is the instance while nobody renders, and null while the render thread has it
/// out. The render thread takes it (exchange, acquire) and puts it back by a compare-exchange from
/// null (release). A new instance goes in by an exchange: when that returns the old one, nothing
/// was rendering and it is freed at once; when it returns null, the render thread finds its place
/// taken at the end of the period and lays the old one into `retired_` (release), from where the
/// control thread frees it (acquire). `put` empties `retired_` first, so at most two instances ever
/// wait there. Not safe: two threads that render at once, two control threads.
class InstanceSlot {
 public:
  InstanceSlot() = default;
  ~InstanceSlot();
  InstanceSlot(const InstanceSlot&) = delete;
  InstanceSlot& operator=(const InstanceSlot&) = delete;

  // Render thread, real-time safe.

  /// The instance, to be given back; null when there is none.
  Instance* borrow() noexcept VESK_REALTIME {
    return live_.exchange(nullptr, std::memory_order_acquire);
  }
  void give_back(Instance* instance) noexcept VESK_REALTIME;

  // Control thread.

  /// Makes `instance` the one that the next period runs. The one before is freed here, if need be
  /// after waiting for the period that it is in to end.
  void put(std::unique_ptr<Instance> instance);
  /// Takes the instance out, waiting for a period to end. Null when there is none, or when the
  /// render thread has not come back for two seconds (then `current()` is still set).
  std::unique_ptr<Instance> take();
  /// The newest instance, for what may run beside rendering.
  Instance* current() const { return current_; }

 private:
  bool free_retired();

  std::atomic<Instance*> live_{nullptr};
  std::array<std::atomic<Instance*>, 4> retired_{};
  Instance* current_ = nullptr;
};

}  // namespace vesk::lv2
