#include "tools/parameters/question.hpp"

#include <chrono>

#include "tools/program/child_program.hpp"

namespace vesk::tools {
std::optional<std::vector<ParameterDescription>> ask_parameters(const std::string& specification,
                                                                const std::string& label,
                                                                int sample_rate_hz,
                                                                std::string& error,
                                                                std::chrono::seconds limit) {
  std::string reason;
  const auto answer =
      run_child(path_of_program("vesk-parameters"), {specification, std::to_string(sample_rate_hz)},
                limit, true, reason);
  if (!answer) {
    error = label + " cannot be looked at: " + reason;
    return std::nullopt;
  }
  const Json told = Json::parse(answer->output, nullptr, false);
  if (told.is_object() && told.contains("parameters"))
    if (auto parameters = parameters_from(told.at("parameters"))) return parameters;
  if (told.is_object() && told.contains("error") && told.at("error").is_string())
    error = told.at("error").get<std::string>();
  else
    error = label + " cannot be opened: its process " +
            (!answer->ending.empty() ? answer->ending : "ended without an answer");
  if (const std::string line = last_host_line(answer->errors); !line.empty()) error += ": " + line;
  return std::nullopt;
}

}  // namespace vesk::tools
