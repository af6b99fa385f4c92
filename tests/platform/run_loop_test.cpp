#include "platform/linux/dispatch/run_loop.hpp"

#include <CoreFoundation/CoreFoundation.h>
#include <dispatch/dispatch.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <new>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {
std::atomic<int> allocations{0};
}

#ifndef VESK_SANITIZER  // sanitizers bring their own
void* operator new(std::size_t size) {
  allocations.fetch_add(1, std::memory_order_relaxed);
  if (void* memory = std::malloc(size)) return memory;
  throw std::bad_alloc();
}
#endif

namespace {

using Clock = std::chrono::steady_clock;

double seconds_since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

/// Runs `turn` until `condition()` holds, at most for a limit that nothing on the way needs.
template <typename Condition, typename Turn>
bool run_until(Condition condition, Turn turn) {
  const auto start = Clock::now();
  while (!condition() && seconds_since(start) < 20) turn();
  return condition();
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
  EXPECT_LT(seconds_since(start), 10) << "what was allowed";
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
  EXPECT_TRUE(run_until([&] { return sum == 6000; }, [] { run(5, true); })) << sum;
  for (std::thread& thread : threads) thread.join();
}

TEST(RunLoop, DelayedTasksComeWhenDueInTheirOrder) {
  order.clear();
  const auto start = Clock::now();
  const auto after = [](dispatch_time_t when, int value) {
    dispatch_after(when, dispatch_get_main_queue(), ^{
      order.push_back(value);
    });
  };
  const dispatch_time_t later = dispatch_time(DISPATCH_TIME_NOW, 40 * NSEC_PER_MSEC);
  after(later, 2);
  after(later, 3);
  after(dispatch_time(later, -20 * static_cast<int64_t>(NSEC_PER_MSEC)), 1);
  after(DISPATCH_TIME_NOW, 0);
  after(DISPATCH_TIME_FOREVER, -1);
  run_until([] { return order.size() == 4; }, [] { run(0.5, true); });
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

void count_tick(CFRunLoopTimerRef, void* info) {
  ++static_cast<Ticks*>(info)->count;
}

TEST(RunLoop, ATimerFiresOnceWhereItWasAdded) {
  Ticks once, removed;
  CFRunLoopRef main = CFRunLoopGetMain();
  CFRunLoopTimerRef single = make_timer(once, 0.005, 0, count_tick);
  CFRunLoopTimerRef absent = make_timer(removed, 0, 0, count_tick);
  CFRunLoopAddTimer(main, single, kCFRunLoopCommonModes);
  CFRunLoopAddTimer(main, single, kCFRunLoopDefaultMode);
  CFRunLoopAddTimer(main, absent, CFSTR("a mode of nobody"));
  CFRunLoopAddTimer(main, absent, CFSTR("NSRunLoopCommonModes"));
  CFRunLoopRemoveTimer(main, absent, kCFRunLoopCommonModes);
  EXPECT_EQ(CFGetRetainCount(absent), 1);
  EXPECT_TRUE(run_until([&] { return once.count > 0; }, [] { run(0.001); }));
  run(0.001);
  EXPECT_EQ(once.count, 1);
  EXPECT_EQ(once.references, 0);
  EXPECT_EQ(removed.count, 0);
  EXPECT_EQ(removed.references, 1);
  for (CFRunLoopTimerRef made : {single, absent}) CFRelease(made);
  EXPECT_EQ(removed.references, 0);
}

TEST(RunLoop, ALateTimerKeepsItsPhaseAndLetsGoWhenItsLastCallIsOver) {
  Ticks ticks;
  CFRunLoopTimerRef timer = make_timer(ticks, 0.01, 0.02, [](CFRunLoopTimerRef self, void* info) {
    auto* counted = static_cast<Ticks*>(info);
    if (++counted->count == 1) ::usleep(50000);  // misses two of its dates
    if (counted->count == 3) CFRunLoopTimerInvalidate(self);
    EXPECT_EQ(counted->references, 1);
  });
  CFRunLoopAddTimer(CFRunLoopGetMain(), timer, kCFRunLoopCommonModes);
  const std::uint64_t first = vesk::platform::next_deadline();
  EXPECT_TRUE(run_until([&] { return ticks.count > 0; }, [] { run(0.001); }));
  const std::uint64_t later = vesk::platform::next_deadline() - first;
  EXPECT_GE(later, 60 * NSEC_PER_MSEC);
  EXPECT_EQ(later % (20 * NSEC_PER_MSEC), 0u);
  EXPECT_TRUE(run_until([&] { return ticks.count == 3; }, [] { run(0.02); }));
  EXPECT_EQ(ticks.references, 0);
  EXPECT_EQ(CFGetRetainCount(timer), 1);
  CFRelease(timer);
}

TEST(RunLoop, AnotherThreadsLoopServesTimersUntilItIsEmpty) {
  std::atomic<bool> is_running{false};
  Ticks ticks;
  CFRunLoopTimerRef far = make_timer(ticks, 1e6, 0, count_tick);
  std::thread thread([&] {
    CFRunLoopTimerRef near = make_timer(ticks, 0.01, 0, count_tick);
    CFRunLoopAddTimer(CFRunLoopGetCurrent(), near, kCFRunLoopDefaultMode);
    CFRunLoopAddTimer(CFRunLoopGetCurrent(), far, kCFRunLoopDefaultMode);
    CFRelease(near);
    is_running = true;
    EXPECT_EQ(run(60), kCFRunLoopRunFinished);
  });
  while (!is_running) std::this_thread::yield();
  CFRunLoopTimerSetNextFireDate(far, CFAbsoluteTimeGetCurrent());  // wakes the thread
  thread.join();
  EXPECT_EQ(ticks.count, 2);
  CFRelease(far);
}

TEST(RunLoop, AWindowModuleCanWaitForTheLoop) {
  const auto is_readable = [](int fd) {
    pollfd wanted{fd, POLLIN, 0};
    return ::poll(&wanted, 1, 0) == 1;
  };
  const int watch = vesk::platform::main_loop_descriptor();
  ASSERT_GE(watch, 0);
  vesk::platform::service_once();
  EXPECT_FALSE(is_readable(watch));
  std::thread([] { dispatch_async_f(dispatch_get_main_queue(), number(0), note); }).join();
  EXPECT_TRUE(is_readable(watch));
  vesk::platform::service_once();
  EXPECT_FALSE(is_readable(watch));
  CFRunLoopWakeUp(CFRunLoopGetMain());
  EXPECT_TRUE(is_readable(watch));
  vesk::platform::service_once();

  // What is left when a task throws is not forgotten.
  order.clear();
  dispatch_async(dispatch_get_main_queue(), ^{
    throw std::runtime_error("a task");
  });
  dispatch_async_f(dispatch_get_main_queue(), number(1), note);
  EXPECT_THROW(vesk::platform::service_once(), std::runtime_error);
  EXPECT_TRUE(order.empty());
  EXPECT_TRUE(is_readable(watch));
  vesk::platform::service_once();
  EXPECT_EQ(order, std::vector<int>{1});
  EXPECT_FALSE(is_readable(watch));

  EXPECT_EQ(vesk::platform::next_deadline(), UINT64_MAX);
  Ticks ticks;
  CFRunLoopTimerRef timer = make_timer(ticks, 0.005, 0, count_tick);
  CFRunLoopAddTimer(CFRunLoopGetMain(), timer, kCFRunLoopCommonModes);
  EXPECT_TRUE(is_readable(watch));  // the deadline has changed
  EXPECT_LT(vesk::platform::next_deadline(), UINT64_MAX);
  EXPECT_TRUE(run_until([&] { return ticks.count == 1; }, vesk::platform::service_once));
  CFRelease(timer);
}

TEST(RunLoop, AnIdlePumpAllocatesNothing) {
  run(0);
  const int allocated = allocations;
  for (int i = 0; i < 1000; ++i) run(0);
  EXPECT_EQ(allocations, allocated);
}

}  // namespace
