#include "tools/soak/state_stage.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <optional>
#include <random>

#include "tools/program/child_program.hpp"
#include "tools/program/input_file.hpp"
#include "tools/program/json.hpp"
#include "tools/program/output_file.hpp"
#include "tools/soak/driven_host.hpp"

namespace vesk::tools {
namespace {

// So that a chain with them fits a command line.
constexpr std::size_t most_values = 200;
constexpr double same = 1e-4;  // of the range

struct State {
  std::string bytes;
  std::map<std::uint32_t, float> values;
  std::string error;  ///< it was not loaded
};

/// What the process `vesk-soak-state` says of a plugin that it has loaded, or why it could not load
/// it. Empty when the process came to grief, which has ended the life.
std::optional<State> state_of(Life& life, const std::string& text) {
  std::string error;
  const auto answer =
      run_child(path_of_program("vesk-soak-state"), {text}, life.settings.patience, true, error);
  const Json told = answer ? Json::parse(answer->output, nullptr, false) : Json();
  if (!told.is_object()) {
    if (answer)
      error = "the process that was to save it " +
              (answer->ending.empty() ? "ended without an answer" : answer->ending);
    life.end_question(error);
    return std::nullopt;
  }
  if (told.contains("error")) return State{{}, {}, told.at("error").get<std::string>()};
  State state{told.at("state").get<std::string>(), {}, {}};
  for (const Json& each : told.at("values"))
    state.values[each.at("id").get<std::uint32_t>()] =
        each.at("value").is_null() ? NAN : each.at("value").get<float>();
  return state;
}

std::string with_settings(const Life& life) {
  std::minstd_rand random(life.element.subtype);
  std::string text = life.element.name;
  std::size_t count = 0;
  for (const ParameterDescription& parameter : life.parameters) {
    if (!can_be_set(parameter) || count == most_values) continue;
    const double at = std::uniform_real_distribution<double>(0.1, 0.9)(random);
    char setting[48];
    std::snprintf(setting, sizeof setting, "%c%u=%.9g", count++ == 0 ? '#' : ',', parameter.id,
                  static_cast<double>(value_within(parameter, at)));
    text += setting;
  }
  return text;
}

bool is_same(float before, float after, const ParameterDescription& parameter) {
  if (std::isnan(before) || std::isnan(after)) return std::isnan(before) == std::isnan(after);
  const double range =
      std::abs(static_cast<double>(parameter.maximum) - static_cast<double>(parameter.minimum));
  return std::abs(static_cast<double>(before) - static_cast<double>(after)) <= same * range;
}

void compare(Life& life, const State& before, const State& after) {
  std::string names;
  std::size_t count = 0;
  for (const ParameterDescription& parameter : life.parameters) {
    const auto was = before.values.find(parameter.id), is = after.values.find(parameter.id);
    if (!can_be_set(parameter) || was == before.values.end() || is == after.values.end()) continue;
    if (is_same(was->second, is->second, parameter)) continue;
    char text[160];
    std::snprintf(text, sizeof text, "%s%.60s (%g, then %g)", names.empty() ? "" : ", ",
                  parameter.name.c_str(), static_cast<double>(was->second),
                  static_cast<double>(is->second));
    if (count++ < 3) names += text;
  }
  if (count > 0)
    life.remark("state",
                (count == 1 ? "a parameter comes" : std::to_string(count) + " parameters come") +
                    std::string(" back as something else: ") + names,
                true);
  else if (before.bytes != after.bytes)
    life.remark("bytes", "saved again after it was restored, the state has other bytes", false);
}

std::optional<std::vector<std::uint8_t>> bytes_of(const std::string& path) {
  int cause = 0;
  return read_file(path, SIZE_MAX, cause);
}

/// A host plays from the state, and is killed.
bool play_and_kill(Life& life) {
  const auto before = bytes_of(life.preset_path);
  const auto host = DrivenHost::start(life, {.preset_path = life.preset_path});
  if (!host || !host->play_seconds(0.25)) return false;
  host->host().end_hung();
  if (bytes_of(life.preset_path) != before)
    life.remark("state", "the preset file changed although no editor was open", true);
  return true;
}

bool write_preset(Life& life, const std::string& bytes) {
  std::string error;
  life.preset_path = life.folder + "/state.aupreset";
  auto file = OutputFile::create(life.preset_path, error);
  return (file && file->write(bytes.data(), bytes.size(), error) && file->commit(error)) ||
         life.end(Outcome::unfinished, error);
}

/// Saves the state of what `text` names, restores it elsewhere and compares. Leaves the preset's
/// path in `life` where the state can be used.
bool round_trip(Life& life, const std::string& text) {
  const auto before = state_of(life, text);
  if (!before) return false;
  const std::string fault = !before->error.empty()  ? "it is not loaded: " + before->error
                            : before->bytes.empty() ? "it cannot be saved"
                                                    : "";
  if (!fault.empty()) {
    life.remark("state", fault, true);
    return true;
  }
  if (!write_preset(life, before->bytes)) return false;
  const auto after = state_of(life, life.element.name + "@" + life.preset_path);
  if (!after) return false;
  if (after->error.empty()) {
    compare(life, *before, *after);
  } else {
    life.remark("state", "what it has saved it does not take: " + after->error, true);
    life.preset_path.clear();
  }
  return true;
}

}  // namespace

bool keep_state(Life& life) {
  if (!life.begin("state") || !life.ask_parameters()) return false;
  if (!round_trip(life, life.element.name)) return false;
  if (life.preset_path.empty()) return true;
  life.setting = "random settings";
  if (!round_trip(life, with_settings(life))) return false;
  return life.preset_path.empty() || play_and_kill(life);
}

}  // namespace vesk::tools
