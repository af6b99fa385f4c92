// Threads that a member of a workgroup starts.
//
// A new thread inherits the CPU set of the one that starts it. The scheduling policy has a flag
// against that (SCHED_RESET_ON_FORK), the CPU set has none. So the program exports a
// `pthread_create` of its own, which the dynamic linker puts before the C library's for every
// plugin and library; it differs from it only for members.

#include <dlfcn.h>
#include <pthread.h>
#include <sched.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <memory>
#include <new>

#include "platform/linux/workgroup/membership.hpp"

using CreateThread = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);

// The sanitizers' own, through which all threads must be started where it is there.
extern "C" int __interceptor_pthread_create(pthread_t*, const pthread_attr_t*, void* (*)(void*),
                                            void*) __attribute__((weak));

namespace {

using namespace vesk::platform;

CreateThread next_create() {
  if (__interceptor_pthread_create != nullptr) return __interceptor_pthread_create;
  static std::atomic<CreateThread> next = nullptr;
  CreateThread found = next.load(std::memory_order_relaxed);
  if (found == nullptr) {
    found = reinterpret_cast<CreateThread>(dlsym(RTLD_NEXT, "pthread_create"));
    next.store(found, std::memory_order_relaxed);
  }
  return found;
}

struct Start {
  void* (*routine)(void*);
  void* argument;
  cpu_set_t cpus;
};

void* start_outside(void* context) {
  Start start;
  {
    const std::unique_ptr<Start> owned(static_cast<Start*>(context));
    start = *owned;
  }
  sched_setaffinity(0, sizeof start.cpus, &start.cpus);
  return start.routine(start.argument);
}

/// Whether the caller chose the new thread's CPUs: without a choice all bits come back set.
bool names_cpus(const pthread_attr_t* attributes) {
  cpu_set_t cpus;
  cpu_set_t all;
  std::memset(&all, 0xff, sizeof all);
  return attributes != nullptr &&
         pthread_attr_getaffinity_np(attributes, sizeof cpus, &cpus) == 0 &&
         !CPU_EQUAL(&cpus, &all);
}

}  // namespace

extern "C" __attribute__((visibility("default"))) int pthread_create(
    pthread_t* thread, const pthread_attr_t* attributes, void* (*routine)(void*),
    void* argument) noexcept {
  const CreateThread create = next_create();
  if (create == nullptr) return EAGAIN;
  const Membership& own = membership();
  if (own.group == nullptr || names_cpus(attributes))
    return create(thread, attributes, routine, argument);
  std::unique_ptr<Start> start(new (std::nothrow) Start{routine, argument, own.outside});
  if (start == nullptr) return EAGAIN;
  const int error = create(thread, attributes, start_outside, start.get());
  if (error == 0) static_cast<void>(start.release());
  return error;
}
