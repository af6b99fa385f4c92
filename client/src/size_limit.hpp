#pragma once

#include <pthread.h>
#include <signal.h>

namespace vesk::client {

/// While it lives, a file that may not grow to the size that this thread gives it is an error
/// (EFBIG), and not a signal that ends the calling process.
class SizeLimitIsAnError {
 public:
  SizeLimitIsAnError() noexcept {
    sigemptyset(&signal_);
    sigaddset(&signal_, SIGXFSZ);
    pthread_sigmask(SIG_BLOCK, &signal_, &before_);
    was_pending_ = is_pending();
  }
  ~SizeLimitIsAnError() {
    int taken = 0;
    if (!was_pending_ && is_pending()) sigwait(&signal_, &taken);
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }
  SizeLimitIsAnError(const SizeLimitIsAnError&) = delete;
  SizeLimitIsAnError& operator=(const SizeLimitIsAnError&) = delete;

 private:
  static bool is_pending() noexcept {
    sigset_t pending;
    return sigpending(&pending) == 0 && sigismember(&pending, SIGXFSZ) == 1;
  }

  sigset_t signal_;
  sigset_t before_;
  bool was_pending_;
};

}  // namespace vesk::client
