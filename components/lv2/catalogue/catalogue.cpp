#include "components/lv2/catalogue/catalogue.hpp"

#include <algorithm>

#include "components/lv2/catalogue/component_code.hpp"
#include "components/lv2/catalogue/record.hpp"

namespace vesk::lv2 {

Entry::Entry(std::string plugin_uri)
    : uri(std::move(plugin_uri)), primary(primary_code(uri)), alternate(alternate_code(uri)) {}

const Entry* Catalogue::find_uri(std::string_view uri) const {
  const auto found = std::ranges::lower_bound(entries, uri, {}, &Entry::uri);
  return found != entries.end() && found->uri == uri ? &*found : nullptr;
}

const Entry* Catalogue::find_code(std::uint32_t code) const {
  for (const auto code_of : {&Entry::primary, &Entry::alternate}) {
    const auto found = std::ranges::find(entries, code, code_of);
    if (found != entries.end()) return &*found;
  }
  return nullptr;
}

bool Catalogue::complete() const {
  return std::ranges::all_of(entries, &Entry::described);
}

void Catalogue::assign_codes() {
  for (Entry& entry : entries) {
    entry.code = find_code(entry.primary) == &entry     ? entry.primary
                 : find_code(entry.alternate) == &entry ? entry.alternate
                                                        : 0;
  }
}

Bytes encode_record(const PluginRecord& record) {
  ByteWriter to;
  FieldWriter{to}(record.sources);
  encode(to, record.description);
  return to.take();
}

std::optional<PluginRecord> decode_record(std::span<const std::byte> bytes) {
  ByteReader from(bytes);
  PluginRecord record;
  FieldReader{from}(record.sources);
  record.description = decode_description(from);
  if (!from.ok() || !from.at_end()) return {};
  return record;
}

void summarise(Entry& entry, const Description& description) {
  entry.described = true;
  entry.type = description.type;
  entry.version = 0x10000u | std::min(description.minor_version, 255u) << 8 |
                  std::min(description.micro_version, 255u);
  entry.title =
      description.author.empty() ? description.name : description.author + ": " + description.name;
  entry.not_hosted = description.not_hosted;
}

bool is_current(const Catalogue& catalogue, const Entry& entry, const PluginRecord& record) {
  return all_hold(catalogue.folders) && all_hold(record.sources) &&
         std::ranges::all_of(entry.watched, [&](std::uint32_t index) {
           const Bundle& bundle = catalogue.bundles[index];
           return still_holds(bundle.folder) && still_holds(bundle.manifest);
         });
}

bool is_current(const Catalogue& catalogue) {
  return all_hold(catalogue.folders) &&
         std::ranges::all_of(catalogue.bundles, [](const Bundle& bundle) {
           return still_holds(bundle.folder) && still_holds(bundle.manifest);
         });
}

}  // namespace vesk::lv2
