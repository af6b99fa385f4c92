#include <CoreFoundation/CoreFoundation.h>
#include <dispatch/dispatch.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <new>
#include <thread>
#include <vector>

#include "platform/linux/dispatch/run_loop.hpp"

namespace {
std::atomic<int> allocations{0};
}

#ifndef VESK_SANITIZER  // sanitizers bring their own
void* operator new(std::size_t size) {
  allocations.fetch_add(1, std::memory_order_relaxed);
  if (void* memory = std::malloc(size)) return memory;
  throw std::bad_alloc();
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}
#endif

namespace {

using Clock = std::chrono::steady_clock;

double seconds_since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

CFRunLoopRunResult run(double seconds, bool returns_after_source = false) {
  return CFRunLoopRunInMode(kCFRunLoopDefaultMode, seconds, returns_after_source);
}

std::vector<int> order;
void note(void* number) {
  order.push_back(static_cast<int>(reinterpret_cast<intptr_t>(number)));
}
void* number(int value) {
  return reinterpret_cast<void*>(static_cast<intptr_t>(value));
}

TEST(RunLoop, TheMainThreadWaitsOutItsTimeAndAnotherFinishesAtOnce) {
  const auto start = Clock::now();
  EXPECT_EQ(run(0.03), kCFRunLoopRunTimedOut);
  EXPECT_GE(seconds_since(start), 0.03);
  EXPECT_EQ(run(0), kCFRunLoopRunTimedOut);
  EXPECT_EQ(run(-1), kCFRunLoopRunTimedOut);
  EXPECT_EQ(CFRunLoopRunInMode(CFSTR("a mode of nobody"), 10, false), kCFRunLoopRunFinished);
  EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopCommonModes, 10, false), kCFRunLoopRunFinished);
  std::thread([] { EXPECT_EQ(run(10), kCFRunLoopRunFinished); }).join();
  EXPECT_LT(seconds_since(start), 5);
}

TEST(RunLoop, MainQueueTasksRunInOrderWithoutReentry) {
  order.clear();
  for (int i = 0; i < 100; ++i) dispatch_async_f(dispatch_get_main_queue(), number(i), note);
  __block CFRunLoopRunResult inner{};
  dispatch_async(dispatch_get_main_queue(), ^{
    dispatch_async_f(dispatch_get_main_queue(), number(101), note);
    inner = run(10);  // nothing to wait for in here: it must neither block nor run the task
    order.push_back(100);
  });
  EXPECT_EQ(run(10, true), kCFRunLoopRunHandledSource);
  EXPECT_EQ(inner, kCFRunLoopRunFinished);
  ASSERT_EQ(order.size(), 101u);  // what was posted meanwhile is for the next pass
  EXPECT_EQ(run(10, true), kCFRunLoopRunHandledSource);
  ASSERT_EQ(order.size(), 102u);
  for (int i = 0; i < 102; ++i) EXPECT_EQ(order[static_cast<std::size_t>(i)], i);
}

TEST(RunLoop, ATaskPostedByAnotherThreadEndsTheWait) {
  std::atomic<int> sum{0};
  std::atomic<int>* const total = &sum;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([total] {
      for (int i = 0; i < 500; ++i) {
        dispatch_async(dispatch_get_main_queue(), ^{
          total->fetch_add(1);
        });
      }
      dispatch_sync(dispatch_get_main_queue(), ^{
        EXPECT_EQ(::gettid(), ::getpid());
        total->fetch_add(1000);
      });
    });
  }
  const auto start = Clock::now();
  while (sum < 6000 && seconds_since(start) < 20) run(5, true);
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(sum, 6000);
}

