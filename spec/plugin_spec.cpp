#include "spec/plugin_spec.hpp"

#include "spec/chain_text.hpp"

namespace vesk {
namespace {

PluginSpec spec_of(ChainElement element) {
  PluginSpec spec;
  spec.desc.componentType = element.type;
  spec.desc.componentSubType = element.subtype;
  spec.desc.componentManufacturer = element.manufacturer;
  spec.text = std::move(element.text);
  spec.name = std::move(element.name);
  spec.preset_path = std::move(element.preset_path);
  spec.exs_path = std::move(element.exs_path);
  spec.params = std::move(element.params);
  return spec;
}

/// A whole chain in one record: the first element's, with the names and the text of all.
std::optional<PluginSpec> summary_of(std::string_view text, ChainStart start, std::string& error) {
  const auto chain = vesk::parse_chain(text, start, error);
  if (!chain) return std::nullopt;
  PluginSpec summary = spec_of(chain->front());
  summary.name = chain_name(*chain);
  summary.text = text;
  return summary;
}

}  // namespace

bool PluginSpec::is_effect() const {
  return is_effect_type(desc.componentType);
}

std::optional<PluginSpec> PluginSpec::parse(std::string_view text, std::string& error) {
  auto element = parse_element(text, error);
  if (!element) return std::nullopt;
  return spec_of(*std::move(element));
}

std::vector<std::string> PluginSpec::split_chain(std::string_view text) {
  return vesk::split_chain(text);
}

std::optional<PluginSpec> PluginSpec::parse_chain(std::string_view text, std::string& error) {
  return summary_of(text, ChainStart::effect, error);
}

std::optional<PluginSpec> PluginSpec::parse_channel(std::string_view text, std::string& error) {
  return summary_of(text, ChainStart::instrument, error);
}

}  // namespace vesk
