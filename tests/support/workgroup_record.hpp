#pragma once

#include <fcntl.h>
#include <sched.h>
#include <sys/mman.h>
#include <unistd.h>
#include <vesk/workgroup_record.h>

#include <atomic>
#include <cstring>
#include <vector>

namespace vesk::tests {

/// The calling thread's CPUs.
inline cpu_set_t own_cpus() {
  cpu_set_t cpus;
  sched_getaffinity(0, sizeof cpus, &cpus);
  return cpus;
}

/// A workgroup's record as a parent makes it, sealed, with this process as the parent.
class WorkgroupRecord {
 public:
  explicit WorkgroupRecord(std::size_t bytes = sizeof(VeskWorkgroupRecord),
                           int seals = F_SEAL_SHRINK | F_SEAL_GROW)
      : descriptor_(memfd_create("workgroup", MFD_CLOEXEC | MFD_ALLOW_SEALING)) {
    // Mapped at full size in any case; what lies beyond a short file is not touched.
    (void)ftruncate(descriptor_, static_cast<off_t>(bytes));
    contents_ = static_cast<VeskWorkgroupRecord*>(mmap(
        nullptr, sizeof(VeskWorkgroupRecord), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor_, 0));
    fcntl(descriptor_, F_ADD_SEALS, seals);
    contents_->magic = VESK_WORKGROUP_MAGIC;
    contents_->version = VESK_WORKGROUP_VERSION;
    contents_->parent = getpid();
    if (bytes >= sizeof(VeskWorkgroupRecord)) set_cpus(own_cpus());
  }
  ~WorkgroupRecord() {
    munmap(contents_, sizeof *contents_);
    close(descriptor_);
  }
  WorkgroupRecord(const WorkgroupRecord&) = delete;
  WorkgroupRecord& operator=(const WorkgroupRecord&) = delete;

  VeskWorkgroupRecord* operator->() { return contents_; }
  int descriptor() const { return descriptor_; }

  /// Puts it where a host looks for it.
  void give_as_descriptor_3() const {
    if (descriptor_ != VESK_WORKGROUP_DESCRIPTOR) dup2(descriptor_, VESK_WORKGROUP_DESCRIPTOR);
  }

  void set_cpus(const cpu_set_t& cpus) {
    uint64_t words[VESK_WORKGROUP_CPU_WORDS];
    std::memcpy(words, &cpus, sizeof words);
    for (int i = 0; i < VESK_WORKGROUP_CPU_WORDS; ++i)
      std::atomic_ref(contents_->cpus[i]).store(words[i]);
  }

  std::vector<pid_t> member_threads() const {
    std::vector<pid_t> threads;
    for (uint64_t& slot : contents_->members)
      if (const uint64_t member = std::atomic_ref(slot).load(); member != 0)
        threads.push_back(static_cast<pid_t>(static_cast<uint32_t>(member)));
    return threads;
  }

 private:
  int descriptor_;
  VeskWorkgroupRecord* contents_;
};

}  // namespace vesk::tests
