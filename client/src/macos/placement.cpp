#include "client/src/placement.hpp"

#include <pthread.h>
#include <sys/sysctl.h>
#include <unistd.h>

#include "client/src/realtime_escape.hpp"

// Threads are not placed on macOS: the audio workgroup, handed on as a registered port, does it.
namespace vesk::client {

int current_cpu() noexcept VESK_REALTIME {
  return -1;
}

int current_thread() noexcept VESK_REALTIME {
  return 0;
}

void notify(int descriptor) noexcept VESK_REALTIME {
  if (descriptor < 0) return;
  // The descriptor is non-blocking; when it is full its reader has been notified already.
  VESK_TRUSTED_CALL;
  const char byte = 0;
  [[maybe_unused]] const ssize_t written = write(descriptor, &byte, 1);
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
void Placement::set_record(int) {}
void Placement::move(int, int, int) {}
int Placement::member(int) const noexcept {
  return 0;
}

}  // namespace vesk::client
