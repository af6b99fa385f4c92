#pragma once

// A plugin's own interface that runs somewhere, and whoever it talks to.

#include <lv2/atom/atom.h>

#include <cstdint>
#include <optional>
#include <string>

namespace vesk::lv2 {

struct AreaSize {
  int width = 0;
  int height = 0;

  bool operator==(const AreaSize&) const = default;
};

/// Where an interface is made.
struct InterfacePlace {
  unsigned long window = 0;  ///< an X window
  bool has_gl = false;       ///< OpenGL can be shown there
};

/// Hears of an interface, on its main thread.
class InterfaceListener {
 public:
  /// It sets a control, or sends an atom, which is whole. The port and the value may be anything.
  virtual void write_value(std::uint32_t port, float value) = 0;
  virtual void write_atom(std::uint32_t port, const LV2_Atom& atom) = 0;
  virtual void touch(std::uint32_t port, bool grabbed) = 0;

 protected:
  ~InterfaceListener() = default;
};

/// Main thread only.
class RunningInterface {
 public:
  virtual ~RunningInterface() = default;

  /// Whether it takes values now. What it does not take is told later.
  virtual bool takes_values() = 0;
  virtual void tell_value(std::uint32_t port, float value) = 0;
  virtual void tell_atom(std::uint32_t port, const LV2_Atom& atom) = 0;

  /// Passes on what it wanted, from any of its threads, since the last call; false when it has
  /// ended.
  virtual bool follow_requests() = 0;
  /// Time for its own work. False when it has ended: it asked to be closed, its display is lost, or
  /// it failed (`failure` says).
  virtual bool turn() = 0;
  virtual const std::string& failure() const = 0;

  /// The size that it asked for and nobody has taken yet.
  virtual std::optional<AreaSize> take_wanted_size() = 0;
  /// Tells it the size it has to be. False when it cannot be told.
  virtual bool resize(AreaSize size) = 0;
  /// Whether it holds on to the plugin's instance.
  virtual bool knows_instance() const = 0;
};

}  // namespace vesk::lv2
