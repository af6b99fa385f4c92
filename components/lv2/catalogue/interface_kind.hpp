#pragma once

// Kinds of interfaces that plugins bring.

#include <cstdint>
#include <string_view>

namespace vesk::lv2 {

enum class InterfaceKind : std::uint8_t {
  other,     ///< not shown here
  x11,       ///< makes its X window inside one of the host's
  gtk2,      ///< a widget of Gtk 2
  gtk3,      ///< a widget of Gtk 3
  qt5,       ///< a widget of Qt 5
  external,  ///< opens a window of its own when told to
};

/// The host's side of external interfaces, a feature; `external_class` is their class.
inline constexpr std::string_view external_host =
    "http://kxstudio.sf.net/ns/lv2ext/external-ui#Host";
inline constexpr std::string_view external_class =
    "http://kxstudio.sf.net/ns/lv2ext/external-ui#Widget";

/// The kind of an `Editor::class_uri`.
constexpr InterfaceKind interface_kind(std::string_view class_uri) {
  constexpr std::string_view prefix = "http://lv2plug.in/ns/extensions/ui#";
  if (class_uri == external_class) return InterfaceKind::external;
  if (!class_uri.starts_with(prefix)) return InterfaceKind::other;
  class_uri.remove_prefix(prefix.size());
  return class_uri == "X11UI"    ? InterfaceKind::x11
         : class_uri == "GtkUI"  ? InterfaceKind::gtk2
         : class_uri == "Gtk3UI" ? InterfaceKind::gtk3
         : class_uri == "Qt5UI"  ? InterfaceKind::qt5
                                 : InterfaceKind::other;
}

}  // namespace vesk::lv2
