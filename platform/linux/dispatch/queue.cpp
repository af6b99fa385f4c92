// The main queue.
//
// Design: a first-in first-out list of tasks and a list of delayed ones, which move to the end of
// the first when they are due, under one lock. The main run loop drains it: a snapshot a pass,
// never from inside a task.

#include <Block.h>
#include <dispatch/dispatch.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <mutex>
#include <vector>

#include "platform/linux/dispatch/run_loop.hpp"

using namespace vesk::platform;

namespace {

struct Task {
  dispatch_function_t work;
  void* context;
};

struct DelayedTask {
  std::uint64_t due;
  std::uint64_t order;  // among those that are due at the same moment
  Task task;
  bool operator<(const DelayedTask& other) const {
    return due != other.due ? due < other.due : order < other.order;
  }
};

}  // namespace

struct dispatch_queue_s {
  std::mutex mutex;
  // Pointers, so that nothing is constructed at start and nothing goes before the last thread.
  std::deque<Task>* tasks = nullptr;
  std::vector<DelayedTask>* delayed = nullptr;  // sorted
  std::uint64_t order = 0;

  // Read without the lock by the main loop's pass, which then takes it; written under it.
  std::atomic<bool> has_tasks{false};
  std::atomic<std::uint64_t> next_due{UINT64_MAX};

  /// The callers of these hold the lock.
  void append(Task task) {
    if (!tasks) tasks = new std::deque<Task>;
    tasks->push_back(task);
    has_tasks.store(true, std::memory_order_relaxed);
  }
  void delay(std::uint64_t due, Task task) {
    if (!delayed) delayed = new std::vector<DelayedTask>;
    const DelayedTask entry{due, order++, task};
    delayed->insert(std::upper_bound(delayed->begin(), delayed->end(), entry), entry);
    next_due.store(delayed->front().due, std::memory_order_relaxed);
  }
  void move_due(std::uint64_t time) {
    if (!delayed) return;
    std::size_t count = 0;
    while (count < delayed->size() && (*delayed)[count].due <= time)
      append((*delayed)[count++].task);
    delayed->erase(delayed->begin(), delayed->begin() + static_cast<std::ptrdiff_t>(count));
    next_due.store(delayed->empty() ? UINT64_MAX : delayed->front().due, std::memory_order_relaxed);
  }
};

namespace {

constinit dispatch_queue_s main_queue;
// Main thread only.
constinit bool is_draining = false;

/// Adds a task, delayed when `due` is not 0.
void post(dispatch_queue_t queue, Task task, std::uint64_t due) {
  if (!queue || !task.work) return;
  {
    std::lock_guard lock(queue->mutex);
    due == 0 ? queue->append(task) : queue->delay(due, task);
  }
  loop::wake_main_loop();
}

void run_and_release_block(void* context) {
  auto block = reinterpret_cast<dispatch_block_t>(context);
  block();
  Block_release(block);
}

constinit std::mutex once_mutex;
constinit std::condition_variable* once_done = nullptr;

enum Once : dispatch_once_t { untouched = 0, running = 1, finished = -1 };

}  // namespace

