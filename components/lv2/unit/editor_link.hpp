#pragma once

// What a running unit lends to the view that shows its plugin's own interface. The view's code is
// a bundle of its own, opened with the first editor, so everything goes through virtual calls.

#include <AudioToolbox/AudioUnitProperties.h>
#include <lv2/atom/atom.h>
#include <lv2/core/lv2.h>

#include <cstdint>
#include <string>

#include "components/lv2/catalogue/description.hpp"

namespace vesk::lv2 {

/// A property of these units alone (global scope, read only): the unit's `EditorLink*`, good while
/// the unit is open. It exists where kAudioUnitProperty_CocoaUI does.
inline constexpr AudioUnitPropertyID editor_link_property = 64'100;

/// The bundle beside the component's own module, and the class in it that makes views.
inline constexpr const char* editor_bundle_name = "lv2_editor.bundle";
inline constexpr const char* editor_factory_class = "VeskLV2ViewFactory";

/// What the view hears of its unit, on the unit's control thread.
class EditorViewer {
 public:
  /// The plugin's handle is about to be freed; `EditorLink::handle` may have a new one soon.
  virtual void instance_leaves() = 0;
  /// The unit is closing: the link is good for `detach` inside this call and then gone.
  virtual void unit_ends() = 0;

 protected:
  ~EditorViewer() = default;
};

/// What an interface is made for. All of it, as of `EditorLink`, on the thread that controls the
/// unit.
class InterfaceContext {
 public:
  virtual const Description& plugin() const = 0;
  /// The interface to show: one of `plugin().editors`.
  virtual const Editor& editor() const = 0;
  virtual double sample_rate() const = 0;
  virtual std::uint32_t max_frames() const = 0;

  /// The plugin's URID table.
  virtual std::uint32_t map(const char* uri) const = 0;
  virtual const char* unmap(std::uint32_t urid) const = 0;

  /// For instance-access and data-access; null while the plugin does not run.
  virtual LV2_Handle handle() const = 0;
  using ExtensionData = const void* (*)(const char* uri);
  virtual ExtensionData extension_data() const = 0;

 protected:
  ~InterfaceContext() = default;
};

class EditorLink : public InterfaceContext {
 public:
  /// The program that shows interfaces which are no X11 windows.
  virtual std::string helper() const = 0;

  /// The present value of a control port, inputs and outputs alike.
  virtual float value(std::uint32_t port) const = 0;
  /// Sets an input as a user does: listeners hear of it. Ports that follow the host are left alone.
  virtual void set_value(std::uint32_t port, float value) = 0;
  /// A gesture of the user on an input begins (`grabbed`) or ends: listeners hear of it.
  virtual void touch(std::uint32_t port, bool grabbed) = 0;

  /// From here on the plugin's atom outputs are kept for `receive`. False when another view has
  /// them.
  virtual bool attach(EditorViewer* viewer) = 0;
  virtual void detach(EditorViewer* viewer) = 0;

  /// Sends an atom to an input port, with the next period. False for a port that takes none, and
  /// when too much is under way.
  virtual bool send(std::uint32_t port, const LV2_Atom* atom) = 0;
  /// Calls `visit` for every atom that the plugin has put out since the last call.
  virtual void receive(void (*visit)(void* context, std::uint32_t port, const LV2_Atom* atom),
                       void* context) = 0;

 protected:
  ~EditorLink() = default;
};

}  // namespace vesk::lv2