TEST(RunLoop, DelayedTasksComeWhenDueInTheirOrder) {
  order.clear();
  const auto start = Clock::now();
  const dispatch_time_t later = dispatch_time(DISPATCH_TIME_NOW, 40 * NSEC_PER_MSEC);
  dispatch_after_f(later, dispatch_get_main_queue(), number(2), note);
  dispatch_after_f(later, dispatch_get_main_queue(), number(3), note);
  dispatch_after_f(dispatch_time(later, -20 * static_cast<int64_t>(NSEC_PER_MSEC)),
                   dispatch_get_main_queue(), number(1), note);
  dispatch_after_f(DISPATCH_TIME_NOW, dispatch_get_main_queue(), number(0), note);
  dispatch_after(DISPATCH_TIME_FOREVER, dispatch_get_main_queue(), ^{
    order.push_back(-1);
  });
  while (order.size() < 4 && seconds_since(start) < 5) run(0.5, true);
  EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3}));
  EXPECT_GE(seconds_since(start), 0.04);
  EXPECT_EQ(dispatch_time(DISPATCH_TIME_FOREVER, -5), DISPATCH_TIME_FOREVER);
  EXPECT_EQ(dispatch_time(5, INT64_MIN), 1u);
  EXPECT_EQ(dispatch_time(~0ull - 5, 100), DISPATCH_TIME_FOREVER);
}

