#include <gtest/gtest.h>
#include <mach/mach_time.h>
#include <os/os_sync_wait_on_address.h>
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <thread>

#include "tests/support/wait_until.hpp"

namespace {

constexpr uint64_t second_ns = 1'000'000'000;
constexpr auto shared_flag = OS_SYNC_WAIT_ON_ADDRESS_SHARED;
constexpr auto mach_clock = OS_CLOCK_MACH_ABSOLUTE_TIME;

/// One shared page, mapped twice.
class AddressWait : public testing::Test {
 protected:
  AddressWait() {
    const int file = memfd_create("words", MFD_CLOEXEC);
    EXPECT_EQ(ftruncate(file, 4096), 0);
    for (uint32_t*& words : mapping_)
      words =
          static_cast<uint32_t*>(mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0));
    close(file);
  }
  ~AddressWait() override {
    for (uint32_t* words : mapping_) munmap(words, 4096);
  }

  static int wait(uint32_t* word, uint64_t value, uint64_t limit = 10 * second_ns) {
    return os_sync_wait_on_address_with_timeout(word, value, 4, shared_flag, mach_clock, limit);
  }
  static int wake(uint32_t* word) {
    return os_sync_wake_by_address_any(word, 4, OS_SYNC_WAKE_BY_ADDRESS_SHARED);
  }

  uint32_t* mapping_[2] = {};
};

TEST_F(AddressWait, RefusesWhatTheCallDoesNotTake) {
  uint32_t* word = mapping_[0];
  void* misaligned = reinterpret_cast<char*>(word) + 2;
  void* unmapped = mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  munmap(unmapped, 4096);
  struct Case {
    const char* name;
    void* address;
    size_t size;
    uint32_t flags;
    uint32_t clock;
    uint64_t limit;
    bool wake_is_refused;
  };
  const Case cases[] = {
      {"flags beyond the first", word, 4, 2, mach_clock, second_ns, true},
      {"size 2", word, 2, 1, mach_clock, second_ns, true},
      {"size 8", word, 8, 1, mach_clock, second_ns, true},
      {"no address", nullptr, 4, 1, mach_clock, second_ns, true},
      {"misaligned", misaligned, 4, 1, mach_clock, second_ns, true},
      {"unmapped", unmapped, 4, 1, mach_clock, second_ns, true},
      {"another clock", word, 4, 1, 1, second_ns, false},
      {"no time", word, 4, 1, mach_clock, 0, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    errno = 0;
    EXPECT_EQ(os_sync_wait_on_address_with_timeout(c.address, 0, c.size, c.flags, c.clock, c.limit),
              -1);
    EXPECT_EQ(errno, EINVAL);
    if (!c.wake_is_refused) continue;
    errno = 0;
    EXPECT_EQ(os_sync_wake_by_address_all(c.address, c.size, c.flags), -1);
    EXPECT_EQ(errno, EINVAL);
  }
}

TEST_F(AddressWait, ReturnsAtOnceWhenTheWordDiffersAndElseAfterItsTime) {
  *mapping_[0] = 7;
  EXPECT_EQ(wait(mapping_[0], 6), 0);
  EXPECT_EQ(os_sync_wait_on_address(mapping_[0], 6, 4, shared_flag), 0);
  const uint64_t limit = second_ns / 20;
  const uint64_t start = mach_absolute_time();
  // Only the low half counts for a word of four bytes.
  EXPECT_EQ(wait(mapping_[0], (uint64_t{6} << 32) | 7, limit), -1);
  EXPECT_EQ(errno, ETIMEDOUT);
  EXPECT_GE(mach_absolute_time() - start, limit);
}

TEST_F(AddressWait, AWakeThroughOneMappingReachesAWaiterOnAnotherOrSaysThatNobodyWaits) {
  EXPECT_EQ(wake(mapping_[0]), -1);
  EXPECT_EQ(errno, ENOENT);
  std::atomic<int> result = -2;
  std::thread waiter([&] { result = wait(mapping_[0] + 3, 0); });
  EXPECT_TRUE(vesk::tests::wait_until([&] { return wake(mapping_[1] + 3) == 0; }));
  waiter.join();
  EXPECT_EQ(result, 0);
}

TEST_F(AddressWait, AWakeOfAllWakesEveryWaiter) {
  std::atomic<int> woken = 0;
  std::thread waiters[3];
  for (std::thread& waiter : waiters)
    waiter = std::thread([&] {
      if (os_sync_wait_on_address(mapping_[0], 0, 4, OS_SYNC_WAIT_ON_ADDRESS_NONE) == 0) ++woken;
    });
  // Threads that come late find the word changed and return as well.
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  std::atomic_ref<uint32_t>(*mapping_[0]).store(1);
  os_sync_wake_by_address_all(mapping_[0], 4, OS_SYNC_WAKE_BY_ADDRESS_NONE);
  for (std::thread& waiter : waiters) waiter.join();
  EXPECT_EQ(woken, 3);
}

TEST_F(AddressWait, ASignalEndsAWaitEarly) {
  struct sigaction action = {};
  action.sa_handler = [](int) {};
  action.sa_flags = SA_RESTART;
  struct sigaction before = {};
  sigaction(SIGUSR1, &action, &before);
  std::atomic<int> error = 0;
  std::atomic<bool> done = false;
  std::thread waiter([&] {
    if (wait(mapping_[0], 0) == -1) error = errno;
    done = true;
  });
  while (!done) {
    pthread_kill(waiter.native_handle(), SIGUSR1);
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  waiter.join();
  sigaction(SIGUSR1, &before, nullptr);
  EXPECT_EQ(error, EINTR);
}

TEST(MachTime, CountsNanosecondsOfTheMonotonicClock) {
  mach_timebase_info_data_t base = {};
  ASSERT_EQ(mach_timebase_info(&base), KERN_SUCCESS);
  EXPECT_EQ(base.numer, base.denom);
  EXPECT_EQ(mach_timebase_info(nullptr), KERN_INVALID_ARGUMENT);
  const auto monotonic = [] {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * second_ns + static_cast<uint64_t>(now.tv_nsec);
  };
  const uint64_t before = monotonic();
  const uint64_t ticks = mach_absolute_time();
  EXPECT_GE(ticks, before);
  EXPECT_LE(ticks, monotonic());
}

}  // namespace
