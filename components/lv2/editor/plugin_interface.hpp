#pragma once

// A plugin's own interface in conversation with its unit.

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "components/lv2/editor/plugin_area.hpp"
#include "components/lv2/editor/running_interface.hpp"
#include "components/lv2/unit/editor_link.hpp"
#include "components/unit_support/message_ring.hpp"

namespace vesk::lv2 {

/// Main thread only.
class PluginInterface final : private InterfaceListener {
 public:
  /// Makes the interface that `link` names inside `area`, and tells it all present values. May
  /// take seconds. Null, with a sentence in `error`, when it cannot be had: another view of the
  /// plugin may do.
  static std::unique_ptr<PluginInterface> open(EditorLink& link, PluginArea& area,
                                               std::string& error);
  PluginInterface(const PluginInterface&) = delete;
  PluginInterface& operator=(const PluginInterface&) = delete;

  /// A turn for the interface: new values and events to it, its own work, changes from it. False
  /// when it has ended: it asked to be closed, its display is lost, or it failed (`failure` says).
  bool turn();
  const std::string& failure() const { return running_->failure(); }

  bool knows_instance() const { return running_->knows_instance(); }
  std::optional<AreaSize> take_wanted_size() { return running_->take_wanted_size(); }
  bool resize(AreaSize size) { return running_->resize(size); }

 private:
  PluginInterface(EditorLink& link, PluginArea& area);
  void send_values();
  void send_events();
  void write_value(std::uint32_t port, float value) override;
  void write_atom(std::uint32_t port, const LV2_Atom& atom) override;
  void touch(std::uint32_t port, bool grabbed) override { link_.touch(port, grabbed); }
  bool is_a_setting(const LV2_Atom& atom) const;

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
  const std::uint32_t object_type_, patch_set_, patch_put_;
  std::vector<Known> controls_;  ///< inputs, then outputs
  // Last: it may have things to say until it has ended.
  std::unique_ptr<RunningInterface> running_;
};

}  // namespace vesk::lv2
