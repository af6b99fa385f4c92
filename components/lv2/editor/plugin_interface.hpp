#pragma once

// A plugin's own interface, running.

#include <lv2/ui/ui.h>

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "components/lv2/editor/interface_features.hpp"
#include "components/lv2/editor/plugin_area.hpp"
#include "components/lv2/unit/editor_link.hpp"
#include "components/unit_support/message_ring.hpp"

namespace vesk::lv2 {

/// Main thread only, but for what an interface does in threads of its own, which waits for the
/// next turn.
class PluginInterface {
 public:
  /// Makes the interface that `link` names inside `area`, and tells it all present values. May
  /// take seconds. Null, with a sentence in `error`, when it cannot be had: another view of the
  /// plugin may do.
  static std::unique_ptr<PluginInterface> open(EditorLink& link, PluginArea& area,
                                               std::string& error);
  /// Ends it; after the display was lost, or after it threw, it is left as it is instead.
  ~PluginInterface();
  PluginInterface(const PluginInterface&) = delete;
  PluginInterface& operator=(const PluginInterface&) = delete;

  /// A turn for the interface: new values and events to it, its own work, changes from it. False
  /// when it has ended: it asked to be closed, its display is lost, or it threw (`failure` says).
  bool turn();
  const std::string& failure() const { return failure_; }

  /// Whether it holds on to the plugin's instance.
  bool knows_instance() const { return knows_instance_; }
  /// The size that it asked for and nobody has taken yet.
  std::optional<AreaSize> take_wanted_size();
  /// Tells it the size it has to be. False when it cannot be told.
  bool resize(AreaSize size);

 private:
  PluginInterface(EditorLink& link, PluginArea& area);
  bool instantiate(std::string& error);
  template <typename Work>
  bool run(Work work);
  void send_values();
  void send_events();
  void send_value(std::uint32_t port, float value);
  void follow_requests();

  void write(std::uint32_t port, std::uint32_t size, std::uint32_t protocol, const void* data);
  void write_value(std::uint32_t port, float value);
  void write_atom(std::uint32_t port, std::uint32_t size, const LV2_Atom* atom);
  bool is_a_setting(const LV2_Atom& atom) const;
  bool is_foreign_thread() const { return std::this_thread::get_id() != thread_; }

  static void write_callback(LV2UI_Controller self, std::uint32_t port, std::uint32_t size,
                             std::uint32_t protocol, const void* data);
  static int resize_callback(LV2UI_Feature_Handle self, int width, int height);
  static void touch_callback(LV2UI_Feature_Handle self, std::uint32_t port, bool grabbed);

  /// What is known of a control port on the interface's side.
  struct Known {
    std::uint32_t port = 0;
    float value = 0;
    bool is_stale = true;
    int answers = 0;  ///< to writes that were refused
  };
  Known* known(std::uint32_t port);

  EditorLink& link_;
  PluginArea& area_;
  const std::thread::id thread_ = std::this_thread::get_id();
  InterfaceFeatures features_;
  const std::uint32_t event_transfer_;
  const std::uint32_t object_type_, patch_set_, patch_put_;
  const bool knows_instance_;
  const LV2UI_Descriptor* descriptor_ = nullptr;
  LV2UI_Handle handle_ = nullptr;
  LV2UI_Widget widget_ = nullptr;
  const LV2UI_Idle_Interface* idle_ = nullptr;
  const LV2UI_Resize* resizes_ = nullptr;
  std::vector<Known> controls_;  ///< inputs, then outputs
  MessageRing from_threads_;
  std::atomic<std::uint64_t> wanted_size_{0};  ///< width and height, 0: none
  std::string failure_;                        ///< what it threw; empty when it has not
  bool is_abandoned_ = false;
};

}  // namespace vesk::lv2
