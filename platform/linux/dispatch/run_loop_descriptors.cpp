// Descriptors served on the main thread, and the one descriptor that stands for the main loop.

#include <sys/epoll.h>
#include <unistd.h>

#include <algorithm>

#include "platform/linux/dispatch/run_loop_items.hpp"

namespace vesk::platform {

namespace {

struct Descriptor {
  int descriptor;
  DescriptorCallback callback;
  void* context;
  bool is_ready;
};

// Guarded by the loops' lock.
constinit std::vector<Descriptor>* descriptors = nullptr;
constinit int watch = -1;
constinit std::atomic<bool> has_watch{false};

Descriptor* find(int descriptor) {
  if (!descriptors) return nullptr;
  const auto found = std::find_if(
      descriptors->begin(), descriptors->end(),
      [descriptor](const Descriptor& known) { return known.descriptor == descriptor; });
  return found == descriptors->end() ? nullptr : &*found;
}

void add_to_watch(int descriptor) {
  epoll_event event{};
  event.events = EPOLLIN;
  event.data.fd = descriptor;
  ::epoll_ctl(watch, EPOLL_CTL_ADD, descriptor, &event);
}

/// The lock is held.
void remove(int descriptor) {
  if (!find(descriptor)) return;
  std::erase_if(*descriptors,
                [descriptor](const Descriptor& known) { return known.descriptor == descriptor; });
  if (watch >= 0) ::epoll_ctl(watch, EPOLL_CTL_DEL, descriptor, nullptr);
}

}  // namespace

void add_descriptor(int descriptor, DescriptorCallback callback, void* context) {
  {
    std::lock_guard lock(loop::mutex);
    if (!descriptors) descriptors = new std::vector<Descriptor>;
    const Descriptor entry{descriptor, callback, context, false};
    if (Descriptor* known = find(descriptor)) {
      *known = entry;
    } else {
      descriptors->push_back(entry);
      if (watch >= 0) add_to_watch(descriptor);
    }
  }
  loop::wake_main_loop();
}

void remove_descriptor(int descriptor) {
  std::lock_guard lock(loop::mutex);
  remove(descriptor);
}

int main_loop_descriptor() {
  const int wake_descriptor = loop::main_loop().wake_descriptor;
  std::lock_guard lock(loop::mutex);
  if (watch < 0) {
    watch = ::epoll_create1(EPOLL_CLOEXEC);
    if (watch < 0) return -1;
    add_to_watch(wake_descriptor);
    if (descriptors)
      for (const Descriptor& known : *descriptors) add_to_watch(known.descriptor);
    has_watch.store(true, std::memory_order_release);
  }
  return watch;
}

namespace loop {

bool is_watched() {
  return has_watch.load(std::memory_order_acquire);
}

bool has_descriptors() {
  std::lock_guard lock(mutex);
  return descriptors && !descriptors->empty();
}

void append_descriptors(std::vector<pollfd>& polled) {
  std::lock_guard lock(mutex);
  if (!descriptors) return;
  for (const Descriptor& known : *descriptors) polled.push_back({known.descriptor, POLLIN, 0});
}

void note_ready(const std::vector<pollfd>& polled) {
  std::lock_guard lock(mutex);
  for (const pollfd& result : polled) {
    if (result.revents == 0) continue;
    // Closed by its owner without a word: poll would answer at once for ever.
    if (result.revents & POLLNVAL) remove(result.fd);
    if (Descriptor* known = find(result.fd)) known->is_ready = true;
  }
}

bool serve_ready() {
  bool has_served = false;
  std::unique_lock lock(mutex);
  while (descriptors) {
    const auto ready = std::find_if(descriptors->begin(), descriptors->end(),
                                    [](const Descriptor& known) { return known.is_ready; });
    if (ready == descriptors->end()) break;
    ready->is_ready = false;
    const Descriptor known = *ready;
    lock.unlock();
    known.callback(known.descriptor, known.context);
    has_served = true;
    lock.lock();
  }
  return has_served;
}

}  // namespace loop

}  // namespace vesk::platform
