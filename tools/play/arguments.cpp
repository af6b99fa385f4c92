#include "tools/play/arguments.hpp"

#include "tools/program/command_line.hpp"
#include "vesk/plugin_names.hpp"

namespace vesk::tools {

const char* const play_help =
    R"(vesk-play plays chains of plugins live, as a client of a JACK server (jackd, or PipeWire's).

usage: vesk-play CHAIN... [options]

Each CHAIN is one plugin or several, separated by '|', as for vesk-render (specification texts, or
plugins' names), and runs in a process of its own. Several play side by side, each with ports of its
own: MIDI in and audio out, and audio in for a chain that starts with an effect. Quote chains: the
shell takes '|' and '#' for its own.

A chain that dies or hangs is silent and is started again, with its preset files; the others play
on. One that dies five times within a minute stays silent.

      --connect           connect outputs to the first physical ones, and MIDI from all physical
                          inputs
      --editors           open the plugins' editors. What is changed in them is kept in the chain's
                          preset files (@path), as vesk-edit does it, and elsewhere until this
                          program ends
      --name NAME         the client's name in the server (vesk)
      --tempo BPM         beats a minute for plugins that follow a song, 1 to 999, while the server's
                          transport does not say (120)
  -h, --help              this text
      --version           the program's version

Sample rate and period are the server's, and are followed when they change. Position, tempo and meter
of the server's transport reach the plugins. Ctrl-C ends; a second one does not wait.

On a terminal one line tells how much of a period the chains take, how fast they answer, how many
periods were missed because a chain was late, and how many the server says were late (xruns),
whoever was at fault.

With PipeWire, "pw-jack vesk-play ..." finds its server (Debian: pipewire-jack), and
"pw-metadata -n settings 0 clock.force-quantum 128" asks it for periods of 128 frames.

examples:
  vesk-play aumu:Sm48:LV2_ --connect
  vesk-play 'aumu:Sm48:LV2_@piano.aupreset|aufx:kZu9:LV2_' aumu:GtYn:LV2_ --editors

Exit status: 0 when it was interrupted, 1 when it could not begin, the server ended or a preset file
could not be written (one line says which), 2 for a command line that makes no sense.
)";

namespace {

std::vector<Option> options_for(LiveSettings& settings) {
  return {
      {"--connect", nullptr, nullptr, &settings.connects},
      {"--editors", nullptr, nullptr, &settings.shows_editors},
      {"--name", nullptr, takes_path(settings.name)},
      {"--tempo", nullptr,
       [&settings](const std::string& value, std::string& error) {
         if (to_number(value, settings.tempo) && settings.tempo >= 1 && settings.tempo <= 999)
           return true;
         error = "takes 1 to 999 beats a minute, not \"" + value + "\"";
         return false;
       }},
  };
}

}  // namespace

std::optional<PlayArguments> parse_play_arguments(const std::vector<std::string>& words,
                                                  std::string& error) {
  PlayArguments arguments;
  if (!read_command_line(words, options_for(arguments.settings), arguments.chain_words, error))
    return std::nullopt;
  if (!arguments.chain_words.empty()) return arguments;
  error = "no chain given";
  return std::nullopt;
}

bool take_chains(PlayArguments& arguments, std::string& error) {
  for (const std::string& words : arguments.chain_words) {
    const auto specification = client::specification_of({words}, error);
    if (!specification ||
        !read_chain(*specification, arguments.settings.chains.emplace_back(), error))
      return false;
  }
  return true;
}

}  // namespace vesk::tools