TEST(RunLoop, OnceMeansOnceAndTheOthersWait) {
  static dispatch_once_t once;
  static int count;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([] {
      dispatch_once(&once, ^{
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        ++count;
      });
      EXPECT_EQ(count, 1);
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(count, 1);
}

TEST(RunLoop, TheBackgroundQueueRunsElsewhere) {
  std::atomic<int> done{0};
  std::atomic<int>* const flag = &done;
  const dispatch_queue_t queue = dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_DEFAULT, 0);
  const auto check = ^{
    EXPECT_NE(::gettid(), ::getpid());
    flag->fetch_add(1);
  };
  dispatch_after(dispatch_time(DISPATCH_TIME_NOW, 20 * NSEC_PER_MSEC), queue, check);
  dispatch_async(queue, check);
  const auto start = Clock::now();
  while (done < 2 && seconds_since(start) < 5) ::usleep(1000);
  EXPECT_EQ(done, 2);
}

TEST(RunLoop, StopEndsTheInnermostRunOnly) {
  CFRunLoopRef main = CFRunLoopGetMain();
  __block CFRunLoopRunResult inner{};
  CFRunLoopPerformBlock(main, kCFRunLoopDefaultMode, ^{
    CFRunLoopPerformBlock(main, kCFRunLoopDefaultMode, ^{
      CFRunLoopStop(main);
    });
    inner = run(10);
  });
  EXPECT_EQ(run(0.05), kCFRunLoopRunTimedOut);
  EXPECT_EQ(inner, kCFRunLoopRunStopped);

  // A stop that came before an inner run is for the outer one.
  CFRunLoopPerformBlock(main, kCFRunLoopDefaultMode, ^{
    CFRunLoopStop(main);
    inner = run(0.01);
  });
  EXPECT_EQ(run(10), kCFRunLoopRunStopped);
  EXPECT_EQ(inner, kCFRunLoopRunTimedOut);

  std::thread stopper([main] {
    while (!CFRunLoopIsWaiting(main)) ::usleep(1000);
    CFRunLoopStop(main);
  });
  const auto start = Clock::now();
  EXPECT_EQ(run(10), kCFRunLoopRunStopped);
  EXPECT_LT(seconds_since(start), 5);
  stopper.join();
}

struct Ticks {
  int count = 0;
  int references = 0;
};

CFRunLoopTimerRef make_timer(Ticks& ticks, double delay, double interval,
                             CFRunLoopTimerCallBack callback) {
  CFRunLoopTimerContext context{
      0, &ticks,
      [](const void* info) {
        ++static_cast<Ticks*>(const_cast<void*>(info))->references;
        return info;
      },
      [](const void* info) { --static_cast<Ticks*>(const_cast<void*>(info))->references; },
      nullptr};
  return CFRunLoopTimerCreate(nullptr, CFAbsoluteTimeGetCurrent() + delay, interval, 0, 0, callback,
                              &context);
}

TEST(RunLoop, TimersRepeatKeepTheirPhaseAndLetGo) {
  Ticks ticks, once;
  CFRunLoopTimerRef timer = make_timer(ticks, 0.01, 0.02, [](CFRunLoopTimerRef self, void* info) {
    auto* counted = static_cast<Ticks*>(info);
    if (++counted->count == 1) ::usleep(50000);  // misses two of its dates
    if (counted->count == 3) CFRunLoopTimerInvalidate(self);
    EXPECT_EQ(counted->references, 1);  // not before the callback is over
  });
  CFRunLoopTimerRef single = make_timer(once, 0.005, 0, [](CFRunLoopTimerRef self, void* info) {
    ++static_cast<Ticks*>(info)->count;
    EXPECT_FALSE(CFRunLoopTimerIsValid(self));
  });
  CFRunLoopAddTimer(CFRunLoopGetMain(), timer, kCFRunLoopCommonModes);
  CFRunLoopAddTimer(CFRunLoopGetMain(), single, kCFRunLoopDefaultMode);
  EXPECT_TRUE(CFRunLoopContainsTimer(CFRunLoopGetMain(), timer, kCFRunLoopCommonModes));
  const auto start = Clock::now();
  const CFAbsoluteTime first = CFRunLoopTimerGetNextFireDate(timer);
  while (ticks.count < 1 && seconds_since(start) < 5) run(0.001);
  const double later = CFRunLoopTimerGetNextFireDate(timer) - first;
  EXPECT_GE(later, 0.059);
  EXPECT_LT(std::abs(std::remainder(later, 0.02)), 0.003);
  while (ticks.count < 3 && seconds_since(start) < 5) run(0.02);
  EXPECT_GE(seconds_since(start), 0.09);  // 0.01, then 0.07 and 0.09
  EXPECT_EQ(ticks.count, 3);
  EXPECT_EQ(once.count, 1);
  EXPECT_EQ(ticks.references, 0);
  EXPECT_EQ(once.references, 0);
  EXPECT_FALSE(CFRunLoopContainsTimer(CFRunLoopGetMain(), timer, kCFRunLoopCommonModes));
  EXPECT_EQ(CFGetRetainCount(timer), 1);
  CFRelease(timer);
  CFRelease(single);
}

TEST(RunLoop, AnotherThreadsLoopServesTimersAndSourcesUntilItIsEmpty) {
  std::atomic<CFRunLoopRef> published{nullptr};
  std::atomic<int> performed{0};
  CFRunLoopSourceContext context{};
  context.info = &performed;
  context.perform = [](void* info) { static_cast<std::atomic<int>*>(info)->fetch_add(1); };
  CFRunLoopSourceRef source = CFRunLoopSourceCreate(nullptr, 0, &context);
  std::atomic<int> ticks{0};
  std::atomic<int>* const counted = &ticks;
  std::thread thread([&] {
    CFRunLoopTimerRef timer = CFRunLoopTimerCreateWithHandler(
        nullptr, CFAbsoluteTimeGetCurrent() + 0.01, 0, 0, 0, ^(CFRunLoopTimerRef) {
          counted->fetch_add(1);
        });
    CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
    CFRunLoopAddTimer(CFRunLoopGetCurrent(), timer, kCFRunLoopDefaultMode);
    CFRelease(timer);
    published = static_cast<CFRunLoopRef>(const_cast<void*>(CFRetain(CFRunLoopGetCurrent())));
    EXPECT_EQ(run(10, true), kCFRunLoopRunHandledSource);
    EXPECT_EQ(run(10), kCFRunLoopRunFinished);  // the source was invalidated
  });
  while (!published || ticks == 0) ::usleep(1000);
  CFRunLoopSourceSignal(source);
  CFRunLoopWakeUp(published);
  while (performed == 0) ::usleep(1000);
  CFRunLoopSourceInvalidate(source);
  CFRunLoopWakeUp(published);
  thread.join();
  EXPECT_EQ(performed, 1);
  EXPECT_EQ(ticks, 1);
  CFRelease(published.load());
  CFRelease(source);
}

TEST(RunLoop, DescriptorsAreServedAndAWindowModuleCanWaitForTheLoop) {
  const int descriptor = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
  static int served;
  vesk::platform::add_descriptor(
      descriptor,
      [](int fd, void*) {
        std::uint64_t value;
        EXPECT_EQ(::read(fd, &value, sizeof value), static_cast<ssize_t>(sizeof value));
        ++served;
      },
      nullptr);
  const auto signal = [descriptor] {
    const std::uint64_t one = 1;
    ASSERT_EQ(::write(descriptor, &one, sizeof one), static_cast<ssize_t>(sizeof one));
  };
  const auto is_readable = [](int fd, int timeout_ms) {
    pollfd wanted{fd, POLLIN, 0};
    return ::poll(&wanted, 1, timeout_ms) == 1;
  };
  signal();
  EXPECT_EQ(run(10, true), kCFRunLoopRunHandledSource);
  EXPECT_EQ(served, 1);

  const int watch = vesk::platform::main_loop_descriptor();
  ASSERT_GE(watch, 0);
  vesk::platform::service_once();
  EXPECT_FALSE(is_readable(watch, 0));
  signal();
  EXPECT_TRUE(is_readable(watch, 0));
  vesk::platform::service_once();
  EXPECT_EQ(served, 2);
  EXPECT_FALSE(is_readable(watch, 0));
  std::thread([] { dispatch_async_f(dispatch_get_main_queue(), number(0), note); }).join();
  EXPECT_TRUE(is_readable(watch, 0));
  vesk::platform::service_once();
  EXPECT_FALSE(is_readable(watch, 0));

  EXPECT_EQ(vesk::platform::next_deadline(), UINT64_MAX);
  Ticks ticks;
  CFRunLoopTimerRef timer = make_timer(
      ticks, 0.005, 0, [](CFRunLoopTimerRef, void* info) { ++static_cast<Ticks*>(info)->count; });
  CFRunLoopAddTimer(CFRunLoopGetMain(), timer, kCFRunLoopCommonModes);
  EXPECT_TRUE(is_readable(watch, 0));  // the deadline has changed
  EXPECT_LT(vesk::platform::next_deadline(), UINT64_MAX);
  const auto start = Clock::now();
  while (ticks.count == 0 && seconds_since(start) < 5) vesk::platform::service_once();
  EXPECT_EQ(ticks.count, 1);
  CFRelease(timer);

  vesk::platform::remove_descriptor(descriptor);
  signal();
  EXPECT_EQ(run(0.01), kCFRunLoopRunTimedOut);
  EXPECT_EQ(served, 2);
  ::close(descriptor);
}

TEST(RunLoop, AnIdlePumpCostsNextToNothing) {
  run(0);
  rusage before, after;
  ::getrusage(RUSAGE_THREAD, &before);
  constexpr int pumps = 20000;
  const int allocated = allocations;
  for (int i = 0; i < pumps; ++i) run(0);
  EXPECT_EQ(allocations, allocated);
  ::getrusage(RUSAGE_THREAD, &after);
  const auto microseconds = [](const rusage& usage) {
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1e6 +
           static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec);
  };
  const double each = (microseconds(after) - microseconds(before)) / pumps;
  RecordProperty("microseconds_each", std::to_string(each));
  // A poll and some locks; the bound leaves room for sanitizers and a busy machine.
  EXPECT_LT(each, 50);
  std::printf("idle pump: %.2f us\n", each);
}

}  // namespace
