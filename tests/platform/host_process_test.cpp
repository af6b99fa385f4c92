#include "platform/host_process.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <vesk/workgroup_record.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <string>
#include <thread>

#include "platform/parent_watch.hpp"
#include "platform/plugin_call.hpp"
#include "platform/render_thread.hpp"
#include "tests/support/child_process.hpp"
#include "tests/support/comma_locale.hpp"

namespace {

using namespace vesk::platform;
using vesk::tests::ChildEnd;
using vesk::tests::run_in_child;
using Clock = std::chrono::steady_clock;

void prepare() {
  prepare_host_process("aumu:Test:Test");
}

double seconds_since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// --- Crashes

[[gnu::noinline]] int overrun_stack(int depth) {
  volatile char frame[4096];
  frame[0] = static_cast<char>(depth);
  return depth < 0 ? 0 : overrun_stack(depth + 1) + frame[0];
}

void write_to_nowhere() {
  volatile int* nowhere = nullptr;
  *nowhere = 1;  // NOLINT(clang-analyzer-core.NullDereference): what is tested
}

TEST(HostProcess, ACrashLeavesOneLineAndTheSignalAsStatus) {
#ifdef VESK_SANITIZER
  GTEST_SKIP() << "sanitizers bring reports of their own";
#endif
  const struct {
    const char* name;
    void (*crash)();
    int signal;
    const char* line;
  } cases[] = {
      {"a null pointer in render",
       [] {
         const PluginCall call(2, "render");
         write_to_nowhere();
       },
       SIGSEGV, "plugin host aumu:Test:Test: plugin 2 died in render: SIGSEGV\n"},
      {"abort while loading",
       [] {
         const PluginCall call(31, "load");
         std::abort();
       },
       SIGABRT, "plugin host aumu:Test:Test: plugin 31 died in load: SIGABRT\n"},
      {"a signal that was sent",
       [] {
         const PluginCall call(0, "render");
         raise(SIGBUS);
       },
       SIGBUS, "plugin host aumu:Test:Test: plugin 0 died in render: SIGBUS\n"},
      {"an exception nobody catches",
       [] {
         const PluginCall call(1, "save");
         throw 1;
       },
       SIGABRT, "plugin host aumu:Test:Test: plugin 1 died in save: SIGABRT\n"},
      {"after an inner call",
       [] {
         const PluginCall outer(0, "render");
         {
           const PluginCall inner(1, "midi");
         }
         write_to_nowhere();
       },
       SIGSEGV, "plugin host aumu:Test:Test: plugin 0 died in render: SIGSEGV\n"},
      {"outside the plugins",
       [] {
         {
           const PluginCall call(0, "load");
         }
         write_to_nowhere();
       },
       SIGSEGV, "plugin host aumu:Test:Test: died outside its plugins: SIGSEGV\n"},
      {"the render thread's stack overrun",
       [] {
         std::thread([] {
           const RenderThread fit;
           const PluginCall call(3, "render");
           overrun_stack(0);
         }).join();
       },
       SIGSEGV, "plugin host aumu:Test:Test: plugin 3 died in render: SIGSEGV\n"},
      {"the main thread's stack overrun",
       [] {
         const PluginCall call(0, "load");
         overrun_stack(0);
       },
       SIGSEGV, "plugin host aumu:Test:Test: plugin 0 died in load: SIGSEGV\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const ChildEnd end = run_in_child([&] {
      prepare();
      c.crash();
      return 0;
    });
    EXPECT_TRUE(end.died_of(c.signal)) << end.status;
    EXPECT_TRUE(end.standard_error.ends_with(c.line)) << end.standard_error;
  }
}

TEST(HostProcess, APluginThatExitsIsNamedAndKeepsItsStatus) {
#ifdef VESK_SANITIZER
  GTEST_SKIP() << "sanitizers bring reports of their own";
#endif
  const ChildEnd end = run_in_child([] {
    prepare();
    const PluginCall call(0, "render");
    std::exit(7);
    return 0;
  });
  EXPECT_TRUE(end.exited_with(7)) << end.status;
  EXPECT_NE(end.standard_error.find("plugin host aumu:Test:Test: plugin 0 died in render: exit\n"),
            std::string::npos);
}

TEST(HostProcess, TwoThreadsThatCrashAtOnceLeaveOneLine) {
#ifdef VESK_SANITIZER
  GTEST_SKIP() << "sanitizers bring reports of their own";
#endif
  for (int round = 0; round < 20; ++round) {
    const ChildEnd end = run_in_child([] {
      prepare();
      std::atomic<int> ready = 0;
      const auto crash = [&](unsigned plugin) {
        const PluginCall call(plugin, "render");
        ++ready;
        while (ready < 2) {
        }
        write_to_nowhere();
      };
      std::thread first(crash, 0);
      std::thread second(crash, 1);
      first.join();
      second.join();
      return 0;
    });
    EXPECT_TRUE(end.died_of(SIGSEGV)) << end.status;
    EXPECT_EQ(std::count(end.standard_error.begin(), end.standard_error.end(), '\n'), 1)
        << end.standard_error;
  }
}

// --- Descriptors, signals, locale

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

TEST(HostProcess, ACommaLocaleDoesNotReachTheMainThread) {
  const vesk::tests::CommaLocale locale;
  if (!locale.is_there()) GTEST_SKIP() << "nothing to make a comma locale from";
  const ChildEnd end = run_in_child([&] {
    prepare();
    if (!locale.enter()) return 2;
    return std::strtof("0.5", nullptr) == 0.5f ? 0 : 1;
  });
  EXPECT_TRUE(end.exited_with(0)) << end.status;
}

