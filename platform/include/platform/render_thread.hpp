#pragma once

#include <cstddef>

namespace vesk::platform {

/// Makes the calling thread fit to render, for as long as the object lives: denormal numbers are
/// flushed to zero, the first 256 KiB of the stack are touched, and a crash finds a signal stack
/// of its own. Construct at the head of the render thread, before its first period.
class RenderThread {
 public:
  RenderThread();
  ~RenderThread();
  RenderThread(const RenderThread&) = delete;
  RenderThread& operator=(const RenderThread&) = delete;

  /// Tells a parent that wants to know (on Linux, by the record it may share) that each request
  /// from now on is seen. Call once the thread has taken its starting point.
  void announce_listening() const;

 private:
  void* signal_stack_ = nullptr;
};

/// Touches every page of `[start, start + bytes)` without changing its contents, so that the
/// first period meets no page fault. The range must be readable and writable.
void touch_pages(void* start, std::size_t bytes);

}  // namespace vesk::platform
