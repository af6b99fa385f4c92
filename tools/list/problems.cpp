#include "tools/list/problems.hpp"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <sstream>
#include <utility>

#include "tools/list/columns.hpp"
#include "tools/naming/installed.hpp"
#include "tools/program/child_program.hpp"
#include "tools/program/json.hpp"
#include "tools/program/scanner.hpp"

namespace vesk::tools {
namespace {

/// Lists everything; `said` is what the platform prints on standard error meanwhile: the bundles
/// that it passes over.
InstalledPlugins list_all(std::string& said) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::tmpfile(), std::fclose);
  const int before = dup(STDERR_FILENO);
  if (!file || before < 0) return installed_plugins(false);
  dup2(fileno(file.get()), STDERR_FILENO);
  InstalledPlugins plugins = installed_plugins(false);
  dup2(before, STDERR_FILENO);
  close(before);
  char bytes[4096];
  ssize_t got = 0;
  while ((got = pread(fileno(file.get()), bytes, sizeof bytes, static_cast<off_t>(said.size()))) >
         0)
    said.append(bytes, static_cast<std::size_t>(got));
  return plugins;
}

/// A reason without what is particular to one plugin: "it has more than 2 main inputs or outputs",
/// "its library cannot be opened".
std::string kind_of(const Problem& problem) {
  if (problem.what.empty()) return "a bundle of components is passed over";
  return problem.reason.substr(0, std::min(problem.reason.find(" ("), problem.reason.find(": ")));
}

std::string line_of(const Problem& problem) {
  if (problem.what.empty()) return "  " + problem.reason + '\n';
  std::string line = "  " + problem.what;
  if (!problem.name.empty() && problem.name != problem.what) line += "  " + problem.name;
  return line + problem.reason.substr(kind_of(problem).size()) + '\n';
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
  std::string said;
  for (const InstalledPlugin& plugin : list_all(said))
    if (!plugin.not_hosted.empty())
      problems.push_back(
          {one_line(plugin.specification), one_line(plugin.component.name), plugin.not_hosted});
  std::istringstream complaints(said);
  for (std::string line; std::getline(complaints, line);)
    if (const std::string reason = last_host_line(line); !reason.empty())
      problems.push_back({"", "", reason});
  return problems;
}

std::string problems_text(const std::vector<Problem>& problems) {
  std::vector<std::pair<std::string, std::vector<const Problem*>>> kinds;
  for (const Problem& problem : problems) {
    const std::string kind = kind_of(problem);
    auto found = std::ranges::find(kinds, kind, [](const auto& each) { return each.first; });
    if (found == kinds.end()) found = kinds.insert(kinds.end(), {kind, {}});
    found->second.push_back(&problem);
  }
  std::ranges::sort(kinds, [](const auto& one, const auto& other) {
    return one.second.size() != other.second.size() ? one.second.size() > other.second.size()
                                                    : one.first < other.first;
  });
  std::string text;
  for (const auto& [kind, members] : kinds) {
    text += std::to_string(members.size()) + ": " + kind + '\n';
    for (const Problem* problem : members) text += line_of(*problem);
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
