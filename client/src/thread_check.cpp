#include "client/src/thread_check.hpp"

#ifndef NDEBUG
#include <sched.h>

#include <cstdio>
#include <cstdlib>

#include "client/src/realtime_escape.hpp"

namespace vesk::client {

namespace {

constexpr pthread_t nobody{};

[[noreturn]] void refuse(const char* rule) noexcept {
  std::fprintf(stderr, "vesk client: %s\n", rule);
  std::abort();
}

bool is_real_time() noexcept {
  int policy = SCHED_OTHER;
  sched_param ignored{};
  pthread_getschedparam(pthread_self(), &policy, &ignored);
  return policy == SCHED_FIFO || policy == SCHED_RR;
}

}  // namespace

// Reading one's own id enters no kernel; what a broken rule leads to need not be real-time safe.

void ThreadCheck::begin_driving() noexcept VESK_REALTIME {
  VESK_TRUSTED_CALL;
  const pthread_t own = pthread_self();
  if (inside_.exchange(own, std::memory_order_relaxed) != nobody)
    refuse("two threads drive one host at once");
  driver_.store(own, std::memory_order_relaxed);
}

void ThreadCheck::end_driving() noexcept VESK_REALTIME {
  inside_.store(nobody, std::memory_order_relaxed);
}

void ThreadCheck::expect_driver() const noexcept VESK_REALTIME {
  VESK_TRUSTED_CALL;
  if (inside_.load(std::memory_order_relaxed) != nobody)
    refuse("input, output or is_pending while another thread drives the host");
}

void ThreadCheck::expect_control() const noexcept {
  if (pthread_equal(driver_.load(std::memory_order_relaxed), pthread_self()) && is_real_time())
    refuse("a call for control threads, which may block, on the audio thread");
}

void ThreadCheck::expect_idle() const noexcept {
  if (inside_.load(std::memory_order_relaxed) != nobody)
    refuse("stop, or a change of a group, while a thread drives the host");
}

}  // namespace vesk::client
#endif
