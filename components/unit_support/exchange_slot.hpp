#pragma once

// The place where the render thread finds what it plays, and where that can be exchanged.

#include <array>
#include <atomic>
#include <chrono>
#include <memory>
#include <thread>

#include "platform/realtime.hpp"

namespace vesk {

/// Holds at most one `Playing` for the render thread.
///
/// Design: `live_` is the object while nobody renders, and null while the render thread has it
/// out. The render thread takes it (exchange, acquire) and puts it back by a compare-exchange from
/// null (release). A new one goes in by an exchange: when that returns the old one, nothing
/// was rendering and it is freed at once; when it returns null, the render thread finds its place
/// taken at the end of the period and lays the old one into `retired_` (release), from where the
/// control thread frees it (acquire). `put` empties `retired_` first, so at most two ever
/// wait there. Not safe: two threads that render at once, two control threads.
template <typename Playing>
class ExchangeSlot {
 public:
  ExchangeSlot() = default;
  ~ExchangeSlot() {
    delete live_.load(std::memory_order_acquire);
    free_retired();
  }
  ExchangeSlot(const ExchangeSlot&) = delete;
  ExchangeSlot& operator=(const ExchangeSlot&) = delete;

  // Render thread, real-time safe.

  /// What is to be played, to be given back; null when there is nothing.
  Playing* borrow() noexcept VESK_REALTIME {
    return live_.exchange(nullptr, std::memory_order_acquire);
  }
  void give_back(Playing* playing) noexcept VESK_REALTIME {
    Playing* none = nullptr;
    if (live_.compare_exchange_strong(none, playing, std::memory_order_release,
                                      std::memory_order_relaxed)) {
      return;
    }
    for (std::atomic<Playing*>& place : retired_) {
      none = nullptr;
      if (place.compare_exchange_strong(none, playing, std::memory_order_release,
                                        std::memory_order_relaxed)) {
        return;
      }
    }
  }

  // Control thread.

  /// Makes `playing` what the next period runs. The one before is freed here, if need be
  /// after waiting for the period that it is in to end.
  void put(std::unique_ptr<Playing> playing) {
    free_retired();
    const bool had_one = current_ != nullptr;
    current_ = playing.release();
    Playing* old = live_.exchange(current_, std::memory_order_acq_rel);
    if (old != nullptr)
      delete old;
    else if (had_one)
      wait_for(retire_limit, [this] { return free_retired(); });
  }
  /// Takes it out, waiting for a period to end. Null when there is none, or when the
  /// render thread has not come back for two seconds (then `current()` is still set).
  std::unique_ptr<Playing> take() {
    if (current_ == nullptr) return nullptr;
    Playing* taken = nullptr;
    wait_for(take_limit, [&] {
      taken = live_.exchange(nullptr, std::memory_order_acquire);
      return taken != nullptr;
    });
    free_retired();
    if (taken != nullptr) current_ = nullptr;
    return std::unique_ptr<Playing>(taken);
  }
  /// The newest, for what may run beside rendering.
  Playing* current() const { return current_; }

 private:
  static constexpr std::chrono::microseconds look_interval{200};
  // A period takes milliseconds. A longer wait for the old one would only delay a preset.
  static constexpr std::chrono::milliseconds retire_limit{100};
  static constexpr std::chrono::seconds take_limit{2};

  template <typename Done>
  static bool wait_for(std::chrono::steady_clock::duration limit, Done done) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!done()) {
      if (std::chrono::steady_clock::now() >= end) return false;
      std::this_thread::sleep_for(look_interval);
    }
    return true;
  }

  bool free_retired() {
    bool any = false;
    for (std::atomic<Playing*>& place : retired_) {
      if (Playing* playing = place.exchange(nullptr, std::memory_order_acquire)) {
        delete playing;
        any = true;
      }
    }
    return any;
  }

  std::atomic<Playing*> live_{nullptr};
  std::array<std::atomic<Playing*>, 4> retired_{};
  Playing* current_ = nullptr;
};

}  // namespace vesk
