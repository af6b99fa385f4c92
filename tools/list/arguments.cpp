#include "tools/list/arguments.hpp"

namespace vesk::tools {

const char* const list_help =
    R"(vesk-list prints the installed plugins, one a line: the specification text to use in a chain,
and the name.

usage: vesk-list [--json]
       vesk-list --parameters SPECIFICATION [--json]

  -p, --parameters SPEC   print one plugin's parameters instead: id, name, range, default, unit,
                          and the names of values that have some. Set them in a chain with
                          SPEC#id=value,id=value
      --json              for programs
  -h, --help              this text

Audio Units are found in $AUDIO_COMPONENT_PATH, ~/.local/lib/audio-components,
/usr/local/lib/audio-components and /usr/lib/audio-components; LV2 plugins where LV2 looks.

Exit status: 0 done, 1 when a plugin is missing or cannot be opened, 2 for a command line that
makes no sense.
)";

std::optional<ListArguments> parse_list_arguments(const std::vector<std::string>& words,
                                                  std::string& error) {
  ListArguments arguments;
  constexpr const char* with_value = "--parameters=";
  for (std::size_t i = 0; i < words.size(); ++i) {
    const std::string& word = words[i];
    if (word == "-h" || word == "--help") {
      arguments.wants_help = true;
      return arguments;
    }
    if (word == "--json") {
      arguments.as_json = true;
    } else if ((word == "-p" || word == "--parameters") && i + 1 < words.size()) {
      arguments.parameters_of = words[++i];
    } else if (word.starts_with(with_value)) {
      arguments.parameters_of = word.substr(std::string(with_value).size());
    } else if (word == "-p" || word == "--parameters") {
      error = word + " needs a specification, such as aumu:Sm48:LV2_";
      return std::nullopt;
    } else {
      error = (word.starts_with("-") ? "unknown option " : "cannot use ") + word;
      return std::nullopt;
    }
  }
  return arguments;
}

}  // namespace vesk::tools
