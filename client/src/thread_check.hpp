#pragma once

#ifndef NDEBUG
#include <pthread.h>

#include <atomic>
#endif

#include "platform/realtime.hpp"

namespace vesk::client {

/// Holds the callers of one host to the threads that the public headers name. In debug builds a
/// call that breaks a rule prints the rule and aborts; in others nothing is left of it. Real-time
/// safe, and without order between threads, so that it hides no race from ThreadSanitizer.
///
/// Known are the thread inside a call of the driving thread, and the last one that was. A control
/// call takes locks, so it is wrong on that last one when it has a real-time policy: then it is an
/// audio thread. A program with one ordinary thread for everything breaks no rule.
class ThreadCheck {
 public:
#ifdef NDEBUG
  void begin_driving() noexcept VESK_REALTIME {}
  void end_driving() noexcept VESK_REALTIME {}
  void expect_driver() const noexcept VESK_REALTIME {}
  void expect_control() const noexcept {}
  void expect_idle() const noexcept {}
#else
  /// Around a call that one thread at a time may make.
  void begin_driving() noexcept VESK_REALTIME;
  void end_driving() noexcept VESK_REALTIME;
  /// At the head of one that does not wait.
  void expect_driver() const noexcept VESK_REALTIME;
  /// At the head of a call that may block.
  void expect_control() const noexcept;
  /// At the head of one that no thread may be driving beside.
  void expect_idle() const noexcept;

 private:
  std::atomic<pthread_t> inside_{};  // zero: no thread
  std::atomic<pthread_t> driver_{};
#endif
};

/// A call of the driving thread, as long as it lasts.
class DrivingCall {
 public:
  explicit DrivingCall(ThreadCheck& threads) noexcept VESK_REALTIME : threads_(threads) {
    threads_.begin_driving();
  }
  ~DrivingCall() VESK_REALTIME { threads_.end_driving(); }
  DrivingCall(const DrivingCall&) = delete;
  DrivingCall& operator=(const DrivingCall&) = delete;

 private:
  ThreadCheck& threads_;
};

}  // namespace vesk::client
