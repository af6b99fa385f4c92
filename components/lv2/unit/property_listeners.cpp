#include "components/lv2/unit/property_listeners.hpp"

#include <AudioToolbox/AudioUnitProperties.h>

#include <algorithm>

namespace vesk::lv2 {

PropertyListeners::~PropertyListeners() {
  stop();
}

void PropertyListeners::stop() {
  if (thread_.joinable()) {
    post(stop_bit);
    thread_.join();
  }
}

void PropertyListeners::add(AudioUnitPropertyID id, AudioUnitPropertyListenerProc proc,
                            void* user) {
  const std::lock_guard lock(mutex_);
  listeners_.push_back({id, proc, user});
  const bool met_while_rendering =
      id == kAudioUnitProperty_Latency || id == kAudioUnitProperty_LastRenderError;
  if (met_while_rendering && !thread_.joinable()) {
    thread_ = std::thread([this] { run_thread(); });
    has_thread_.store(true, std::memory_order_release);
  }
}

void PropertyListeners::remove(AudioUnitPropertyID id, AudioUnitPropertyListenerProc proc,
                               void* user, bool any_user) {
  const std::lock_guard lock(mutex_);
  std::erase_if(listeners_, [&](const Listener& listener) {
    return listener.id == id && listener.proc == proc && (any_user || listener.user == user);
  });
}

void PropertyListeners::notify(AudioUnitPropertyID id, AudioUnitScope scope,
                               AudioUnitElement element) {
  const std::lock_guard lock(mutex_);
  const std::vector<Listener> told = listeners_;
  for (const Listener& listener : told) {
    const auto same = [&](const Listener& other) {
      return other.id == listener.id && other.proc == listener.proc && other.user == listener.user;
    };
    if (listener.id == id && std::any_of(listeners_.begin(), listeners_.end(), same))
      listener.proc(listener.user, unit_, id, scope, element);
  }
}

void PropertyListeners::run_thread() {
  for (;;) {
    const std::uint32_t seen = signal_.count();
    const std::uint32_t news = news_.exchange(0, std::memory_order_relaxed);
    if ((news & stop_bit) != 0) return;
    if ((news & latency) != 0) notify(kAudioUnitProperty_Latency);
    if ((news & render_error) != 0) notify(kAudioUnitProperty_LastRenderError);
    if (news == 0) signal_.wait(seen);
  }
}

}  // namespace vesk::lv2
