#pragma once

// What a unit lends to the view of its plugin's own interface.

#include <atomic>
#include <memory>

#include "components/lv2/instance/editor_feed.hpp"
#include "components/lv2/unit/editor_link.hpp"

namespace vesk::lv2 {

class PluginUnit;

/// Control thread, but for `feed`.
class UnitEditor final : public EditorLink {
 public:
  UnitEditor(PluginUnit& unit, const Editor& editor) : unit_(unit), editor_(editor) {}

  const Description& plugin() const override;
  const Editor& editor() const override { return editor_; }
  double sample_rate() const override;
  std::uint32_t max_frames() const override;
  std::uint32_t map(const char* uri) const override;
  const char* unmap(std::uint32_t urid) const override;
  LV2_Handle handle() const override;
  ExtensionData extension_data() const override;
  std::string helper() const override;
  float value(std::uint32_t port) const override;
  void set_value(std::uint32_t port, float value) override;
  void touch(std::uint32_t port, bool grabbed) override;
  bool attach(EditorViewer* viewer) override;
  void detach(EditorViewer* viewer) override;
  bool send(std::uint32_t port, const LV2_Atom* atom) override;
  void receive(void (*visit)(void* context, std::uint32_t port, const LV2_Atom* atom),
               void* context) override;

  void instance_leaves() {
    if (viewer_ != nullptr) viewer_->instance_leaves();
  }
  void unit_ends() {
    if (viewer_ != nullptr) viewer_->unit_ends();
  }

  /// Render thread: where a view is listening, null when none is. Real-time safe.
  EditorFeed* feed() const noexcept VESK_REALTIME {
    return watched_.load(std::memory_order_acquire);
  }

 private:
  PluginUnit& unit_;
  const Editor& editor_;
  EditorViewer* viewer_ = nullptr;
  std::unique_ptr<EditorFeed> feed_;
  std::atomic<EditorFeed*> watched_{nullptr};
};

}  // namespace vesk::lv2
