#pragma once

// Keys of a unit's state beside the usual ones.

namespace vesk::lv2 {

/// The plugin's URI, a string.
inline constexpr const char* class_info_uri = "lv2-uri";
/// Control values: a dictionary from port symbol to number.
inline constexpr const char* class_info_controls = "lv2-controls";
/// What the plugin saved of itself: an array of dictionaries with "key" and "type" (URIs), "flags",
/// "value" (data, byte for byte), and for vectors "element-type" and "element-size". Absent when
/// the plugin saved nothing.
inline constexpr const char* class_info_state = "lv2-state";

}  // namespace vesk::lv2
