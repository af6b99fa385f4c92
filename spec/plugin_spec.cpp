#include "spec/plugin_spec.hpp"

#include <algorithm>
#include <cstdlib>

#include "spec/four_cc.hpp"

namespace vesk {
namespace {

constexpr std::string_view sampler_prefix = "exs:";
constexpr std::size_t component_text_length = 14;  // three codes and two colons
constexpr const char* parameters_expected = "expected parameters as id=value,id=value, e.g. #2=800";
constexpr const char* component_expected =
    "expected type:subtype:manufacturer, e.g. aumu:Pt7q:Mdrt";

using Params = std::vector<std::pair<std::uint32_t, float>>;

PluginSpec sampler_spec(std::string_view text) {
  PluginSpec spec;
  spec.text = text;
  spec.desc.componentType = pack_four_cc("aumu");
  spec.desc.componentSubType = pack_four_cc("samp");
  spec.desc.componentManufacturer = pack_four_cc("appl");
  spec.exs_path = text.substr(sampler_prefix.size());
  // Without a '/' find_last_of gives npos, and npos + 1 is the whole path.
  spec.name = "AUSampler: " + spec.exs_path.substr(spec.exs_path.find_last_of('/') + 1);
  return spec;
}

bool parse_parameter(const std::string& item, Params& params) {
  const std::size_t equals = item.find('=');
  if (equals == std::string::npos) return false;

  // A reading that takes nothing ends where it began, so an empty id or value reads as 0.
  const char* const begin = item.c_str();
  char* id_end = nullptr;
  const unsigned long id = std::strtoul(begin, &id_end, 10);
  char* value_end = nullptr;
  const float value = std::strtof(begin + equals + 1, &value_end);
  if (id_end != begin + equals || value_end != begin + item.size()) return false;

  params.emplace_back(static_cast<std::uint32_t>(id), value);
  return true;
}

bool parse_parameters(std::string_view list, Params& params) {
  for (std::size_t pos = 0; pos < list.size();) {
    const std::size_t end = std::min(list.find(',', pos), list.size());
    if (!parse_parameter(std::string(list.substr(pos, end - pos)), params)) return false;
    pos = end + 1;
  }
  return true;
}

/// Parses the elements of a chain after the first and adds their names to `summary`.
bool append_effects(const std::vector<std::string>& elements, PluginSpec& summary,
                    std::string& error) {
  for (std::size_t i = 1; i < elements.size(); ++i) {
    const auto spec = PluginSpec::parse(elements[i], error);
    if (!spec) return false;
    if (!spec->is_effect()) {
      error = spec->name + " is not an effect";
      return false;
    }
    summary.name += " → " + spec->name;
  }
  return true;
}

}  // namespace

bool PluginSpec::is_effect() const {
  return desc.componentType == pack_four_cc("aufx") || desc.componentType == pack_four_cc("aumf");
}

std::optional<PluginSpec> PluginSpec::parse(std::string_view text, std::string& error) {
  if (text.starts_with(sampler_prefix)) return sampler_spec(text);

  PluginSpec spec;
  spec.text = text;

  // An '@' among the first 14 bytes is part of a code.
  std::string_view rest = text;
  if (const std::size_t at = text.find('@', component_text_length); at != std::string_view::npos) {
    spec.preset_path = text.substr(at + 1);
    rest = text.substr(0, at);
  }
  // Before the component text: a text wrong in both is told about its parameters.
  if (const std::size_t hash = rest.find('#'); hash != std::string_view::npos) {
    if (!parse_parameters(rest.substr(hash + 1), spec.params)) {
      error = parameters_expected;
      return std::nullopt;
    }
    rest = rest.substr(0, hash);
  }
  if (rest.size() != component_text_length || rest[4] != ':' || rest[9] != ':') {
    error = component_expected;
    return std::nullopt;
  }
  spec.desc.componentType = pack_four_cc(rest.substr(0, 4));
  spec.desc.componentSubType = pack_four_cc(rest.substr(5, 4));
  spec.desc.componentManufacturer = pack_four_cc(rest.substr(10, 4));
  spec.name = rest;
  return spec;
}

std::vector<std::string> PluginSpec::split_chain(std::string_view text) {
  std::vector<std::string> elements;
  for (std::size_t start = 0;;) {
    const std::size_t bar = text.find('|', start);
    elements.emplace_back(text.substr(start, bar - start));
    if (bar == std::string_view::npos) return elements;
    start = bar + 1;
  }
}

std::optional<PluginSpec> PluginSpec::parse_chain(std::string_view text, std::string& error) {
  const auto elements = split_chain(text);
  auto summary = parse(elements.front(), error);
  if (!summary) return std::nullopt;
  if (!summary->is_effect()) {
    error = summary->name + " is not an effect";
    return std::nullopt;
  }
  if (!append_effects(elements, *summary, error)) return std::nullopt;
  summary->text = text;
  return summary;
}

std::optional<PluginSpec> PluginSpec::parse_channel(std::string_view text, std::string& error) {
  const auto elements = split_chain(text);
  auto summary = parse(elements.front(), error);
  if (!summary) return std::nullopt;
  if (summary->is_effect()) {
    error = summary->name + " is an effect, not an instrument";
    return std::nullopt;
  }
  if (!append_effects(elements, *summary, error)) return std::nullopt;
  summary->text = text;
  return summary;
}

}  // namespace vesk
