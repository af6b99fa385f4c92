#include "tools/list/component_listing.hpp"

#include <AudioToolbox/AudioToolbox.h>

#include <algorithm>

#include "spec/chain_text.hpp"
#include "tools/list/columns.hpp"
#include "tools/program/json.hpp"

namespace vesk::tools {
namespace {

bool can_be_written(const ComponentInfo& component) {
  const std::string text = specification_of(component);
  const bool is_printable =
      std::ranges::all_of(text, [](unsigned char c) { return c >= 0x20 && c < 0x7F; });
  std::string ignored;
  const auto chain = parse_chain(text, ChainStart::either, ignored);
  return is_printable && chain && chain->size() == 1 && chain->front().name == text;
}

}  // namespace

std::string specification_of(const ComponentInfo& component) {
  return four_cc(component.desc.componentType) + ":" + four_cc(component.desc.componentSubType) +
         ":" + four_cc(component.desc.componentManufacturer);
}

std::string why_not_hosted(const ComponentInfo& component) {
  switch (component.desc.componentType) {
    case kAudioUnitType_MusicDevice:
    case kAudioUnitType_MusicEffect:
    case kAudioUnitType_Effect:
    case kAudioUnitType_Generator:
      return can_be_written(component) ? "" : "its codes cannot be written in a chain";
    case kAudioUnitType_MIDIProcessor:
      return "MIDI processor, not hosted";
    default:
      return "not hosted";
  }
}

std::string listing_text(const std::vector<ComponentInfo>& components) {
  std::string text;
  for (const ComponentInfo& component : components) {
    text += one_line(specification_of(component)) + "  " + one_line(component.name);
    const std::string remark = why_not_hosted(component);
    if (!remark.empty()) text += "  (" + remark + ")";
    text += '\n';
  }
  return text;
}

std::string listing_json(const std::vector<ComponentInfo>& components) {
  Json list = Json::array();
  for (const ComponentInfo& component : components)
    list.push_back({{"specification", specification_of(component)},
                    {"name", component.name},
                    {"type", four_cc(component.desc.componentType)},
                    {"subtype", four_cc(component.desc.componentSubType)},
                    {"manufacturer", four_cc(component.desc.componentManufacturer)},
                    {"hosted", why_not_hosted(component).empty()},
                    {"v3", component.is_v3},
                    {"sandbox_safe", component.sandbox_safe}});
  return json_text(list);
}

}  // namespace vesk::tools
