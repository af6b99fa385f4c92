#include "tools/list/arguments.hpp"

#include "tools/program/command_line.hpp"

namespace vesk::tools {

const char* const list_help =
    R"(vesk-list prints the installed plugins, one a line: the specification text to use in a chain,
and the name.

usage: vesk-list [--json] [--rescan]
       vesk-list --parameters SPECIFICATION [--json]
       vesk-list --instrument FILE [--json]
       vesk-list --problems [--json] [--rescan]

  -p, --parameters SPEC   print one plugin's parameters instead: id, name, range, default, unit,
                          and the names of values that have some. Set them in a chain with
                          SPEC#id=value,id=value
  -i, --instrument FILE   print what a sampler instrument (.exs) holds instead: which keys and
                          velocities play which samples (C3 is key 60), and which are missing.
                          Letters are zones, a capital stands at its root key, a digit counts
                          zones that share a key
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

std::optional<ListArguments> parse_list_arguments(const std::vector<std::string>& words,
                                                  std::string& error) {
  ListArguments arguments;
  const Option options[] = {
      {"--parameters", "-p",
       [&arguments](const std::string& value, std::string& reason) {
         arguments.parameters_of = value;
         if (value.empty()) reason = "needs a specification, such as aumu:Sm48:LV2_";
         return !value.empty();
       }},
      {"--instrument", "-i", takes_path(arguments.instrument)},
      {"--problems", nullptr, nullptr, &arguments.shows_problems},
      {"--rescan", nullptr, nullptr, &arguments.rescans},
      {"--json", nullptr, nullptr, &arguments.as_json},
  };
  std::string operand;
  if (!read_command_line(words, options, operand, error)) return std::nullopt;
  const int questions =
      arguments.shows_problems + !arguments.parameters_of.empty() + !arguments.instrument.empty();
  if (!operand.empty())
    error = "cannot use " + operand;
  else if (questions > 1)
    error = "one of --parameters, --instrument and --problems, not more";
  else
    return arguments;
  return std::nullopt;
}

}  // namespace vesk::tools
