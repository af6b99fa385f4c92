// Every system call that a start makes fails once: each time there is a sentence, and nothing is
// left behind. The linker puts the calls below in place of the system's.
#include <gtest/gtest.h>
#include <poll.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <new>
#include <string_view>

#include "tests/client/client_host.hpp"

using namespace vesk::client;
using namespace vesk::client_test;

namespace {

/// No thread but the main one gets memory while this is not negative; counts the refusals.
std::atomic<int> g_refusals{-1};

/// Calls until the one that fails; negative: none does.
std::atomic<int> g_calls_left{-1};

/// The main thread's question whether a process has ended is answered when it has.
std::atomic<bool> g_waits_for_end{false};

bool fails(int error) {
  if (g_calls_left.load() < 0 || g_calls_left.fetch_sub(1) != 0) return false;
  errno = error;
  return true;
}

}  // namespace

extern "C" {
// operator new(std::size_t)
void* __real__Znwm(std::size_t);
void* __wrap__Znwm(std::size_t bytes) {
  if (g_refusals.load() >= 0 && gettid() != getpid()) {
    g_refusals.fetch_add(1);
    throw std::bad_alloc();
  }
  return __real__Znwm(bytes);
}
int __real_shm_open(const char*, int, mode_t);
int __wrap_shm_open(const char* name, int flags, mode_t mode) {
  return fails(EMFILE) ? -1 : __real_shm_open(name, flags, mode);
}
int __real_posix_fallocate(int, off_t, off_t);
int __wrap_posix_fallocate(int descriptor, off_t start, off_t bytes) {
  return fails(ENOSPC) ? ENOSPC : __real_posix_fallocate(descriptor, start, bytes);
}
void* __real_mmap(void*, size_t, int, int, int, off_t);
void* __wrap_mmap(void* where, size_t bytes, int access, int flags, int file, off_t offset) {
  return fails(ENOMEM) ? MAP_FAILED : __real_mmap(where, bytes, access, flags, file, offset);
}
int __real_memfd_create(const char*, unsigned);
int __wrap_memfd_create(const char* name, unsigned flags) {
  return fails(EMFILE) ? -1 : __real_memfd_create(name, flags);
}
int __real_eventfd(unsigned, int);
int __wrap_eventfd(unsigned count, int flags) {
  return fails(EMFILE) ? -1 : __real_eventfd(count, flags);
}
int __real_ftruncate(int, off_t);
int __wrap_ftruncate(int descriptor, off_t bytes) {
  return fails(ENOSPC) ? -1 : __real_ftruncate(descriptor, bytes);
}
int __real_pipe2(int*, int);
int __wrap_pipe2(int* ends, int flags) {
  return fails(EMFILE) ? -1 : __real_pipe2(ends, flags);
}
int __real_posix_spawn(pid_t*, const char*, const posix_spawn_file_actions_t*,
                       const posix_spawnattr_t*, char* const*, char* const*);
int __wrap_posix_spawn(pid_t* pid, const char* program, const posix_spawn_file_actions_t* actions,
                       const posix_spawnattr_t* attributes, char* const* arguments,
                       char* const* environment) {
  if (fails(EAGAIN)) return EAGAIN;
  return __real_posix_spawn(pid, program, actions, attributes, arguments, environment);
}
int __real_ppoll(pollfd*, nfds_t, const timespec*, const sigset_t*);
int __wrap_ppoll(pollfd* watched, nfds_t count, const timespec* limit, const sigset_t* mask) {
  const bool waits = g_waits_for_end && gettid() == getpid();
  return __real_ppoll(watched, count, waits ? nullptr : limit, mask);
}
int __real_pidfd_open(pid_t, unsigned);
int __wrap_pidfd_open(pid_t pid, unsigned flags) {
  return fails(EMFILE) ? -1 : __real_pidfd_open(pid, flags);
}
}

TEST(ClientFailingCalls, EachGivesASentenceAndLeavesNothing) {
  const int descriptors = entries("/proc/self/fd");
  // A sanitizer starts a thread of its own beside the first of ours.
  std::thread([] {}).join();
  const int threads = entries("/proc/self/task");
  std::vector<std::string> sentences;
  for (int call = 0;; ++call) {
    ASSERT_LT(call, 50);
    std::string error;
    g_calls_left = call;
    auto host = HostProcess::start(options("x=1", Mode::real_time), error);
    const bool reached = g_calls_left.exchange(-1) < 0;
    if (!reached) {
      ASSERT_NE(host, nullptr) << error;
      break;
    }
    EXPECT_EQ(host, nullptr) << call;
    EXPECT_FALSE(error.empty()) << call;
    EXPECT_EQ(entries("/proc/self/fd"), descriptors) << error;
    // A joined thread leaves the list a moment later.
    EXPECT_TRUE(wait_until([&] { return entries("/proc/self/task") <= threads; }))
        << "a thread is left: " << error;
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a child is left: " << error;
    sentences.push_back(error);
  }
  const std::string_view expected[] = {
      "cannot create the shared memory /vesk-",
      "no room for the shared memory in /dev/shm: No space left on device",
      "cannot map the shared memory: Cannot allocate memory",
      "cannot create the workgroup record: Too many open files",
      "cannot create the workgroup record: No space left on device",
      "cannot map the workgroup record: Cannot allocate memory",
      "cannot create the parent's record: Too many open files",
      "cannot create the parent's record: No space left on device",
      "cannot map the parent's record: Cannot allocate memory",
      "cannot create the host's bell: Too many open files",
      "cannot make a pipe: Too many open files",
      "cannot make a pipe for the host's standard error: Too many open files",
      "cannot start ",
      "cannot watch the host process: Too many open files",
  };
  ASSERT_EQ(sentences.size(), std::size(expected));
  for (std::size_t i = 0; i < std::size(expected); ++i)
    EXPECT_TRUE(sentences[i].starts_with(expected[i])) << sentences[i];
}

TEST(ClientFailingCalls, ABackgroundThreadWithoutMemoryGoesOnWhenThereIsSome) {
  std::string error;
  // Its lines need memory.
  auto host = HostProcess::start(options("flood=100"), error);
  ASSERT_NE(host, nullptr) << error;
  g_refusals = 0;
  host->set_parameter(0, 1, 2);
  EXPECT_TRUE(wait_until([] { return g_refusals >= 3; }));
  g_refusals = -1;
  EXPECT_TRUE(host->settle(std::chrono::seconds(10)));
  EXPECT_TRUE(host->stop().orderly());
}

TEST(ClientFailingCalls, AHostThatFailsAndEndsBetweenTwoLooksIsHeard) {
  std::string error;
  g_waits_for_end = true;
  EXPECT_EQ(HostProcess::start(options("load_ms=100,fail=reasons"), error), nullptr);
  g_waits_for_end = false;
  EXPECT_EQ(error, "reasons");
}
