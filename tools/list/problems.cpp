#include "tools/list/problems.hpp"

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <sstream>

#include "spec/catalogue.hpp"
#include "tools/program/child_program.hpp"
#include "tools/program/json.hpp"

namespace vesk::tools {
namespace {

constexpr auto longest_scan = std::chrono::minutes(10);

/// Runs the scanner, with its progress on our standard error.
std::optional<std::string> ask_scanner(const char* question, std::string& error) {
  const std::string program = path_of_program("vesk-lv2-scan", "VESK_LV2_SCAN");
  const auto answer = run_child(program, {question}, longest_scan, false, error);
  if (!answer) return std::nullopt;
  if (answer->ending.empty() && answer->status == 0) return answer->output;
  error = program + " " +
          (answer->ending.empty() ? "ended with status " + std::to_string(answer->status)
                                  : answer->ending);
  return std::nullopt;
}

/// What the platform prints on standard error while everything is listed: the bundles that it
/// passes over.
std::string said_while_listing() {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> said(std::tmpfile(), std::fclose);
  const int before = dup(STDERR_FILENO);
  if (!said || before < 0) return {};
  dup2(fileno(said.get()), STDERR_FILENO);
  list_components(AudioComponentDescription{});
  dup2(before, STDERR_FILENO);
  close(before);
  std::string text;
  char bytes[4096];
  ssize_t got = 0;
  while ((got = pread(fileno(said.get()), bytes, sizeof bytes, static_cast<off_t>(text.size()))) >
         0)
    text.append(bytes, static_cast<std::size_t>(got));
  return text;
}

}  // namespace

bool rescan(std::string& error) {
  return ask_scanner("--rebuild", error).has_value();
}

std::optional<std::vector<Problem>> find_problems(std::string& error) {
  const auto answer = ask_scanner("--problems", error);
  if (!answer) return std::nullopt;
  std::vector<Problem> problems;
  std::istringstream lines(*answer);
  for (std::string what, name, reason; std::getline(lines, what, '\t') &&
                                       std::getline(lines, name, '\t') &&
                                       std::getline(lines, reason);)
    problems.push_back({what, name, reason});
  // After the scanner: what it has found is not looked for again.
  std::istringstream complaints(said_while_listing());
  for (std::string line; std::getline(complaints, line);)
    if (const std::string reason = last_host_line(line); !reason.empty())
      problems.push_back({"", "", reason});
  return problems;
}

std::string problems_text(const std::vector<Problem>& problems) {
  std::string text;
  for (const Problem& problem : problems) {
    text += problem.what;
    if (!problem.name.empty() && problem.name != problem.what) text += " (" + problem.name + ")";
    if (!problem.what.empty()) text += ": ";
    text += problem.reason + '\n';
  }
  return text;
}

std::string problems_json(const std::vector<Problem>& problems) {
  Json list = Json::array();
  for (const Problem& problem : problems)
    list.push_back({{"what", problem.what}, {"name", problem.name}, {"reason", problem.reason}});
  return json_text(list);
}

}  // namespace vesk::tools
