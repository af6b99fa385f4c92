// Chain texts: what is understood gives back the text, and both parsers understand the same.
#include "spec/chain_text.hpp"

#include "fuzz/input.hpp"
#include "spec/plugin_spec.hpp"

using namespace vesk;
using fuzz::expect;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  std::string error;
  const auto chain = parse_chain(text, ChainStart::either, error);
  expect(chain.has_value() == error.empty());
  for (const std::string& element : split_chain(text)) {
    std::string reason;
    const auto parsed = PluginSpec::parse(element, reason);
    expect(parsed.has_value() == reason.empty());
    expect(!chain || (parsed && parsed->text == element));
  }
  std::string effect_error, channel_error;
  const auto effects = PluginSpec::parse_chain(text, effect_error);
  const auto channel = PluginSpec::parse_channel(text, channel_error);
  expect(chain.has_value() == (effects || channel));
  if (!chain) return 0;
  expect(chain_text(*chain) == text);
  const auto& whole = effects ? effects : channel;
  expect(whole && whole->name == chain_name(*chain));
  return 0;
}
