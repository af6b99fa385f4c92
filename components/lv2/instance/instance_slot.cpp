#include "components/lv2/instance/instance_slot.hpp"

#include <chrono>
#include <thread>

namespace vesk::lv2 {
namespace {

using std::chrono::steady_clock;

constexpr std::chrono::microseconds look_interval{200};
// A period takes milliseconds. A longer wait for the old instance would only delay a preset.
constexpr std::chrono::milliseconds retire_limit{100};
constexpr std::chrono::seconds take_limit{2};

template <typename Done>
bool wait_for(steady_clock::duration limit, Done done) {
  const auto end = steady_clock::now() + limit;
  while (!done()) {
    if (steady_clock::now() >= end) return false;
    std::this_thread::sleep_for(look_interval);
  }
  return true;
}

}  // namespace

InstanceSlot::~InstanceSlot() {
  delete live_.load(std::memory_order_acquire);
  free_retired();
}

void InstanceSlot::give_back(Instance* instance) noexcept VESK_REALTIME {
  Instance* none = nullptr;
  if (live_.compare_exchange_strong(none, instance, std::memory_order_release,
                                    std::memory_order_relaxed)) {
    return;
  }
  for (std::atomic<Instance*>& place : retired_) {
    none = nullptr;
    if (place.compare_exchange_strong(none, instance, std::memory_order_release,
                                      std::memory_order_relaxed)) {
      return;
    }
  }
}

bool InstanceSlot::free_retired() {
  bool any = false;
  for (std::atomic<Instance*>& place : retired_) {
    if (Instance* instance = place.exchange(nullptr, std::memory_order_acquire)) {
      delete instance;
      any = true;
    }
  }
  return any;
}

void InstanceSlot::put(std::unique_ptr<Instance> instance) {
  free_retired();
  const bool had_one = current_ != nullptr;
  current_ = instance.release();
  Instance* old = live_.exchange(current_, std::memory_order_acq_rel);
  if (old != nullptr)
    delete old;
  else if (had_one)
    wait_for(retire_limit, [this] { return free_retired(); });
}

std::unique_ptr<Instance> InstanceSlot::take() {
  if (current_ == nullptr) return nullptr;
  Instance* taken = nullptr;
  wait_for(take_limit, [&] {
    taken = live_.exchange(nullptr, std::memory_order_acquire);
    return taken != nullptr;
  });
  free_retired();
  if (taken != nullptr) current_ = nullptr;
  return std::unique_ptr<Instance>(taken);
}

}  // namespace vesk::lv2
