#pragma once

// What is installed: bundles, the plugins in them and their codes. The small part of the cache that
// every look-up reads.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "components/lv2/catalogue/description.hpp"
#include "components/lv2/catalogue/stamp.hpp"

namespace vesk::lv2 {

/// A plugin as its bundle's manifest names it; -1 for a version that stands elsewhere.
struct MappedPlugin {
  std::string uri;
  std::int32_t minor_version = -1;
  std::int32_t micro_version = -1;
};

/// What a bundle's manifest tells, without the data files behind it.
struct BundleMap {
  std::vector<MappedPlugin> plugins;
  /// Plugins for which it holds presets, others' too; sorted.
  std::vector<std::string> presets_for;
  /// Why the manifest, or a part of it, is not read; empty otherwise.
  std::string failure;
};

struct Bundle {
  Stamp folder;  ///< its path ends in a slash
  Stamp manifest;
  BundleMap map;

  bool still_holds() const { return lv2::still_holds(folder) && lv2::still_holds(manifest); }
};

/// What a list tells of a plugin without its record.
struct Outline {
  std::uint32_t audio_inputs = 0;
  std::uint32_t audio_outputs = 0;
  std::uint32_t midi_inputs = 0;
  std::uint32_t midi_outputs = 0;
  std::uint32_t cv_inputs = 0;
  std::uint32_t cv_outputs = 0;
  std::uint32_t parameters = 0;  ///< that can be set
  std::uint32_t presets = 0;
  std::vector<std::string> editors;  ///< the last part of their classes' URIs, such as "X11UI"
  std::vector<std::string> classes;  ///< the same of the plugin, such as "ReverbPlugin"
};

/// One plugin URI, whichever bundles name it.
struct Entry {
  std::string uri;
  std::uint32_t primary = 0;    ///< of the URI
  std::uint32_t alternate = 0;  ///< of the URI
  std::uint32_t code = 0;       ///< shown subtype; 0 when both of its codes lead to another plugin
  std::uint32_t bundle = 0;     ///< the bundle that counts: the highest version, then the first
  std::vector<std::uint32_t> watched;  ///< all bundles that its record depends on
  std::uint32_t record_size = 0;       ///< bytes of its record in a cache file; 0: it has none
  std::uint32_t type = 0;              ///< this and what follows is known from the record
  std::uint32_t version = 0;           ///< 0x0001mmbb
  std::string title;                   ///< "Maker: Name"
  Outline outline;
  /// Why no unit can be made of it. Without a record: why it could not be read just now.
  std::string not_hosted;

  Entry() = default;
  explicit Entry(std::string plugin_uri);

  /// Takes over what an entry shows of its description.
  void summarise(const Description& description);
};

struct Index {
  std::vector<Stamp> folders;   ///< the search path
  std::vector<Bundle> bundles;  ///< in search order
  std::vector<Entry> entries;   ///< by URI

  const Entry* find_uri(std::string_view uri) const;
  /// By primary code, then by alternate; among equals the smallest URI.
  const Entry* find_code(std::uint32_t code) const;
  /// Fills in every entry's `code`.
  void assign_codes();

  /// Every entry has a record.
  bool is_complete() const;
  /// True while it knows every installed plugin's code: stats every bundle (some milliseconds).
  bool is_current() const;
};

/// What is kept of one plugin.
struct PluginRecord {
  std::vector<Stamp> sources;  ///< its data files
  Description description;
};

/// True while nothing has changed that `record` of `entry` was read from: two or three `stat`.
bool still_holds(const Index& index, const Entry& entry, const PluginRecord& record);

}  // namespace vesk::lv2
