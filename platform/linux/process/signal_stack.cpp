#include "platform/linux/process/signal_stack.hpp"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstddef>

namespace vesk::platform {

namespace {

/// What the kernel needs for the registers of this processor, and room for the handler.
std::size_t stack_bytes() {
  const long kernel = sysconf(_SC_SIGSTKSZ);
  return static_cast<std::size_t>(std::max(kernel, 16L * 1024)) + 16 * 1024;
}

}  // namespace

void* install_signal_stack() {
#ifdef VESK_SANITIZER
  return nullptr;
#else
  stack_t stack = {};
  stack.ss_size = stack_bytes();
  void* memory = mmap(nullptr, stack.ss_size, PROT_READ | PROT_WRITE,
                      MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0);
  if (memory == MAP_FAILED) return nullptr;
  stack.ss_sp = memory;
  if (sigaltstack(&stack, nullptr) == 0) return memory;
  munmap(memory, stack.ss_size);
  return nullptr;
#endif
}

void remove_signal_stack(void* stack) {
  if (stack == nullptr) return;
  // A plugin may have put a stack of its own in place of ours.
  stack_t current = {};
  if (sigaltstack(nullptr, &current) == 0 && current.ss_sp == stack) {
    const stack_t none = {.ss_sp = nullptr, .ss_flags = SS_DISABLE, .ss_size = 0};
    sigaltstack(&none, nullptr);
  }
  munmap(stack, stack_bytes());
}

}  // namespace vesk::platform
