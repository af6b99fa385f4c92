#include "tools/parameters/question.hpp"

#include <chrono>
#include <utility>

#include "tools/program/child_program.hpp"

namespace vesk::tools {

std::optional<std::vector<ParameterDescription>> ask_parameters(const std::string& specification,
                                                                const std::string& label,
                                                                int sample_rate_hz,
                                                                std::string& error,
                                                                std::chrono::seconds limit) {
  auto plugin = ask_plugin(specification, label, sample_rate_hz, {}, "", error, limit);
  return plugin ? std::optional(std::move(plugin->parameters)) : std::nullopt;
}

std::optional<PluginDescription> ask_plugin(const std::string& specification,
                                            const std::string& label, int sample_rate_hz,
                                            const PluginSettings& settings,
                                            const std::string& save_path, std::string& error,
                                            std::chrono::seconds limit) {
  std::vector<std::string> words{specification, "--sample-rate", std::to_string(sample_rate_hz)};
  const auto add = [&words](const char* option, const std::string& value) {
    words.emplace_back(option);
    words.push_back(value);
  };
  if (!settings.preset.empty()) add("--preset", settings.preset);
  for (const auto& [name, path] : settings.files) add("--file", name + "=" + path);
  if (!save_path.empty()) add("--save", save_path);
  std::string reason;
  const auto answer = run_child(path_of_program("vesk-parameters"), words, limit, true, reason);
  if (!answer) {
    error = label + " cannot be looked at: " + reason;
    return std::nullopt;
  }
  const Json told = Json::parse(answer->output, nullptr, false);
  if (auto plugin = plugin_from(told)) {
    plugin->remarks = missing_file_lines(answer->errors);
    return plugin;
  }
  if (told.is_object() && told.contains("error") && told.at("error").is_string())
    error = told.at("error").get<std::string>();
  else
    error = label + " cannot be opened: its process " +
            (!answer->ending.empty() ? answer->ending : "ended without an answer");
  if (const std::string line = last_host_line(answer->errors); !line.empty()) error += ": " + line;
  return std::nullopt;
}

}  // namespace vesk::tools
