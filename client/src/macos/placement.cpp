#include "client/src/placement.hpp"

#include <sys/sysctl.h>

// Threads are not placed on macOS: the audio workgroup, handed on as a registered port, does it.
namespace vesk::client {

class SealedMemory {};

int current_cpu() noexcept VESK_REALTIME {
  return -1;
}

int current_thread() noexcept VESK_REALTIME {
  return 0;
}

unsigned usable_cpus() noexcept {
  int count = 1;
  std::size_t size = sizeof count;
  sysctlbyname("hw.activecpu", &count, &size, nullptr, 0);
  return count > 0 ? static_cast<unsigned>(count) : 1;
}

std::unique_ptr<Placement> Placement::create(const Options&, std::string&) {
  return nullptr;
}
Placement::~Placement() = default;
int Placement::descriptor() const noexcept {
  return -1;
}
void Placement::move(int, int, int) {}
int Placement::member(int) const noexcept {
  return 0;
}

}  // namespace vesk::client
