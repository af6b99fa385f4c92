#include "client/src/parent_record.hpp"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>

#include "client/src/error_text.hpp"
#include "client/src/linux/host_places.hpp"
#include "client/src/linux/sealed_memory.hpp"
#include "host/atomics.hpp"
#include "vesk/parent_record.h"

namespace vesk::client {

struct ParentRecord::Memory {
  Memory() = default;
  ~Memory() {
    if (bell >= 0) close(bell);
  }
  Memory(const Memory&) = delete;
  Memory& operator=(const Memory&) = delete;

  std::unique_ptr<SealedMemory> shared;
  int bell = -1;
  VeskParentRecord& record() const noexcept VESK_REALTIME {
    return *static_cast<VeskParentRecord*>(shared->bytes());
  }
};

std::unique_ptr<ParentRecord> ParentRecord::create(const Options& options, std::string& error) {
  std::unique_ptr<ParentRecord> made(new ParentRecord);
  made->memory_ = std::make_unique<Memory>();
  Memory& memory = *made->memory_;
  memory.shared = SealedMemory::create("the parent's record", sizeof(VeskParentRecord), error);
  if (memory.shared == nullptr) return nullptr;
  memory.bell = above_places(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC));
  if (memory.bell < 0) {
    error = "cannot create the host's bell: " + error_text(errno);
    return nullptr;
  }
  VeskParentRecord& record = memory.record();
  record.magic = VESK_PARENT_MAGIC;
  record.version = VESK_PARENT_VERSION;
  record.parent = getpid();
  record.flags = VESK_PARENT_RINGS | (options.mode == Mode::offline ? VESK_PARENT_OFFLINE : 0u);
  record.sample_rate = options.sample_rate_hz;
  return made;
}

ParentRecord::~ParentRecord() = default;

int ParentRecord::descriptor() const noexcept {
  return memory_->shared->descriptor();
}

int ParentRecord::bell_descriptor() const noexcept {
  return memory_->bell;
}

void ParentRecord::ring() const noexcept {
  const std::uint64_t one = 1;
  // Should the count be full, then it has been rung often enough.
  [[maybe_unused]] const ssize_t written = ::write(memory_->bell, &one, sizeof one);
}

bool ParentRecord::is_attached() const noexcept {
  return host::load_acquire(memory_->record().attached) != 0;
}

const std::uint32_t& ParentRecord::render_thread() const noexcept {
  return memory_->record().render_thread;
}

void ParentRecord::write(const Transport& transport, bool changed) noexcept VESK_REALTIME {
  VeskTransport& shared = memory_->record().transport;
  // Plain memory: the store of the request publishes it.
  shared.flags = VESK_TRANSPORT_KNOWN | (transport.playing ? VESK_TRANSPORT_PLAYING : 0u) |
                 (transport.looping ? VESK_TRANSPORT_LOOPING : 0u) |
                 (changed ? VESK_TRANSPORT_CHANGED : 0u);
  shared.beat_unit = transport.beat_unit;
  shared.beats_per_bar = transport.beats_per_bar;
  shared.tempo = transport.tempo;
  shared.beat = transport.beat;
  shared.bar_start = transport.bar_start;
  shared.sample = transport.frame;
  shared.loop_start = transport.loop_start;
  shared.loop_end = transport.loop_end;
}

}  // namespace vesk::client
