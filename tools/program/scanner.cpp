#include "tools/program/scanner.hpp"

#include <chrono>

#include "tools/program/child_program.hpp"

namespace vesk::tools {
namespace {

constexpr auto longest_scan = std::chrono::minutes(10);

}  // namespace

std::optional<std::string> ask_scanner(const std::string& question, std::string& error) {
  const std::string program = path_of_program("vesk-lv2-scan", "VESK_LV2_SCAN");
  const auto answer = run_child(program, {question}, longest_scan, false, error);
  if (!answer) return std::nullopt;
  if (answer->ending.empty() && answer->status == 0) return answer->output;
  error = program + " " +
          (answer->ending.empty() ? "ended with status " + std::to_string(answer->status)
                                  : answer->ending);
  return std::nullopt;
}

}  // namespace vesk::tools
