#include "platform/render_thread.hpp"

#include <unistd.h>

#include <cfenv>
#include <cstdint>

namespace vesk::platform {

namespace {

#if defined(__arm64__)
const fenv_t* const flushing_environment = FE_DFL_DISABLE_DENORMS_ENV;
#else
const fenv_t* const flushing_environment = FE_DFL_DISABLE_SSE_DENORMS_ENV;
#endif

/// A frame as large as what is to be touched, written once a page or more.
[[gnu::noinline]] void touch_stack() {
  constexpr std::size_t touched_stack = 256 * 1024;
  volatile char frame[touched_stack];
  for (std::size_t at = touched_stack; at >= 1024; at -= 1024) frame[at - 1] = 0;
}

}  // namespace

RenderThread::RenderThread() {
  fesetenv(flushing_environment);
  touch_stack();
}

RenderThread::~RenderThread() {
  static_cast<void>(signal_stack_);
}

void RenderThread::announce_listening() const {}

void touch_pages(void* start, std::size_t bytes) {
  const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
  const auto first = reinterpret_cast<std::uintptr_t>(start);
  // Others may write here at the same time, so only read.
  for (std::uintptr_t at = first; at < first + bytes; at = (at & ~(page - 1)) + page)
    static_cast<void>(*reinterpret_cast<const volatile char*>(at));
}

}  // namespace vesk::platform
