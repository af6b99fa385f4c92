#pragma once

// What is installed: bundles, the plugins in them and their codes. The small part that a look-up
// reads, and its form as bytes together with the plugins' records.

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "components/lv2/catalogue/byte_stream.hpp"
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
  std::vector<std::string>
      presets_for;  ///< plugins for which it holds presets, others' too; sorted
};

struct Bundle {
  Stamped folder;  ///< its path ends in a slash
  Stamped manifest;
  std::string failure;  ///< why its manifest could not be read; empty otherwise
  BundleMap map;
};

/// One plugin URI, whichever bundles name it.
struct Entry {
  std::string uri;
  std::uint32_t primary = 0;    ///< of the URI
  std::uint32_t alternate = 0;  ///< of the URI
  std::uint32_t code = 0;       ///< shown subtype; 0 when both of its codes lead to another plugin
  std::uint32_t bundle = 0;     ///< the bundle that counts: the highest version, then the first
  std::vector<std::uint32_t> watched;  ///< all bundles that its record depends on
  bool described = false;              ///< nothing below is known before
  std::uint64_t record_offset = 0;
  std::uint32_t record_size = 0;  ///< 0 where an image leaves the record out
  std::uint64_t record_check = 0;
  std::uint32_t type = 0;
  std::uint32_t version = 0;  ///< 0x0001mmbb
  std::string title;          ///< "Maker: Name"
  std::string not_hosted;

  Entry() = default;
  explicit Entry(std::string plugin_uri);
};

struct Catalogue {
  std::vector<Stamped> folders;  ///< the search path
  std::vector<Bundle> bundles;   ///< in search order
  std::vector<Entry> entries;    ///< by URI

  const Entry* find_uri(std::string_view uri) const;
  /// By primary code, then by alternate; among equals the smallest URI.
  const Entry* find_code(std::uint32_t code) const;
  bool complete() const;
  /// Fills in every entry's `code`.
  void assign_codes();
};

/// What is kept of one plugin.
struct PluginRecord {
  std::vector<Stamped> sources;  ///< its data files
  Description description;
};

void encode(ByteWriter& to, const BundleMap& map);
BundleMap decode_bundle_map(ByteReader& from);

Bytes encode_record(const PluginRecord& record);
std::optional<PluginRecord> decode_record(std::span<const std::byte> bytes);

/// Fills in what an entry shows of its record.
void summarise(Entry& entry, const Description& description);

/// The catalogue and `records` (one for each entry, empty for those not described) as one image.
/// Sets the entries' record places.
Bytes encode_image(Catalogue& catalogue, const std::vector<Bytes>& records);

/// An image in a file or in memory. Damage of any kind is seen when the part concerned is read.
class CatalogueImage {
 public:
  /// Reads the index of the file at `path`; the records stay there until asked for, from the file
  /// that was opened even when another has taken its place since.
  static std::optional<CatalogueImage> from_file(const std::string& path);
  static std::optional<CatalogueImage> from_bytes(Bytes bytes);

  const Catalogue& catalogue() const { return catalogue_; }
  /// The bytes of an entry's record; nothing when it has none or it is damaged.
  std::optional<Bytes> record_bytes(const Entry& entry) const;
  std::optional<PluginRecord> record(const Entry& entry) const;

 private:
  class Source;
  CatalogueImage(std::shared_ptr<const Source> source, Catalogue catalogue);
  static std::optional<CatalogueImage> from_source(std::shared_ptr<const Source> source);

  std::shared_ptr<const Source> source_;
  Catalogue catalogue_;
};

/// True while a look-up of `entry` in `catalogue` may be answered from `record`: one `stat` for
/// each folder of the search path and two or three for the plugin.
bool is_current(const Catalogue& catalogue, const Entry& entry, const PluginRecord& record);

/// True while the catalogue knows every installed plugin's code: stats every bundle (some
/// milliseconds).
bool is_current(const Catalogue& catalogue);

}  // namespace vesk::lv2
