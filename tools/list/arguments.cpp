#include "tools/list/arguments.hpp"

#include "tools/naming/installed.hpp"
#include "tools/program/command_line.hpp"

namespace vesk::tools {

const char* const list_help =
    R"(vesk-list shows the installed plugins, one a line: name, maker, type, and the specification text
to use in a chain.

usage: vesk-list [WORD ...] [--type TYPE] [--json] [--rescan]
       vesk-list --parameters PLUGIN [--json]
       vesk-list --presets PLUGIN [--json]
       vesk-list --instrument FILE [--json]
       vesk-list --problems [WORD ...] [--json] [--rescan]
       vesk-list --resolve CHAIN [--set [N:]PARAMETER=VALUE ...]

With WORDs only plugins that hold every one of them: in name, maker, type, specification text, or,
of LV2 plugins, in URI and class ("reverb", "compressor").

  -t, --type TYPE         only plugins of this type:
                            instrument      plays notes (aumu)
                            effect          changes audio (aufx)
                            midi-effect     changes audio, and takes notes or controllers (aumf)
                            generator       makes audio from nothing, such as noise (augn)
                            midi-processor  notes in, notes out, no audio (aumi); not hosted
  -p, --parameters PLUGIN print one plugin's parameters instead: id, symbol, name, range, default,
                          unit, and the names of values that have some
  -i, --instrument FILE   print what a sampler instrument (.exs) holds instead: which keys and
                          velocities play which samples (C3 is key 60), and which are missing.
                          Letters are zones, a capital stands at its root key, a digit counts
                          zones that share a key
      --problems          print what is installed and not hosted instead, by reason. Opens every
                          library of LV2 plugins, which takes a moment
      --resolve CHAIN     print the specification text of a chain instead, and nothing else
  -s, --set [N:]PARAMETER=VALUE
                          with --resolve: a parameter of the first plugin, or of the N-th
      --rescan            read all LV2 plugins anew first, those that once failed too
      --json              for programs
  -h, --help              this text
      --version           the program's version

On a terminal the table is cut to fit. Elsewhere it has no heading, and tabs between uncut columns.

A PLUGIN is a specification text, an LV2 URI or a name ("MDA ePiano"), in a CHAIN each with
parameters (#PARAMETER=VALUE,...) and a preset file (@path), separated by '|'. A PARAMETER is its
id, its symbol or its name. Names are whole, but for the maker, which may stand before a plugin's;
case does not matter.

Audio Units are found in $AUDIO_COMPONENT_PATH, ~/.local/lib/audio-components,
/usr/local/lib/audio-components and /usr/lib/audio-components; LV2 plugins where LV2 looks.

examples:
  vesk-list organ
  vesk-list --type effect reverb
  vesk-list --parameters 'MDA ePiano'
  vesk-list --resolve 'MDA ePiano#Hardness=0.4|MDA Ambience'

Exit status: 0 done, 1 when a plugin is missing or cannot be opened, or something else failed, 2 for
a command line that makes no sense.
)";

namespace {

Option::Setter takes_type(std::uint32_t& target) {
  return [&target](const std::string& value, std::string& error) {
    std::string known;
    for (const auto& [type, word] : type_words()) {
      if (value == word || value == four_cc(type)) {
        target = type;
        return true;
      }
      known += (known.empty() ? "" : ", ") + std::string(word);
    }
    error = "takes one of " + known + ", not \"" + value + "\"";
    return false;
  };
}

Option::Setter takes_text(std::string& target, const char* what) {
  return [&target, what](const std::string& value, std::string& error) {
    target = value;
    if (value.empty()) error = what;
    return !value.empty();
  };
}

}  // namespace

std::optional<ListArguments> parse_list_arguments(const std::vector<std::string>& words,
                                                  std::string& error) {
  ListArguments arguments;
  const Option options[] = {
      {"--type", "-t", takes_type(arguments.type)},
      {"--parameters", "-p", takes_text(arguments.parameters_of, "needs a plugin")},
      {"--presets", nullptr, takes_text(arguments.presets_of, "needs a plugin")},
      {"--instrument", "-i", takes_path(arguments.instrument)},
      {"--resolve", nullptr, takes_text(arguments.resolved, "needs a chain")},
      {"--set", "-s", takes_each(arguments.settings)},
      {"--problems", nullptr, nullptr, &arguments.shows_problems},
      {"--rescan", nullptr, nullptr, &arguments.rescans},
      {"--json", nullptr, nullptr, &arguments.as_json},
  };
  if (!read_command_line(words, options, arguments.words, error)) return std::nullopt;
  const bool resolves = !arguments.resolved.empty();
  const int of_one = !arguments.parameters_of.empty() + !arguments.presets_of.empty() +
                     !arguments.instrument.empty() + resolves;
  if (of_one + arguments.shows_problems > 1)
    error = "one of --parameters, --presets, --instrument, --problems and --resolve, not more";
  else if (of_one > 0 && !arguments.words.empty())
    error = "cannot use " + arguments.words.front();
  else if (arguments.type != 0 && of_one + arguments.shows_problems > 0)
    error = "--type is for the list";
  else if (!arguments.settings.empty() && !resolves)
    error = "--set is for --resolve";
  else if (resolves && arguments.as_json)
    error = "--resolve prints a specification text, not JSON";
  else
    return arguments;
  return std::nullopt;
}

}  // namespace vesk::tools
