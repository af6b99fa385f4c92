#include "platform/render_thread.hpp"

#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>

#include "platform/linux/process/signal_stack.hpp"
#include "platform/linux/records/parent_record.hpp"

#if defined(__SSE2__)
#include <immintrin.h>
#endif

namespace vesk::platform {

namespace {

// What a deep chain of calls in a plugin may reach.
constexpr std::size_t touched_stack = 256 * 1024;
// Left alone at the end of a small stack, for this thread's own calls and the C library's.
constexpr std::size_t spared_stack = 32 * 1024;

/// Numbers too small for a normal exponent cost a hundred times an ordinary operation, and a
/// decaying reverb is full of them.
void flush_denormals() {
#if defined(__SSE2__)
  constexpr unsigned flush_to_zero = 0x8000;
  constexpr unsigned denormals_are_zero = 0x0040;
  _mm_setcsr(_mm_getcsr() | flush_to_zero | denormals_are_zero);
#elif defined(__aarch64__)
  constexpr std::uint64_t flush_to_zero = std::uint64_t{1} << 24;
  std::uint64_t control = 0;
  asm volatile("mrs %0, fpcr" : "=r"(control));
  asm volatile("msr fpcr, %0" ::"r"(control | flush_to_zero));
#endif
}

/// Bytes of the calling thread's stack below this call; a limit on stacks (RLIMIT_STACK) makes them
/// smaller than what is to be touched.
std::size_t stack_below() {
  pthread_attr_t attributes;
  if (pthread_getattr_np(pthread_self(), &attributes) != 0) return 0;
  void* start = nullptr;
  std::size_t size = 0;
  pthread_attr_getstack(&attributes, &start, &size);
  pthread_attr_destroy(&attributes);
  return static_cast<std::size_t>(static_cast<char*>(__builtin_frame_address(0)) -
                                  static_cast<char*>(start));
}

/// Makes a frame as large as what is to be touched and writes to each page of it.
[[gnu::noinline]] void touch_stack() {
  const std::size_t below = stack_below();
  if (below <= spared_stack) return;
  const std::size_t bytes = std::min(touched_stack, below - spared_stack);
  volatile char* const frame = static_cast<char*>(__builtin_alloca(bytes));
  for (std::size_t at = bytes; at >= 1024; at -= 1024) frame[at - 1] = 0;
}

}  // namespace

RenderThread::RenderThread() : signal_stack_(install_signal_stack()) {
  flush_denormals();
  touch_stack();
}

RenderThread::~RenderThread() {
  remove_signal_stack(signal_stack_);
}

void RenderThread::announce_listening() const {
  tell_listening();
}

void touch_pages(void* start, std::size_t bytes) {
  if (bytes == 0) return;
  const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
  const auto begin = reinterpret_cast<std::uintptr_t>(start) & ~(page - 1);
  const auto end = reinterpret_cast<std::uintptr_t>(start) + bytes;
  if (madvise(reinterpret_cast<void*>(begin), end - begin, MADV_POPULATE_WRITE) == 0) return;
  // Kernels before 5.14. Others may write here at the same time, so only read.
  for (std::uintptr_t at = begin; at < end; at += page)
    static_cast<void>(*reinterpret_cast<const volatile char*>(at));
}

}  // namespace vesk::platform
