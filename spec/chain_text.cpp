#include "spec/chain_text.hpp"

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

ChainElement sampler_element(std::string_view text) {
  ChainElement element;
  element.text = text;
  element.type = pack_four_cc("aumu");
  element.subtype = pack_four_cc("samp");
  element.manufacturer = pack_four_cc("appl");
  element.exs_path = text.substr(sampler_prefix.size());
  // Without a '/' find_last_of gives npos, and npos + 1 is the whole path.
  element.name = "AUSampler: " + element.exs_path.substr(element.exs_path.find_last_of('/') + 1);
  return element;
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

std::string joined(const ChainElements& chain, std::string ChainElement::* member,
                   std::string_view separator) {
  std::string result;
  for (const ChainElement& element : chain) {
    if (&element != &chain.front()) result += separator;
    result += element.*member;
  }
  return result;
}

}  // namespace

bool is_effect_type(std::uint32_t type) {
  return type == pack_four_cc("aufx") || type == pack_four_cc("aumf");
}

bool ChainElement::is_effect() const {
  return is_effect_type(type);
}

bool ChainElement::takes_midi() const {
  return type != pack_four_cc("aufx");
}

std::vector<std::string> split_chain(std::string_view text) {
  std::vector<std::string> elements;
  for (std::size_t start = 0;;) {
    const std::size_t bar = text.find('|', start);
    elements.emplace_back(text.substr(start, bar - start));
    if (bar == std::string_view::npos) return elements;
    start = bar + 1;
  }
}

std::optional<ChainElement> parse_element(std::string_view text, std::string& error) {
  if (text.starts_with(sampler_prefix)) return sampler_element(text);

  ChainElement element;
  element.text = text;

  // An '@' among the first 14 bytes is part of a code.
  std::string_view rest = text;
  if (const std::size_t at = text.find('@', component_text_length); at != std::string_view::npos) {
    element.preset_path = text.substr(at + 1);
    rest = text.substr(0, at);
  }
  // Before the component text: a text wrong in both is told about its parameters.
  if (const std::size_t hash = rest.find('#'); hash != std::string_view::npos) {
    if (!parse_parameters(rest.substr(hash + 1), element.params)) {
      error = parameters_expected;
      return std::nullopt;
    }
    rest = rest.substr(0, hash);
  }
  if (rest.size() != component_text_length || rest[4] != ':' || rest[9] != ':') {
    error = component_expected;
    return std::nullopt;
  }
  element.type = pack_four_cc(rest.substr(0, 4));
  element.subtype = pack_four_cc(rest.substr(5, 4));
  element.manufacturer = pack_four_cc(rest.substr(10, 4));
  element.name = rest;
  return element;
}

std::optional<ChainElements> parse_chain(std::string_view text, ChainStart start,
                                         std::string& error) {
  ChainElements chain;
  for (const std::string& part : split_chain(text)) {
    auto element = parse_element(part, error);
    if (!element) return std::nullopt;
    const ChainStart allowed = chain.empty() ? start : ChainStart::effect;
    if (allowed == ChainStart::effect && !element->is_effect()) {
      error = element->name + " is not an effect";
      return std::nullopt;
    }
    if (allowed == ChainStart::instrument && element->is_effect()) {
      error = element->name + " is an effect, not an instrument";
      return std::nullopt;
    }
    chain.push_back(*std::move(element));
  }
  return chain;
}

std::string chain_text(const ChainElements& chain) {
  return joined(chain, &ChainElement::text, "|");
}

std::string chain_name(const ChainElements& chain) {
  return joined(chain, &ChainElement::name, " → ");
}

}  // namespace vesk
