#pragma once

// A plugin's own interface, running in this process.

#include <lv2/ui/ui.h>

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "components/lv2/editor/interface_features.hpp"
#include "components/lv2/editor/running_interface.hpp"
#include "components/lv2/unit/editor_link.hpp"
#include "components/unit_support/message_ring.hpp"

namespace vesk::lv2 {

/// Main thread only, but for what an interface does in threads of its own, which waits for the
/// next turn.
class LoadedInterface final : public RunningInterface {
 public:
  /// Makes the interface that `context` names. May take seconds. Null, with a sentence in `error`,
  /// when it cannot be had.
  static std::unique_ptr<LoadedInterface> open(const InterfaceContext& context,
                                               InterfaceListener& listener,
                                               const InterfacePlace& place, std::string& error);
  /// Ends it; after a display was lost, or after it threw, it is left as it is instead.
  ~LoadedInterface() override;
  LoadedInterface(const LoadedInterface&) = delete;
  LoadedInterface& operator=(const LoadedInterface&) = delete;

  /// What it has made: a window, or an object of its toolkit's.
  LV2UI_Widget widget() const { return widget_; }
  /// Runs code that may be the interface's. False when that did not come back in order; nothing of
  /// it is run any more then.
  template <typename Work>
  bool run(Work work);

  bool takes_values() override { return true; }
  void tell_value(std::uint32_t port, float value) override;
  void tell_atom(std::uint32_t port, const LV2_Atom& atom) override;
  bool follow_requests() override;
  bool turn() override;
  const std::string& failure() const override { return failure_; }
  std::optional<AreaSize> take_wanted_size() override;
  bool resize(AreaSize size) override;
  bool knows_instance() const override { return knows_instance_; }

 private:
  LoadedInterface(const InterfaceContext& context, InterfaceListener& listener,
                  const InterfacePlace& place);
  bool instantiate(const InterfaceContext& context, const InterfacePlace& place,
                   std::string& error);
  bool run_guarded(void (*work)(void* context), void* context);
  void write(std::uint32_t port, std::uint32_t size, std::uint32_t protocol, const void* data);
  bool is_foreign_thread() const { return std::this_thread::get_id() != thread_; }

  static void write_callback(LV2UI_Controller self, std::uint32_t port, std::uint32_t size,
                             std::uint32_t protocol, const void* data);
  static int resize_callback(LV2UI_Feature_Handle self, int width, int height);
  static void touch_callback(LV2UI_Feature_Handle self, std::uint32_t port, bool grabbed);
  static void closed_callback(LV2UI_Controller self);

  InterfaceListener& listener_;
  const std::thread::id thread_ = std::this_thread::get_id();
  InterfaceFeatures features_;
  const std::uint32_t event_transfer_;
  const bool knows_instance_;
  const LV2UI_Descriptor* descriptor_ = nullptr;
  LV2UI_Handle handle_ = nullptr;
  LV2UI_Widget widget_ = nullptr;
  const LV2UI_Idle_Interface* idle_ = nullptr;
  const LV2UI_Resize* resizes_ = nullptr;
  MessageRing from_threads_;
  std::atomic<std::uint64_t> wanted_size_{0};  ///< width and height, 0: none
  std::atomic<bool> was_closed_{false};
  std::string failure_;  ///< what it threw; empty when it has not
  bool is_abandoned_ = false;
};

template <typename Work>
bool LoadedInterface::run(Work work) {
  return run_guarded([](void* context) { (*static_cast<Work*>(context))(); }, &work);
}

}  // namespace vesk::lv2