namespace vesk::platform::loop {

bool main_queue_has_work(std::uint64_t time) {
  return main_queue.has_tasks.load(std::memory_order_relaxed) ||
         main_queue.next_due.load(std::memory_order_relaxed) <= time;
}

bool drain_main_queue(std::uint64_t time) {
  if (is_draining || !main_queue_has_work(time)) return false;
  std::deque<Task> snapshot;
  {
    std::lock_guard lock(main_queue.mutex);
    main_queue.move_due(time);
    if (main_queue.tasks) snapshot.swap(*main_queue.tasks);
    main_queue.has_tasks.store(false, std::memory_order_relaxed);
  }
  // What an exception would leave of the snapshot goes back to the front of the queue.
  struct Pass {
    std::deque<Task>& rest;
    ~Pass() {
      is_draining = false;
      if (rest.empty()) return;
      {
        std::lock_guard lock(main_queue.mutex);
        for (; !rest.empty(); rest.pop_back()) main_queue.tasks->push_front(rest.back());
        main_queue.has_tasks.store(true, std::memory_order_relaxed);
      }
      // This pass has taken the wake that they came with.
      wake_main_loop();
    }
  } pass{snapshot};
  is_draining = true;
  const bool has_run = !snapshot.empty();
  while (!snapshot.empty()) {
    const Task task = snapshot.front();
    snapshot.pop_front();
    task.work(task.context);
  }
  return has_run;
}

bool is_draining_main_queue() {
  return is_draining;
}

std::uint64_t main_queue_deadline() {
  return main_queue.next_due.load(std::memory_order_relaxed);
}

}  // namespace vesk::platform::loop

dispatch_queue_main_t dispatch_get_main_queue(void) {
  return &main_queue;
}

dispatch_time_t dispatch_time(dispatch_time_t when, int64_t delta_ns) {
  if (when == DISPATCH_TIME_FOREVER) return when;
  if (when == DISPATCH_TIME_NOW) when = loop::now();
  // Zero means now, so the earliest moment is 1.
  if (delta_ns < 0) {
    const auto back = static_cast<std::uint64_t>(0) - static_cast<std::uint64_t>(delta_ns);
    return back < when ? when - back : 1;
  }
  const dispatch_time_t later = when + static_cast<std::uint64_t>(delta_ns);
  return later < when ? DISPATCH_TIME_FOREVER : later;
}

void dispatch_async_f(dispatch_queue_t queue, void* context, dispatch_function_t work) {
  post(queue, {work, context}, 0);
}

void dispatch_async(dispatch_queue_t queue, dispatch_block_t block) {
  if (block) post(queue, {run_and_release_block, Block_copy(block)}, 0);
}

void dispatch_after(dispatch_time_t when, dispatch_queue_t queue, dispatch_block_t block) {
  // A block for never is never copied.
  if (!block || when == DISPATCH_TIME_FOREVER) return;
  post(queue, {run_and_release_block, Block_copy(block)}, when);
}

void dispatch_sync(dispatch_queue_t queue, dispatch_block_t block) {
  if (!block) return;
  if (loop::is_main_thread()) {
    std::fputs("plugin host: dispatch_sync to the main queue from the main thread never ends\n",
               stderr);
    std::abort();
  }
  struct {
    dispatch_block_t block;
    std::mutex mutex;
    std::condition_variable done_wake;
    bool is_done = false;
  } awaited{block, {}, {}};
  using Awaited = decltype(awaited);
  dispatch_async_f(queue, &awaited, [](void* pointer) {
    auto* waited = static_cast<Awaited*>(pointer);
    waited->block();
    std::lock_guard lock(waited->mutex);
    waited->is_done = true;
    // Under the lock: the waiter owns the condition and leaves as soon as it can.
    waited->done_wake.notify_one();
  });
  std::unique_lock lock(awaited.mutex);
  awaited.done_wake.wait(lock, [&awaited] { return awaited.is_done; });
}

void dispatch_once(dispatch_once_t* once, dispatch_block_t block) {
  const std::atomic_ref word(*once);
  // Acquire pairs with the release below: what the block did is visible to whoever sees it done.
  if (word.load(std::memory_order_acquire) == finished) return;
  {
    std::unique_lock lock(once_mutex);
    if (!once_done) once_done = new std::condition_variable;
    once_done->wait(lock, [word] { return word.load(std::memory_order_relaxed) != running; });
    if (word.load(std::memory_order_relaxed) == finished) return;
    word.store(running, std::memory_order_relaxed);
  }
  block();
  std::lock_guard lock(once_mutex);
  word.store(finished, std::memory_order_release);
  once_done->notify_all();
}
