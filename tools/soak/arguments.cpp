#include "tools/soak/arguments.hpp"

#include <algorithm>
#include <cstdio>
#include <sstream>

#include "tools/program/command_line.hpp"
#include "tools/soak/levels.hpp"

namespace vesk::tools {
namespace {

constexpr const char* help_before =
    R"(vesk-soak takes installed components through a whole life, each in host processes of its own, and
says how they bore it. A crash or a hang costs its component, never the run.

usage: vesk-soak PLUGIN ... [options]
       vesk-soak --all [options]

PLUGIN is TYPE:SUBTYPE:MANUFACTURER as vesk-list prints it, or a part of that or of the name: all that
have it are taken.

      --all               everything that is installed and hosted
  -l, --level N           how hard the life is, 1 to 10 (5), see below
  -j, --jobs N            so many at a time, 1 to 64 (2)
      --limit SECONDS     how long one life may take (300)
      --patience SECONDS  how long a load, a period or an answer may take before it counts as a
                          hang (20)
      --stages LIST       only these, with commas between: STAGES
      --no-editors        open no editors. Without DISPLAY they are shown on an X server without
                          a screen, where Xvfb is installed
      --strict            what is only worth knowing fails as well
      --json              the results as a JSON object
      --markdown          the results as a table in Markdown
      --junit FILE        a JUnit file as well, for CI
  -q, --quiet             no progress bar
  -h, --help              this text
      --version           the program's version

Each level has those below it:
)";

constexpr const char* help_after = R"(
Failures: refused, silent, not finite, crash, hang, unfinished (the limit). Faults of one that lives
to its end: memory, lock, file, wait (what it calls in its periods), state (not reproduced). Worth
knowing: bytes, latency, denormals, load, editor. docs/soak.md explains each.

Exit status: 0 when all passed, 1 when one did not or something went wrong, 2 for a command line that
makes no sense.
)";

std::string joined(const std::vector<std::string>& words, const char* between) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : between) + word;
  return text;
}

Option::Setter takes_stages(std::vector<std::string>& target) {
  return [&target](const std::string& value, std::string& error) {
    const std::vector<std::string> known = stage_names();
    std::istringstream words(value);
    for (std::string word; std::getline(words, word, ',');) {
      target.push_back(word);
      if (std::ranges::find(known, word) != known.end()) continue;
      error = "takes " + joined(known, ", ") + ", not \"" + word + "\"";
      return false;
    }
    return true;
  };
}

std::vector<Option> options_for(SoakArguments& arguments, int& limit, int& patience) {
  return {
      {"--all", nullptr, nullptr, &arguments.all},
      {"--level", "-l", takes_whole(1, highest_level, "", arguments.settings.level)},
      {"--jobs", "-j", takes_whole(1, 64, "", arguments.jobs)},
      {"--limit", nullptr, takes_whole(1, 86'400, " seconds", limit)},
      {"--patience", nullptr, takes_whole(1, 3'600, " seconds", patience)},
      {"--stages", nullptr, takes_stages(arguments.settings.stages)},
      {"--no-editors", nullptr, nullptr, &arguments.no_editors},
      {"--strict", nullptr, nullptr, &arguments.is_strict},
      {"--json", nullptr, nullptr, &arguments.as_json},
      {"--markdown", nullptr, nullptr, &arguments.as_markdown},
      {"--junit", nullptr, takes_path(arguments.junit_path)},
      {"--quiet", "-q", nullptr, &arguments.quiet},
  };
}

}  // namespace

std::string soak_help() {
  std::string text = help_before;
  char line[120];
  for (int number = 1; number <= highest_level; ++number) {
    std::snprintf(line, sizeof line, "  %2d  %s\n", number, level_of(number).words);
    text += line;
  }
  const std::size_t at = text.find("STAGES");
  return text.replace(at, 6, joined(stage_names(), ", ")) + help_after;
}

std::optional<SoakArguments> parse_soak_arguments(const std::vector<std::string>& words,
                                                  std::string& error) {
  SoakArguments arguments;
  auto limit = static_cast<int>(arguments.settings.limit.count());
  auto patience = static_cast<int>(arguments.settings.patience.count());
  if (!read_command_line(words, options_for(arguments, limit, patience), arguments.wanted, error))
    return std::nullopt;
  arguments.settings.limit = std::chrono::seconds(limit);
  arguments.settings.patience = std::chrono::seconds(patience);
  if (arguments.all == !arguments.wanted.empty())
    error = arguments.all ? "--all and names are two ways to choose" : "name plugins, or say --all";
  else if (arguments.as_json && arguments.as_markdown)
    error = "--json and --markdown are two forms of one answer";
  else
    return arguments;
  return std::nullopt;
}

}  // namespace vesk::tools
