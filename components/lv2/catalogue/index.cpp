#include "components/lv2/catalogue/index.hpp"

#include <algorithm>

#include "components/lv2/catalogue/classification.hpp"
#include "components/lv2/catalogue/component_code.hpp"

namespace vesk::lv2 {
namespace {

std::string last_part(const std::string& uri) {
  return uri.substr(uri.find_last_of("#/:") + 1);
}

Outline outline_of(const Description& plugin) {
  Outline outline;
  for (const Port& port : plugin.ports) {
    const bool input = port.direction == Direction::input;
    if (port.kind == PortKind::audio) ++(input ? outline.audio_inputs : outline.audio_outputs);
    if (port.kind == PortKind::cv) ++(input ? outline.cv_inputs : outline.cv_outputs);
    if (port.events & events_midi) ++(input ? outline.midi_inputs : outline.midi_outputs);
    if (use_of(port) == ControlUse::parameter) ++outline.parameters;
  }
  outline.presets = static_cast<std::uint32_t>(plugin.presets.size());
  for (const Editor& editor : plugin.editors)
    outline.editors.push_back(last_part(editor.class_uri));
  for (const std::string& each : plugin.classes) outline.classes.push_back(last_part(each));
  return outline;
}

}  // namespace

Entry::Entry(std::string plugin_uri)
    : uri(std::move(plugin_uri)), primary(primary_code(uri)), alternate(alternate_code(uri)) {}

void Entry::summarise(const Description& description) {
  type = description.type;
  version = 0x10000u | std::min(description.minor_version, 255u) << 8 |
            std::min(description.micro_version, 255u);
  title =
      description.author.empty() ? description.name : description.author + ": " + description.name;
  outline = outline_of(description);
  not_hosted = description.not_hosted;
}

const Entry* Index::find_uri(std::string_view uri) const {
  const auto found = std::ranges::lower_bound(entries, uri, {}, &Entry::uri);
  return found != entries.end() && found->uri == uri ? &*found : nullptr;
}

const Entry* Index::find_code(std::uint32_t code) const {
  for (const auto code_of : {&Entry::primary, &Entry::alternate}) {
    const auto found = std::ranges::find(entries, code, code_of);
    if (found != entries.end()) return &*found;
  }
  return nullptr;
}

void Index::assign_codes() {
  for (Entry& entry : entries) {
    entry.code = find_code(entry.primary) == &entry     ? entry.primary
                 : find_code(entry.alternate) == &entry ? entry.alternate
                                                        : 0;
  }
}

bool Index::is_complete() const {
  return std::ranges::all_of(entries, [](const Entry& entry) { return entry.record_size > 0; });
}

bool Index::is_current() const {
  return all_hold(folders) && std::ranges::all_of(bundles, &Bundle::still_holds);
}

bool still_holds(const Index& index, const Entry& entry, const PluginRecord& record) {
  return all_hold(record.sources) && std::ranges::all_of(entry.watched, [&](std::uint32_t bundle) {
           return index.bundles[bundle].still_holds();
         });
}

}  // namespace vesk::lv2
