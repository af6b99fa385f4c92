#include "platform/host_process.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mman.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <optional>
#include <string>
#include <thread>

#include "platform/parent_watch.hpp"
#include "platform/plugin_call.hpp"
#include "platform/render_thread.hpp"
#include "tests/support/child_process.hpp"
#include "tests/support/workgroup_record.hpp"

namespace {

using namespace vesk::platform;
using vesk::tests::ChildEnd;
using vesk::tests::run_in_child;

void prepare() {
  prepare_host_process("aumu:Test:Test");
}

// --- Crashes

#ifndef VESK_SANITIZER  // sanitizers bring reports and stacks of their own

[[gnu::noinline]] int overrun_stack(int depth) {
  volatile char frame[4096];
  frame[0] = static_cast<char>(depth);
  return depth < 0 ? 0 : overrun_stack(depth + 1) + frame[0];
}

void write_to_nowhere() {
  volatile int* nowhere = nullptr;
  *nowhere = 1;  // NOLINT(clang-analyzer-core.NullDereference): what is tested
}

void crash_on_two_threads() {
  std::atomic<int> ready = 0;
  const auto crash = [&] {
    const PluginCall call(4, "render");
    ++ready;
    while (ready < 2) {
    }
    write_to_nowhere();
  };
  std::thread first(crash), second(crash);
  first.join();
  second.join();
}

void crash_after_an_inner_call() {
  {
    const PluginCall inner(1, "midi");
  }
  write_to_nowhere();
}

TEST(HostProcess, AnEndInAPluginIsToldInOneLineAndKeepsItsStatus) {
  const struct {
    const char* name;
    unsigned plugin;
    const char* call;  // null: outside the plugins
    void (*end)();
    int signal;  // 0: it exits with 7
    const char* line;
    int rounds = 1;
  } cases[] = {
      {"abort", 31, "load", std::abort, SIGABRT, "plugin 31 died in load: SIGABRT\n"},
      {"a signal that was sent", 0, "render", [] { raise(SIGBUS); }, SIGBUS,
       "plugin 0 died in render: SIGBUS\n"},
      {"an exit", 0, "render", [] { std::exit(7); }, 0, "plugin 0 died in render: exit\n"},
      {"an exception nobody catches", 1, "save", [] { throw 1; }, SIGABRT,
       "plugin 1 died in save: SIGABRT\n"},
      {"after an inner call", 0, "render", crash_after_an_inner_call, SIGSEGV,
       "plugin 0 died in render: SIGSEGV\n"},
      {"outside the plugins", 0, nullptr, crash_after_an_inner_call, SIGSEGV,
       "died outside its plugins: SIGSEGV\n"},
      {"the main thread's stack overrun", 0, "load", [] { overrun_stack(0); }, SIGSEGV,
       "plugin 0 died in load: SIGSEGV\n"},
      {"two threads at once", 0, nullptr, crash_on_two_threads, SIGSEGV,
       "plugin 4 died in render: SIGSEGV\n", 20},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    for (int round = 0; round < c.rounds; ++round) {
      const ChildEnd end = run_in_child([&] {
        prepare();
        std::optional<PluginCall> call;
        if (c.call) call.emplace(c.plugin, c.call);
        c.end();
        return 0;
      });
      EXPECT_TRUE(c.signal ? end.died_of(c.signal) : end.exited_with(7)) << end.status;
      // What a thrown value says of itself comes before.
      const std::string line = std::string("plugin host aumu:Test:Test: ") + c.line;
      EXPECT_TRUE(end.standard_error.ends_with(line)) << end.standard_error;
      EXPECT_EQ(end.standard_error.find(line), end.standard_error.rfind("plugin host"));
    }
  }
}

TEST(RenderThread, LeavesNoSignalStackWhoseMemoryIsGone) {
  std::thread([] {
    stack_t stack = {};
    {
      const RenderThread fit;
    }
    sigaltstack(nullptr, &stack);
    EXPECT_NE(stack.ss_flags & SS_DISABLE, 0);
  }).join();
}

#endif

// --- Descriptors, signals

TEST(HostProcess, NoFileTakesThePlaceOfAClosedStandardDescriptor) {
  const ChildEnd end = run_in_child([] {
    close(STDIN_FILENO);
    close(STDERR_FILENO);
    prepare();
    const int first = open("/dev/zero", O_RDONLY);
    const int second = open("/dev/zero", O_RDONLY);
    return first > STDERR_FILENO && second > STDERR_FILENO ? 0 : 1;
  });
  EXPECT_TRUE(end.exited_with(0)) << end.status;
}

TEST(HostProcess, ABrokenPipeIsAnErrorAndNoSignal) {
  const ChildEnd end = run_in_child([] {
    prepare();
    int ends[2];
    if (pipe(ends) != 0) return 1;
    close(ends[0]);
    return write(ends[1], "x", 1) == -1 && errno == EPIPE ? 0 : 2;
  });
  EXPECT_TRUE(end.exited_with(0)) << end.status;
  EXPECT_EQ(end.standard_error, "");
}

// --- The parent's end

TEST(ParentWatch, SeesAParentThatEndedBeforeTheFirstLook) {
  const ChildEnd end = run_in_child([] {
    int ends[2];
    if (pipe(ends) != 0) return 1;
    const pid_t parent = fork();
    if (parent == 0) {
      const pid_t own = getpid();
      const vesk::tests::WorkgroupRecord record;  // with this process as the parent
      record.give_as_descriptor_3();
      if (fork() != 0) _exit(0);
      while (getppid() == own) std::this_thread::sleep_for(std::chrono::milliseconds(1));
      prepare();
      (void)!write(ends[1], parent_has_gone() ? "g" : "t", 1);
      _exit(0);
    }
    waitpid(parent, nullptr, 0);
    char answer = 0;
    return read(ends[0], &answer, 1) == 1 && answer == 'g' ? 0 : 2;
  });
  EXPECT_TRUE(end.exited_with(0)) << end.status;
}

// ThreadSanitizer lets no child of a second thread start threads of its own.
#if !__has_feature(thread_sanitizer)
TEST(ParentWatch, ASpawningThreadThatEndsIsNotTheParentsEnd) {
  int to_child[2];
  int to_parent[2];
  ASSERT_TRUE(pipe(to_child) == 0 && pipe(to_parent) == 0);
  pid_t child = -1;
  char byte = 0;
  // It ends once the child watches.
  std::thread([&] {
    child = fork();
    if (child != 0) {
      (void)!read(to_parent[0], &byte, 1);
      return;
    }
    prepare();
    const bool gone_at_first = parent_has_gone();
    (void)!write(to_parent[1], "x", 1);
    (void)!read(to_child[0], &byte, 1);
    _exit(gone_at_first || parent_has_gone() ? 1 : 0);
  }).join();
  (void)!write(to_child[1], "x", 1);
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  for (const int end : {to_child[0], to_child[1], to_parent[0], to_parent[1]}) close(end);
}
#endif

TEST(ParentWatch, Process1AsALivingParentHasNotGone) {
  const ChildEnd end = run_in_child([] {
    if (unshare(CLONE_NEWPID) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWPID) != 0) return 99;
    const pid_t first = fork();
    if (first < 0) return 99;
    if (first == 0) {
      const pid_t host = fork();
      if (host == 0) {
        prepare();
        _exit(getppid() == 1 && !parent_has_gone() ? 0 : 1);
      }
      int status = 0;
      waitpid(host, &status, 0);
      _exit(status == 0 ? 0 : 1);
    }
    int status = 0;
    waitpid(first, &status, 0);
    return status == 0 ? 0 : 1;
  });
  if (end.exited_with(99)) GTEST_SKIP() << "no process namespace can be made here";
  EXPECT_TRUE(end.exited_with(0)) << end.status;
}

TEST(TouchPages, MakesPagesResidentAndKeepsTheirContents) {
  const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  const std::size_t pages = 17;
  auto* memory = static_cast<unsigned char*>(
      mmap(nullptr, pages * page, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  ASSERT_NE(memory, MAP_FAILED);
  memory[3 * page + 5] = 42;
  touch_pages(memory + 10, (pages - 1) * page);
  unsigned char resident[pages] = {};
  ASSERT_EQ(mincore(memory, pages * page, resident), 0);
  for (std::size_t i = 0; i < pages; ++i) EXPECT_EQ(resident[i] & 1, 1) << i;
  EXPECT_EQ(memory[3 * page + 5], 42);
  touch_pages(memory, 0);
  munmap(memory, pages * page);
}

}  // namespace
