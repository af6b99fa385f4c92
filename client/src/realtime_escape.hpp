#pragma once

/// For the few system calls on the real-time path, each with its reason beside it: the compiler
/// is told that the body is trusted, RealtimeSanitizer that the call is meant.
#if defined(__has_include) && __has_include(<sanitizer/rtsan_interface.h>)
#include <sanitizer/rtsan_interface.h>
#define VESK_TRUSTED_CALL \
  [[maybe_unused]] const __rtsan::ScopedDisabler trusted_call {}
#else
#define VESK_TRUSTED_CALL static_cast<void>(0)
#endif

#if defined(__clang__) && defined(__has_warning)
#if __has_warning("-Wfunction-effects")
#pragma clang diagnostic ignored "-Wfunction-effects"
#endif
#endif
