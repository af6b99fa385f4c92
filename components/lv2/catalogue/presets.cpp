#include "components/lv2/catalogue/presets.hpp"

#include "components/lv2/catalogue/record.hpp"
#include "components/lv2/catalogue/scanner_process.hpp"

namespace vesk::lv2 {

std::optional<State> read_preset(const Description& plugin, const Preset& preset,
                                 std::string& error) {
  constexpr int limit_ms = 30'000;
  const auto answer = ask_scanner(
      {"--answer-preset", plugin.bundle, preset.bundle, plugin.uri, preset.uri}, limit_ms, error);
  if (!answer) return {};
  auto state = decode<State>(answer->read_all());
  if (!state) error = "preset " + preset.uri + " cannot be read";
  return state;
}

}  // namespace vesk::lv2
