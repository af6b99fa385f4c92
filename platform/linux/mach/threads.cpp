#include <mach/mach.h>
#include <pthread.h>
#include <unistd.h>

#include <ctime>

mach_port_t mach_thread_self(void) {
  return static_cast<mach_port_t>(gettid());
}

mach_port_t pthread_mach_thread_np(pthread_t thread) {
  if (pthread_equal(thread, pthread_self())) return mach_thread_self();
  // The C library tells no one another thread's id, but the kernel's number for a thread's
  // processor clock carries it: the complement of the id above three bits of kind.
  clockid_t clock = 0;
  if (pthread_getcpuclockid(thread, &clock) != 0) return MACH_PORT_NULL;
  return static_cast<mach_port_t>(~(clock >> 3));
}
