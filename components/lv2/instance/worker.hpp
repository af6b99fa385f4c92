#pragma once

// Work that a plugin hands from its run() to a thread that may take its time.

#include <lv2/core/lv2.h>
#include <lv2/worker/worker.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>

#include "components/unit_support/message_ring.hpp"
#include "components/unit_support/signal.hpp"
#include "platform/realtime.hpp"

namespace vesk::lv2 {

/// Held while a plugin works, is made or taken down. Plugins share libraries whose planning may be
/// done by one thread of a process at a time (FFTW), and do it there, each as if it were alone.
/// Never held by the render thread, nor while the worker is waited for.
std::mutex& plugin_turn();

/// The worker of one plugin handle: two rings and, once started, a thread of ordinary scheduling
/// that sleeps while there is nothing to do.
class Worker {
 public:
  Worker();
  ~Worker();
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  /// The feature to offer. Requests are taken from the start, even before `attach`.
  LV2_Worker_Schedule schedule() { return {this, &Worker::schedule_work}; }

  // Control thread.

  /// Connects the plugin's side; null when it has none.
  void attach(LV2_Handle plugin, const LV2_Worker_Interface* methods);
  /// Does on this thread what has been requested so far. Before `start` only: a plugin may ask
  /// for work while it restores its state.
  void work_now();
  /// Starts the thread; nothing without an attached interface. False when the system has none.
  bool start();
  /// Ends the thread; a work() that is under way is waited for. Nothing is asked for afterwards.
  void stop();

  // Render thread.

  /// After each run(): hands over the answers that have arrived, then tells that the run is over.
  void finish_run() noexcept VESK_REALTIME;
  /// Waits until all work requested so far is done. For rendering faster or slower than real time
  /// only, where the result must not depend on how fast the thread was.
  void wait_until_idle() noexcept;

 private:
  using MethodFunction = LV2_Worker_Status (*)(LV2_Handle, std::uint32_t,
                                               const void*) VESK_REALTIME;
  using EndFunction = LV2_Worker_Status (*)(LV2_Handle) VESK_REALTIME;

  static LV2_Worker_Status schedule_work(LV2_Worker_Schedule_Handle handle, std::uint32_t size,
                                         const void* data);
  static LV2_Worker_Status respond(LV2_Worker_Respond_Handle handle, std::uint32_t size,
                                   const void* data);
  void do_requests();
  void run_thread();

  LV2_Handle plugin_ = nullptr;
  const LV2_Worker_Interface* methods_ = nullptr;
  MethodFunction work_response_ = nullptr;
  EndFunction end_run_ = nullptr;
  MessageRing requests_;
  MessageRing responses_;
  Signal requested_;
  Signal done_;
  std::atomic<std::uint32_t> open_requests_{0};
  std::atomic<bool> stopping_{false};
  std::thread thread_;
};

}  // namespace vesk::lv2
