#include "tools/list/arguments.hpp"

#include "tools/program/command_line.hpp"

namespace vesk::tools {

const char* const list_help =
    R"(vesk-list prints the installed plugins, one a line: the specification text to use in a chain,
and the name.

usage: vesk-list [--json] [--rescan]
       vesk-list --parameters SPECIFICATION [--json]
       vesk-list --presets SPECIFICATION [--json]
       vesk-list --problems [--json] [--rescan]

  -p, --parameters SPEC   print one plugin's parameters instead: id, name, range, default, unit,
                          and the names of values that have some. Set them in a chain with
                          SPEC#id=value,id=value. Below them the files that it takes
      --presets SPEC      print one plugin's presets instead: number, name, and which are yours
      --problems          print what is installed and not listed instead, and why
      --rescan            read all LV2 plugins anew first, those that once failed too
      --json              for programs
  -h, --help              this text
      --version           the program's version

Audio Units are found in $AUDIO_COMPONENT_PATH, ~/.local/lib/audio-components,
/usr/local/lib/audio-components and /usr/lib/audio-components; LV2 plugins where LV2 looks.

Exit status: 0 done, 1 when a plugin is missing or cannot be opened, or something else failed, 2 for
a command line that makes no sense.
)";

static Option::Setter takes_specification(std::string& target) {
  return [&target](const std::string& value, std::string& reason) {
    target = value;
    if (value.empty()) reason = "needs a specification, such as aumu:Sm48:LV2_";
    return !value.empty();
  };
}

std::optional<ListArguments> parse_list_arguments(const std::vector<std::string>& words,
                                                  std::string& error) {
  ListArguments arguments;
  const Option options[] = {
      {"--parameters", "-p", takes_specification(arguments.parameters_of)},
      {"--presets", nullptr, takes_specification(arguments.presets_of)},
      {"--problems", nullptr, nullptr, &arguments.shows_problems},
      {"--rescan", nullptr, nullptr, &arguments.rescans},
      {"--json", nullptr, nullptr, &arguments.as_json},
  };
  std::string operand;
  if (!read_command_line(words, options, operand, error)) return std::nullopt;
  if (!operand.empty())
    error = "cannot use " + operand;
  else if (arguments.shows_problems + !arguments.parameters_of.empty() +
               !arguments.presets_of.empty() >
           1)
    error = "one of --parameters, --presets and --problems at a time";
  else
    return arguments;
  return std::nullopt;
}

}  // namespace vesk::tools
