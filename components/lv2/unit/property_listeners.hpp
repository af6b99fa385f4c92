#pragma once

// Who wants to know when a property changes.

#include <AudioToolbox/AUComponent.h>

#include <atomic>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

#include "components/lv2/instance/signal.hpp"
#include "platform/realtime.hpp"

namespace vesk::lv2 {

/// The listeners of one unit. Changes made by a caller are told on the caller's thread; those that
/// the render thread meets are told by a thread of this object's own, which is started with the
/// first listener that can need it.
class PropertyListeners {
 public:
  PropertyListeners() = default;
  ~PropertyListeners();
  PropertyListeners(const PropertyListeners&) = delete;
  PropertyListeners& operator=(const PropertyListeners&) = delete;

  // Any thread that is not real-time.

  void set_unit(AudioUnit unit) { unit_ = unit; }
  AudioUnit unit() const { return unit_; }
  void add(AudioUnitPropertyID id, AudioUnitPropertyListenerProc proc, void* user);
  /// With `any_user`, whatever the user pointer is.
  void remove(AudioUnitPropertyID id, AudioUnitPropertyListenerProc proc, void* user,
              bool any_user);
  /// Ends the thread: nobody is told of what the render thread meets any more.
  void stop();
  /// Calls the listeners of `id`. They may add and remove listeners.
  void notify(AudioUnitPropertyID id, AudioUnitScope scope = 0, AudioUnitElement element = 0);

  // Render thread, real-time safe: tell soon.

  void latency_changed() noexcept VESK_REALTIME { post(latency); }
  void render_failed() noexcept VESK_REALTIME { post(render_error); }

 private:
  struct Listener {
    AudioUnitPropertyID id;
    AudioUnitPropertyListenerProc proc;
    void* user;
  };
  static constexpr std::uint32_t latency = 1;
  static constexpr std::uint32_t render_error = 2;
  static constexpr std::uint32_t stop_bit = 4;

  void post(std::uint32_t news) noexcept VESK_REALTIME {
    if (has_thread_.load(std::memory_order_acquire)) {
      news_.fetch_or(news, std::memory_order_relaxed);
      signal_.raise();
    }
  }
  void run_thread();

  AudioUnit unit_ = nullptr;
  // Recursive: a listener may change the list that is being told. Held during the calls, so that
  // nobody is called after its removal.
  std::recursive_mutex mutex_;
  std::vector<Listener> listeners_;
  std::atomic<std::uint32_t> news_{0};
  Signal signal_;
  std::atomic<bool> has_thread_{false};
  std::thread thread_;
};

}  // namespace vesk::lv2