// --- The parent's end

/// A host whose parent is killed as soon as the host has written to its second descriptor: what it
/// wrote to the first until it ended, and how long that took.
struct Orphan {
  std::string written;
  double seconds = 0;
};

/// A pipe whose ends leave descriptor 3 free.
bool open_pipe(int (&ends)[2]) {
  int low[2];
  if (pipe(low) != 0) return false;
  for (int i = 0; i < 2; ++i) {
    ends[i] = fcntl(low[i], F_DUPFD, 10);
    close(low[i]);
  }
  return true;
}

template <typename Host>
Orphan run_orphan(Host host, bool with_subreaper, bool give_record = false) {
  int ends[2];
  Orphan orphan;
  if (!open_pipe(ends)) return orphan;
  const pid_t reaper = fork();
  if (reaper == 0) {
    close(ends[0]);
    prctl(PR_SET_CHILD_SUBREAPER, with_subreaper ? 1 : 0);
    const pid_t parent = fork();
    if (parent == 0) {
      int started[2];
      if (!open_pipe(started)) _exit(1);
      if (give_record) {
        VeskWorkgroupRecord record = {};
        record.magic = VESK_WORKGROUP_MAGIC;
        record.version = VESK_WORKGROUP_VERSION;
        record.parent = getpid();
        const int file = memfd_create("workgroup", MFD_ALLOW_SEALING);
        (void)!write(file, &record, sizeof record);
        fcntl(file, F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW);
        if (file != VESK_WORKGROUP_DESCRIPTOR) dup2(file, VESK_WORKGROUP_DESCRIPTOR);
      }
      const pid_t child = fork();
      if (child == 0) _exit(host(ends[1], started[1]));
      close(started[1]);
      char byte = 0;
      (void)!read(started[0], &byte, 1);
      raise(SIGKILL);
    }
    close(ends[1]);
    waitpid(parent, nullptr, 0);
    while (with_subreaper && wait(nullptr) > 0) {
    }
    _exit(0);
  }
  close(ends[1]);
  waitpid(reaper, nullptr, with_subreaper ? WNOHANG : 0);
  const Clock::time_point start = Clock::now();
  char text[64];
  for (ssize_t bytes = 0; (bytes = read(ends[0], text, sizeof text)) > 0;)
    orphan.written.append(text, static_cast<std::size_t>(bytes));
  orphan.seconds = seconds_since(start);
  close(ends[0]);
  if (with_subreaper) waitpid(reaper, nullptr, 0);
  return orphan;
}

int watch_until_gone(int out, int started) {
  prepare();
  const bool gone_too_early = parent_has_gone();
  (void)!write(started, "s", 1);
  close(started);
  const Clock::time_point start = Clock::now();
  while (!parent_has_gone())
    if (seconds_since(start) > 4)
      return 1;
    else
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
  (void)!write(out, gone_too_early ? "early" : "gone", gone_too_early ? 5 : 4);
  return 0;
}

TEST(ParentWatch, SeesTheParentsEndWithoutASubreaper) {
  EXPECT_EQ(run_orphan(watch_until_gone, false).written, "gone");
}

TEST(ParentWatch, SeesTheParentsEndUnderASubreaper) {
  EXPECT_EQ(run_orphan(watch_until_gone, true).written, "gone");
}

TEST(ParentWatch, SeesAParentThatEndedBeforeTheFirstLook) {
  const auto host = [](int out, int started) {
    const pid_t parent = getppid();
    (void)!write(started, "s", 1);
    close(started);
    while (getppid() == parent) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    prepare();
    (void)!write(out, parent_has_gone() ? "gone" : "there", parent_has_gone() ? 4 : 5);
    return 0;
  };
  EXPECT_EQ(run_orphan(host, true, true).written, "gone");
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

TEST(ParentGuard, EndsAHostWhoseMainThreadIsStuck) {
  const Orphan orphan = run_orphan(
      [](int, int started) {
        prepare();
        (void)!write(started, "s", 1);
        close(started);
        for (;;) pause();
        return 0;
      },
      true);
  EXPECT_GT(orphan.seconds, 4);
  EXPECT_LT(orphan.seconds, 30) << "some seconds, on a busy machine";
}

TEST(ParentGuard, LetsAHostThatIsEndingFinishItsSaving) {
  const Orphan orphan = run_orphan(
      [](int out, int started) {
        prepare();
        announce_end();
        (void)!write(started, "s", 1);
        close(started);
        std::this_thread::sleep_for(std::chrono::seconds(7));
        (void)!write(out, "saved", 5);
        return 0;
      },
      true);
  EXPECT_EQ(orphan.written, "saved");
}

// --- The render thread

TEST(RenderThread, FlushesDenormalNumbersOnItsOwnThreadOnly) {
  const auto tiny_product = [] {
    volatile float small = 1e-30f;
    return small * 1e-10f;
  };
  float inside = 1;
  std::thread([&] {
    const RenderThread fit;
    inside = tiny_product();
  }).join();
  EXPECT_EQ(inside, 0.0f);
  EXPECT_GT(tiny_product(), 0.0f);
}

TEST(RenderThread, HasASignalStackWhileItLives) {
#ifdef VESK_SANITIZER
  GTEST_SKIP() << "sanitizers bring stacks of their own";
#endif
  std::thread([] {
    stack_t stack = {};
    {
      const RenderThread fit;
      sigaltstack(nullptr, &stack);
      EXPECT_EQ(stack.ss_flags & SS_DISABLE, 0);
    }
    sigaltstack(nullptr, &stack);
    EXPECT_NE(stack.ss_flags & SS_DISABLE, 0);
  }).join();
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
